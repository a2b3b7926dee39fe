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

/// The text; "..." replaces what follows its first 64 bytes. A character of UTF-8 stays whole.
std::string shortened(std::string_view text);

/// shortened() text between quotation marks.
std::string quoted(std::string_view text);

/// The text without the spaces, tabs and ends of lines around it.
std::string_view trimmed(std::string_view text);

}  // namespace tyktags
