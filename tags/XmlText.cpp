#include "tags/XmlText.h"

#include <algorithm>

namespace tyktags {

namespace {

bool startsAt(std::string_view text, size_t at, std::string_view start) {
    return text.substr(at, start.size()) == start;
}

// The position after the next `end` from `at` on; the end of the text if there is none.
size_t behind(std::string_view text, size_t at, std::string_view end) {
    const size_t found = text.find(end, at);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

bool closesItself(std::string_view text, size_t tagEnd) {
    return tagEnd >= 2 && text[tagEnd - 2] == '/';
}

bool isNamePart(char c) {
    return std::string_view(" \t\r\n='\"").find(c) == std::string_view::npos;
}

// The position of the tag that closes the element whose content begins at `at`.
size_t endOfContent(std::string_view text, size_t at) {
    size_t depth = 1;
    while ((at = text.find('<', at)) != std::string_view::npos) {
        if (startsAt(text, at, "<!--")) {
            at = behind(text, at + 4, "-->");
        } else if (startsAt(text, at, "<![CDATA[")) {
            at = behind(text, at, "]]>");
        } else if (startsAt(text, at, "<?")) {
            at = behind(text, at, "?>");
        } else if (startsAt(text, at, "</")) {
            if (--depth == 0) return at;
            at = endOfTag(text, at);
        } else {
            at = endOfTag(text, at);
            if (!closesItself(text, at)) ++depth;
        }
    }
    return text.size();
}

}  // namespace

size_t endOfTag(std::string_view text, size_t at) {
    char quote = '\0';
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (quote == '\0' && c == '>') return at + 1;
        if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
        } else if (c == quote) {
            quote = '\0';
        }
    }
    return text.size();
}

ElementText elementAt(std::string_view text, size_t nameAt) {
    ElementText element;
    element.begin = nameAt - 1;
    element.contentBegin = endOfTag(text, nameAt);
    element.isEmpty = closesItself(text, element.contentBegin);
    element.contentEnd = element.contentBegin;
    element.end = element.contentBegin;
    if (element.isEmpty) return element;
    element.contentEnd = endOfContent(text, element.contentBegin);
    element.end = endOfTag(text, element.contentEnd);
    return element;
}

size_t attributeAt(std::string_view text, size_t from, std::string_view name) {
    char quote = '\0';
    for (size_t at = from; at < text.size(); ++at) {
        const char c = text[at];
        if (quote == '\0' && startsAt(text, at, name) && !isNamePart(text[at - 1]) &&
            !isNamePart(text[at + name.size()])) {
            return at;
        }
        if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
        }
    }
    return text.size();
}

void TextEdits::replace(size_t begin, size_t end, std::string text) {
    edits_.push_back({begin, end, std::move(text)});
}

std::string TextEdits::apply(std::string_view text) const {
    std::vector<Edit> edits = edits_;
    std::stable_sort(edits.begin(), edits.end(),
                     [](const Edit& a, const Edit& b) { return a.begin < b.begin; });
    std::string result;
    size_t at = 0;
    for (const Edit& edit : edits) {
        result.append(text.substr(at, edit.begin - at)).append(edit.text);
        at = edit.end;
    }
    return result.append(text.substr(at));
}

}  // namespace tyktags
