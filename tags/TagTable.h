// Tag tables: the tags of a device, the sizes of their values, and the fields in the values.
// docs/dump-tree.md describes the file. Nothing here needs the platform.
//
// Threads: any. Errors: std::bad_alloc.
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

/// How the parameter-set service passes a tag's value.
enum class TagKind {
    fixed,  ///< `size` bytes, copied
    block,  ///< a BlockParamDesc; `size` is that of the descriptor's usual block, for information
};

/// "fixed" or "block", as in a table.
const char* nameOf(TagKind kind);

/// One entry of the tag table.
struct TagEntry {
    uint32_t id;
    std::string name;
    int32_t size;  ///< bytes
    TagKind kind;
    std::vector<TagField> fields = {};  ///< the known parts of the value; may be empty
};

/// The kinds of files from which a tag table may be read.
enum class TableSource {
    file,        ///< a regular file; any other file is an error and is not read
    fileOrPipe,  ///< also a FIFO or a character device, read once; 10 s without data are an error
};

/// The newest version of the format that readTagTable() knows. A table without a version has 1.
/// Version 2 has enums, units, fields of bits, several dimensions, and names of nested parts.
constexpr uint32_t kTableVersion = 2;

/// The earliest version of the format that has such a field.
uint32_t versionOf(const TagField& field);

/// The reason why a table is refused.
struct TableProblem : Problem {
    enum class Kind {
        form,      ///< the format does not allow this text
        beyond,    ///< a field ends after its tag
        repeated,  ///< a name or an id that an earlier part has
    };
    Kind kind = Kind::form;
};

/// The enums of the tags' fields, each once, in the order of the fields.
std::vector<std::shared_ptr<const TagEnum>> enumsOf(const std::vector<TagEntry>& tags);

/// The contents of a file, valid or not.
struct TagTable {
    bool isRead = false;  ///< the file could be read
    std::string text;     ///< of the file
    uint32_t version = 1;
    std::vector<TagEntry> tags;  ///< in the file's order, including those with problems
    std::vector<std::shared_ptr<const TagEnum>> enums;
    /// The reasons why readTagTable() refuses the file; empty if it accepts the file.
    std::vector<TableProblem> problems;
    /// The ignored parts of a file of a later version.
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
/// Ids must be unique and not 0. Names must be unique, not empty, and without '/', '.' and NUL.
/// Sizes must not be negative; the tags that the library itself writes must have its sizes (2118:
/// 8512, 65622: 4096, 8208: 8, 8198: 1, all fixed). A fixed size may exceed 512000 bytes, although
/// the library neither dumps nor replays such a value. Numbers are decimal; an id may also be "0x"
/// and hexadecimal. A field lies within its tag's size and has a unique name for which
/// isFieldName() is true. Elements and attributes with other names are errors. A table of a version
/// after kTableVersion may have them, and fields with unknown types; these are ignored. A file of
/// more than 16 MiB is an error. A problem has the path, the line, and what was expected and found.
Result<std::vector<TagEntry>> readTagTable(const std::string& path,
                                           TableSource source = TableSource::file);

/// Like readTagTable(), but returns all contents of the file and its problems. Stops after `most`
/// problems.
TagTable examineTagTable(const std::string& path, TableSource source = TableSource::file,
                         size_t most = std::numeric_limits<size_t>::max());

/// Writes a tag table for readTagTable(), with the enums of its fields, in the earliest version
/// that has all of its contents. A table that readTagTable() would refuse is an error; no file
/// remains then. A FIFO without a reader is an error too.
Status writeTagTable(const std::string& path, const std::vector<TagEntry>& tags);

}  // namespace tyktags
