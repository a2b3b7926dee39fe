// Breaks lines of text at a width. Threads: any.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tyksim {

/// Appends the words of `text` to `out`, whose last line has `column` characters, and breaks before
/// a word that would exceed `width`; the lines after the first are indented. A word longer than the
/// width is not broken.
void appendWrapped(std::string& out, std::string_view text, size_t column, size_t indent,
                   size_t width);

/// Breaks the lines of a text of paragraphs again. An empty line ends a paragraph. An indented line
/// begins an item of a list; lines with more indentation belong to it. If an item has two or more
/// spaces between a term and its description, its further lines align with the description. The
/// lines below "Examples:" stay unchanged.
std::string reflowed(std::string_view text, size_t width);

}  // namespace tyksim
