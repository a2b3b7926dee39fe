// Finds content outside the root element of an XML file. The library's parser ignores it, so it
// would not notice the rest of a longer text that a shorter one has overwritten.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tyktree {

struct XmlExtra {
    std::ptrdiff_t offset;  ///< in bytes of the text; -1 if unknown
    std::string found;      ///< continues "found ", one line
};

/// The first content outside the root element of a text, other than comments and the like. The
/// first element counts as the root, whatever its name. Threads: any. Errors: std::bad_alloc.
std::optional<XmlExtra> findOutsideRoot(const std::string& text);

}  // namespace tyktree
