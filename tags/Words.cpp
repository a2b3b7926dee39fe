#include "tags/Words.h"

#include <algorithm>

namespace tyktags {

namespace {

constexpr char kMark = '"';

}  // namespace

std::string counted(uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string commaSeparated(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) line.append(line.empty() ? "" : ", ").append(word);
    return line;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view kOrder = "\xef\xbb\xbf";
    if (text.substr(0, kOrder.size()) == kOrder) text.remove_prefix(kOrder.size());
    return text;
}

bool continuesCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::string shortened(std::string_view text) {
    constexpr size_t kShown = 64;
    constexpr size_t kMostBytes = 4;  // of a character
    if (text.size() <= kShown) return std::string(text);
    size_t end = kShown;
    while (end > kShown - kMostBytes && continuesCharacter(text[end])) --end;
    return std::string(text.substr(0, end)) + "...";
}

std::string quoted(std::string_view text) {
    return "\"" + shortened(text) + "\"";
}

std::string marked(std::string_view text) {
    std::string result(1, kMark);
    for (const char c : text) result.append(c == kMark ? 2 : 1, c);
    return result + kMark;
}

size_t takeMarked(std::string_view text, std::string& content) {
    for (size_t at = 1; at < text.size(); ++at) {
        if (text[at] == kMark && text.substr(at + 1, 1) != "\"") return at + 1;
        if (text[at] == kMark) ++at;
        content += text[at];
    }
    return std::string_view::npos;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    return text.substr(0, text.find_last_not_of(kSpace) + 1);
}

}  // namespace tyktags
