// Merges fields of tags into the text of a tag table. People edit these tables too, so all other
// text stays unchanged, byte for byte.
//
// Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tags/TagField.h"
#include "tags/TagTable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyktags {

/// The layout of a tag's value from another source, such as debug information.
struct TagLayout {
    std::string tag;
    std::string type;  ///< the name of the tag's type, for messages
    uint64_t size = 0;
    std::vector<TagField> fields;
};

/// The effect of merging on one field or enum.
struct TableChange {
    enum class Kind {
        added,
        replaced,
        removed,
        kept,  ///< unchanged, although the layout differs
    };
    Kind kind;
    std::string what;         ///< "KELV_TAG_AE.gain", "enum AwbMode"
    std::string before = {};  ///< its text in the table; "" if it was added
    std::string after = {};   ///< its text by the layout; "" if the layout lacks it
};

/// A table's new text, and the changes.
struct MergedTable {
    std::string text;
    std::vector<TableChange> changes;  ///< tag by tag, in the order of the fields
};

/// Merges fields into the text of a table that examineTagTable() read. The table keeps a field or
/// an enum that differs from the layout, and a field that the layout lacks. With `replace`, the
/// layout's field or enum replaces a different one, and a field that the layout lacks is removed.
/// Units always stay, because layouts have none. These are problems, without a path: a table with
/// problems or with parts of a later version, a tag that the table lacks, a tag whose size is not
/// that of its layout, and enums of the layouts with the same name and different values.
Result<MergedTable> mergeLayouts(const TagTable& table, const std::vector<TagLayout>& layouts,
                                 bool replace);

}  // namespace tyktags
