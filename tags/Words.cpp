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

std::string quoted(std::string_view text) {
    constexpr size_t kShown = 64;
    std::string result = "\"" + std::string(text.substr(0, kShown));
    return result + (text.size() > kShown ? "...\"" : "\"");
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    return text.substr(0, text.find_last_not_of(kSpace) + 1);
}

}  // namespace tyktags
