#include "tags/Words.h"

#include <algorithm>

namespace tyktags {

std::string counted(uint64_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string commaSeparated(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) line.append(line.empty() ? "" : ", ").append(word);
    return line;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view kMark = "\xef\xbb\xbf";
    if (text.substr(0, kMark.size()) == kMark) text.remove_prefix(kMark.size());
    return text;
}

std::string shortened(std::string_view text) {
    constexpr size_t kShown = 64;
    constexpr size_t kMostBytes = 4;  // of a character
    if (text.size() <= kShown) return std::string(text);
    const auto continues = [text](size_t at) {
        return (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
    };
    size_t end = kShown;
    while (end > kShown - kMostBytes && continues(end)) --end;
    return std::string(text.substr(0, end)) + "...";
}

std::string quoted(std::string_view text) {
    return "\"" + shortened(text) + "\"";
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    return text.substr(0, text.find_last_not_of(kSpace) + 1);
}

}  // namespace tyktags
