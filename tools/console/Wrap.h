// Breaking lines of text at a width.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tyksim {

/// Appends the words of `text` to `out`, whose last line has `column` characters, and breaks before
/// a word that would pass `width`; the lines after the first are indented. A word longer than the
/// width stays whole.
void appendWrapped(std::string& out, std::string_view text, size_t column, size_t indent,
                   size_t width);

/// Breaks a text of paragraphs anew. An empty line ends a paragraph. An indented line begins an
/// item of a list; lines that are indented further belong to it. Where an item has two spaces or
/// more between a term and what is said of it, what follows stands below the latter. The lines
/// below "Examples:" stay as they are.
std::string reflowed(std::string_view text, size_t width);

}  // namespace tyksim
