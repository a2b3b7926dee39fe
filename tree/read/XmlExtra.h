// What stands in an XML file outside its root element. The library's parser passes over it, so that
// the rest of a longer text that a shorter one was written over goes unnoticed.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace tyktree {

struct XmlExtra {
    std::ptrdiff_t offset;  ///< in bytes of the text; -1 where that is not known
    std::string found;      ///< continues "found ", one line
};

/// The first thing outside the root element of a text that the parser reads; comments and the
/// like are none. The first element counts as the root, whatever its name.
std::optional<XmlExtra> findOutsideRoot(const std::string& text);

}  // namespace tyktree
