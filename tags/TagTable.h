// The table of tags: which there are, how large their values are, and what is in them. Its file is
// what a device's tags are described by (docs/dump-tree.md). Nothing here needs the platform.
//
// Threads: any. Errors: the operations let std::bad_alloc through.
#pragma once

#include "core/FieldType.h"
#include "tags/Problem.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// How a tag's value travels.
enum class TagKind {
    fixed,  ///< `size` bytes, copied
    block,  ///< a BlockParamDesc; `size` is that of the descriptor's usual block, for information
};

using ::FieldType;

/// The type's name in a tag table; that of text is "char".
std::string_view nameOf(FieldType type);

/// A named part of a tag's value. Fields may overlap.
struct TagField {
    std::string name;
    uint32_t offset;  ///< bytes from the value's start
    FieldType type;
    uint32_t count;  ///< elements, of text characters; at least 1

    uint64_t bytes() const { return uint64_t{bytesOf(type)} * count; }
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

/// Reads a tag table from an XML file:
///
///   <tags>
///     <tag id="8208" name="KELV_TAG_STREAM_SIZE" size="8" kind="fixed">
///       <field name="width" offset="0" type="u32"/>
///       <field name="height" offset="4" type="u32"/>
///     </tag>
///   </tags>
///
/// A problem names the path, the line and what was expected and found. Ids must be unique and not
/// 0, names unique, without '/', '.' or NUL and not empty, sizes not negative; the tags that the
/// library itself writes must have the sizes it writes (2118: 8512, 65622: 4096, 8208: 8, 8198: 1,
/// all fixed). A fixed size may exceed 512000 bytes, which the library refuses to carry. Numbers
/// are decimal; an id may also be "0x" and hexadecimal. A field lies within its tag's size, bears a
/// name of its own without '.', '[' and ']', and has 1 element where it gives no count. Elements
/// and attributes of other names are errors, and so is a file of more than 16 MiB.
Result<std::vector<TagEntry>> readTagTable(const std::string& path,
                                           TableSource source = TableSource::file);

/// Writes a tag table that readTagTable() reads back. A table that readTagTable() would refuse is
/// an error, and then there is no file.
Status writeTagTable(const std::string& path, const std::vector<TagEntry>& tags);

}  // namespace tyktags
