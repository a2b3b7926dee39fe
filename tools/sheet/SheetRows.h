// Rows of the sheet's values, in the form of page/data.js. One thread at a time uses an object; any
// thread may call the functions.
#pragma once

#include "tools/diff/FrameDifference.h"
#include "tools/sheet/SheetFrame.h"
#include "tree/read/TagCatalog.h"

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <tuple>

namespace tyksim {

/// A frame of either tree, or of both, compared.
struct SheetPair {
    std::optional<SheetFrame> mine;
    std::optional<SheetFrame> other;
    FrameDifference difference;  ///< between the two
};

/// The page's table of tags, filled in order of appearance; rows have the tags' indices.
class SheetTags {
public:
    size_t numberOf(const SheetParameter& parameter);

    /// The table, with the fields of tags from the catalog.
    Json table(const tyktree::TagCatalog& catalog) const;

private:
    using Key = std::tuple<std::string, int, int, int>;  ///< name, camera, pipe type, dump type
    std::map<Key, size_t> numbers_;
};

/// Rows of one tree's frames in order, without values that are equal to those of the row before.
class SheetRows {
public:
    explicit SheetRows(SheetTags& tags) : tags_(tags) {}

    Json row(const SheetFrame& frame);

private:
    Json parameters(const SheetFrame& frame);

    SheetTags& tags_;
    std::map<size_t, Json> before_;
    Json sceneBefore_;
};

/// The names of the numbers of a field's enum, by their decimal text; null without an enum.
Json namesOf(const tyktags::TagField& field);

/// The differences of a pair's frames, for the page; null if one frame is missing.
Json differencesOf(const SheetPair& pair);

/// JSON for a script element: no character in it can end the element.
std::string elementText(const Json& value);

}  // namespace tyksim
