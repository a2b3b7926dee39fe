#include "tools/console/Wrap.h"

#include <algorithm>

namespace tyksim {

namespace {

size_t indentOf(std::string_view line) {
    return std::min(line.find_first_not_of(' '), line.size());
}

std::string_view takeLine(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// A paragraph or an item of a list, collected line by line.
class Piece {
public:
    explicit Piece(std::string_view line) : indent_(indentOf(line)), hanging_(indent_) {
        const size_t gap = indent_ > 0 ? line.find("  ", indent_) : std::string_view::npos;
        if (gap != std::string_view::npos) {
            hanging_ = std::min(line.find_first_not_of(' ', gap), line.size());
        }
        term_ = line.substr(0, hanging_);
        text_ = line.substr(hanging_);
    }

    bool takes(std::string_view line) const {
        const size_t indent = indentOf(line);
        return indent < line.size() && (indent_ == 0 ? indent == 0 : indent > indent_);
    }

    void add(std::string_view line) { text_.append(" ").append(line); }

    void appendTo(std::string& out, size_t width) const {
        out += term_;
        // A narrow terminal has no room for two columns.
        const size_t indent = hanging_ * 2 <= width ? hanging_ : indent_ + 2;
        appendWrapped(out, text_, hanging_, indent, width);
        out += '\n';
    }

private:
    size_t indent_;
    size_t hanging_;
    std::string term_;
    std::string text_;
};

}  // namespace

void appendWrapped(std::string& out, std::string_view text, size_t column, size_t indent,
                   size_t width) {
    bool first = true;
    for (size_t at = 0; (at = text.find_first_not_of(" \n", at)) != std::string_view::npos;) {
        const size_t end = std::min(text.find_first_of(" \n", at), text.size());
        const size_t gap = first ? 0 : 1;
        if (column > indent && column + gap + (end - at) > width) {
            out.erase(out.find_last_not_of(' ') + 1);
            out.append("\n").append(indent, ' ');
            column = indent;
        } else {
            out.append(gap, ' ');
            column += gap;
        }
        out += text.substr(at, end - at);
        column += end - at;
        at = end;
        first = false;
    }
}

std::string reflowed(std::string_view text, size_t width) {
    std::string out;
    bool verbatim = false;
    while (!text.empty()) {
        const std::string_view line = takeLine(text);
        if (verbatim || line.empty()) {
            out.append(line).append("\n");
            verbatim = verbatim && !line.empty();
            continue;
        }
        Piece piece(line);
        while (piece.takes(text.substr(0, text.find('\n')))) piece.add(takeLine(text));
        piece.appendTo(out, width);
        verbatim = line == "Examples:";
    }
    return out;
}

}  // namespace tyksim
