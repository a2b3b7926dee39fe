// Common parts of messages, and of texts that are read. Threads: any. Errors: std::bad_alloc.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// "1 frame", "2 frames": the number, then `one` or `many`.
std::string counted(uint64_t count, const char* one, const char* many);

/// "a, b, c"; "" for an empty list.
std::string commaSeparated(const std::vector<std::string>& words);

/// The text without the byte order mark that some editors write at its start.
std::string_view withoutByteOrderMark(std::string_view text);

/// Whether a byte of UTF-8 continues the character that an earlier byte begins.
bool continuesCharacter(char byte);

/// The text; "..." replaces what follows its first 64 bytes. A character of UTF-8 stays whole.
std::string shortened(std::string_view text);

/// shortened() text between quotation marks.
std::string quoted(std::string_view text);

/// The whole text between quotation marks, with its own marks doubled, as in comma-separated files.
std::string marked(std::string_view text);

/// Appends the content of marked() text at the start of `text`, and returns the position after it;
/// npos if the closing quotation mark is missing.
size_t takeMarked(std::string_view text, std::string& content);

/// The text without the spaces, tabs and ends of lines around it.
std::string_view trimmed(std::string_view text);

}  // namespace tyktags
