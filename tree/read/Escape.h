// How names and contents that come from outside are shown to a person.
#pragma once

#include <string>
#include <string_view>

namespace tyktree {

/// `text` for a terminal or a line of text: control characters, DEL, C1 controls, bytes that are no
/// UTF-8 and the Unicode characters that change the direction or the line of a text become \n, \t,
/// \xHH or \u{HHHH}; a backslash stays. Everything else is left alone.
std::string escaped(std::string_view text);

/// Whether `text` is well-formed UTF-8.
bool isUtf8(std::string_view text);

/// `text` with every byte that is no part of well-formed UTF-8 replaced by U+FFFD.
std::string toUtf8(std::string_view text);

}  // namespace tyktree
