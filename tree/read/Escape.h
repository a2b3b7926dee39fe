// Makes names and contents from outside safe to show. Threads: any. Errors: std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace tyktree {

/// `text` for a terminal or a line of text: control characters, DEL, C1 controls, bytes that are
/// not UTF-8, and Unicode characters that change a text's direction or break its line become \n,
/// \t, \xHH or \u{HHHH}. Everything else stays, a backslash too.
std::string escaped(std::string_view text);

/// Whether `text` is well-formed UTF-8.
bool isUtf8(std::string_view text);

/// `text` with U+FFFD in place of every byte that is not part of well-formed UTF-8.
std::string toUtf8(std::string_view text);

}  // namespace tyktree
