#include "tools/console/OptionChecks.h"

#include "tags/NearestNames.h"
#include "tools/console/Console.h"

#include <climits>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

// The validators' names, which the command line's library knows them by.
constexpr const char* kWords = "words";
constexpr const char* kRange = "range";

std::string refusal(const std::string& expected, const std::string& found) {
    return "expected " + expected + ", found " + shellWord(found);
}

std::string describedBy(const CLI::Option& option, const char* validator) {
    // The library's accessor is not const and throws where there is none.
    try {
        return const_cast<CLI::Option&>(option).get_validator(validator)->get_description();
    } catch (const CLI::OptionNotFound&) {
        return "";
    }
}

}  // namespace

CLI::Validator wholeNumber(int64_t least, int64_t most) {
    const bool bounded = most < INT_MAX;
    const std::string range = bounded ? fmt::format("{} to {}", least, most) : "";
    const std::string expected = bounded ? "a whole number, " + range
                                 : least > INT_MIN
                                     ? fmt::format("a whole number, {} or more", least)
                                     : "a whole number";
    return {[=](std::string& given) -> std::string {
                int64_t number = 0;
                const char* const end = given.data() + given.size();
                const auto [stop, error] = std::from_chars(given.data(), end, number);
                if (error != std::errc() || stop != end || number < least || number > most) {
                    return refusal(expected, given);
                }
                given = fmt::to_string(number);  // the library takes a zero in front for octal
                return "";
            },
            range, kRange};
}

CLI::Validator realNumber(double least, double most) {
    const std::string range = fmt::format("{} to {}", least, most);
    return {[=](std::string& given) -> std::string {
                char* end = nullptr;
                const double number = std::strtod(given.c_str(), &end);
                const bool whole = !given.empty() && end == given.c_str() + given.size();
                if (whole && number >= least && number <= most) return "";
                return refusal("a number, " + range, given);
            },
            range, kRange};
}

CLI::Validator notEmpty() {
    return {[](std::string& given) -> std::string {
                return given.empty() ? refusal("a value", given) : "";
            },
            ""};
}

CLI::Validator oneOf(std::vector<std::string> words) {
    std::string choice;
    for (const std::string& word : words) choice += (choice.empty() ? "" : "|") + word;
    return {[words = std::move(words)](std::string& given) -> std::string {
                const bool known = std::find(words.begin(), words.end(), given) != words.end();
                return known ? "" : refusal(tyktags::joinedByOr(words), given);
            },
            choice, kWords};
}

std::string valueNameOf(const CLI::Option& option) {
    std::string words = describedBy(option, kWords);
    if (!words.empty()) return words;
    // The library appends the descriptions of the checks.
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

std::string rangeOf(const CLI::Option& option) {
    return describedBy(option, kRange);
}

}  // namespace tyksim
