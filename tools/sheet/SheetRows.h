// Rows of the sheet's values, as model.js reads them.
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
    FrameDifference difference;  ///< of the two
};

/// The page's table of tags, made as they come; rows have numbers in their place.
class SheetTags {
public:
    size_t numberOf(const SheetParameter& parameter);

    /// The table; the catalog says what is in a tag.
    Json table(const tyktree::TagCatalog& catalog) const;

private:
    using Key = std::tuple<std::string, int, int, int>;  ///< name, camera, pipe type, dump type
    std::map<Key, size_t> numbers_;
};

/// Rows of one tree's frames in order: what is as in the row before is left out.
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

/// What the page says of how the two frames of a pair differ; null where one is missing.
Json differencesOf(const SheetPair& pair);

/// JSON that may stand in a script element: no character in it can end one.
std::string elementText(const Json& value);

}  // namespace tyksim
