// The table of tags: which there are, how large their values are, and what is in them. Its file is
// what a device's tags are described by (docs/dump-tree.md). Nothing here needs the platform.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
#pragma once

#include "tags/Problem.h"
#include "tags/TagField.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace tyktags {

/// How a tag's value travels.
enum class TagKind {
    fixed,  ///< `size` bytes, copied
    block,  ///< a BlockParamDesc; `size` is that of the descriptor's usual block, for information
};

/// One entry of the tag table.
struct TagEntry {
    uint32_t id;
    std::string name;
    int32_t size;  ///< bytes
    TagKind kind;
    std::vector<TagField> fields = {};  ///< what is known of the value; may be empty
};

/// Where a tag table may be read from.
enum class TableSource {
    file,        ///< a regular file; anything else is an error and is not read
    fileOrPipe,  ///< also a FIFO or a character device, read once; ten silent seconds are an error
};

/// The newest version of the format that readTagTable() knows. 1 is what tables have that say none;
/// 2 has enums, units, fields of bits, of several dimensions, and in parts of a tag.
constexpr uint32_t kTableVersion = 2;

/// Why a table is refused.
struct TableProblem : Problem {
    enum class Kind {
        form,      ///< what stands there is not what a table has
        beyond,    ///< a field ends behind its tag
        repeated,  ///< a name or an id that is there already
    };
    Kind kind = Kind::form;
};

/// What a file says, right or wrong.
struct TagTable {
    bool isRead = false;  ///< the file could be read
    std::string text;     ///< of the file
    uint32_t version = 1;
    std::vector<TagEntry> tags;  ///< in the file's order, also those with problems
    std::vector<std::shared_ptr<const TagEnum>> enums;
    /// Why readTagTable() refuses the file; empty where it does not.
    std::vector<TableProblem> problems;
    /// What a file of a later version has and this reader passes over.
    std::vector<Problem> missed;
};

/// Reads a tag table from an XML file (docs/dump-tree.md describes it):
///
///   <tags version="2">
///     <enum name="AwbMode"><value name="AUTO" number="0"/></enum>
///     <tag id="8211" name="KELV_TAG_AWB" size="64" kind="fixed">
///       <field name="mode" offset="0" type="u32" enum="AwbMode"/>
///       <field name="age" offset="8" type="u64" unit="ns"/>
///       <field name="locked" offset="16" type="u32" bits="4:1"/>
///       <field name="matrix" offset="20" type="f32" dims="3x3"/>
///       <field name="roi[1].x" offset="56" type="u16"/>
///     </tag>
///   </tags>
///
/// A problem names the path, the line and what was expected and found. Ids must be unique and not
/// 0, names unique, without '/', '.' or NUL and not empty, sizes not negative; the tags that the
/// library itself writes must have the sizes it writes (2118: 8512, 65622: 4096, 8208: 8, 8198: 1,
/// all fixed). A fixed size may exceed 512000 bytes, which the library refuses to carry. Numbers
/// are decimal; an id may also be "0x" and hexadecimal. A field lies within its tag's size and
/// bears a name of its own that isFieldName() takes. Elements and attributes of other names are
/// errors, but in a table of a version after kTableVersion: there they are passed over, and so is a
/// field whose type is not known. A file of more than 16 MiB is an error.
Result<std::vector<TagEntry>> readTagTable(const std::string& path,
                                           TableSource source = TableSource::file);

/// As above, with all that the file says and all that is wrong with it; of the problems the first
/// `most`, and then reading ends.
TagTable examineTagTable(const std::string& path, TableSource source = TableSource::file,
                         size_t most = std::numeric_limits<size_t>::max());

/// Writes a tag table that readTagTable() reads back, with the enums that its fields have. It has
/// no later version than its contents need. A table that readTagTable() would refuse is an error,
/// and then there is no file.
Status writeTagTable(const std::string& path, const std::vector<TagEntry>& tags);

}  // namespace tyktags
