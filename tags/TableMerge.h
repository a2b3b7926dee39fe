// Fields of tags merged into the text of a tag table that people write, too: what an import does
// not concern stays as it is, byte for byte.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
#pragma once

#include "tags/Problem.h"
#include "tags/TagField.h"
#include "tags/TagTable.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyktags {

/// What is known of a tag from elsewhere.
struct TagLayout {
    std::string tag;
    std::string type;  ///< the name of the tag's type, for messages
    uint64_t size = 0;
    std::vector<TagField> fields;
};

/// What merging does with one field or enum.
struct TableChange {
    enum class Kind {
        added,
        replaced,
        removed,
        kept,  ///< as the table has it, which is not as the layout has it
    };
    Kind kind;
    std::string what;         ///< "KELV_TAG_AE.gain", "enum AwbMode"
    std::string before = {};  ///< what the table says of it; "" of what was added
    std::string after = {};   ///< what the layout says of it; "" where it has no such field
};

/// A table's new text, and how it differs.
struct MergedTable {
    std::string text;
    std::vector<TableChange> changes;  ///< tag by tag, in the order of the fields
};

/// Merges fields into the text of a table that examineTagTable() read. A field or an enum that
/// the table has in another form stays with its form; with `replace` the layout's takes its place,
/// and fields of the tags that the layouts lack go. Units stay in any case: layouts have none.
/// A problem, without a path, where the table has problems or parts of a later version, where the
/// table lacks a tag, where a tag has another size than its layout, and where two enums of the
/// layouts have the same name and different values.
Result<MergedTable> mergeLayouts(const TagTable& table, const std::vector<TagLayout>& layouts,
                                 bool replace);

}  // namespace tyktags
