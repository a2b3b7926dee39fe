#include "tools/console/OptionChecks.h"

#include "tags/Digits.h"
#include "tags/NearestNames.h"
#include "tools/console/Console.h"

#include <climits>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

std::string refusal(const std::string& expected, const std::string& found) {
    return "expected " + expected + ", found " + shellWord(found);
}

}  // namespace

ValueCheck wholeNumber(int64_t least, int64_t most) {
    const std::string range = fmt::format("{} to {}", least, most);
    return {[=](std::string& given) -> std::string {
                const auto number = tyktags::parseDigits<int64_t>(given);
                if (!number || *number < least || *number > most) {
                    return refusal("a whole number, " + range, given);
                }
                given = fmt::to_string(*number);  // the library takes a leading zero for octal
                return "";
            },
            // The help omits limits that are only those of the type.
            ValueCheck::Shown::kRange, most < INT_MAX ? range : ""};
}

ValueCheck realNumber(double least, double most) {
    const std::string range = fmt::format("{} to {}", least, most);
    return {[=](std::string& given) -> std::string {
                const std::optional<double> number = numberFrom(given);
                if (number && *number >= least && *number <= most) return "";
                return refusal("a number, " + range, given);
            },
            ValueCheck::Shown::kRange, range};
}

ValueCheck notEmpty() {
    return {[](std::string& given) -> std::string {
                return given.empty() ? refusal("a value", given) : "";
            },
            ValueCheck::Shown::kNothing, ""};
}

ValueCheck oneOf(std::vector<std::string> words) {
    std::string choice;
    for (const std::string& word : words) choice += (choice.empty() ? "" : "|") + word;
    return {[words = std::move(words)](std::string& given) -> std::string {
                const bool known = std::find(words.begin(), words.end(), given) != words.end();
                return known ? "" : refusal(tyktags::joinedByOr(words), given);
            },
            ValueCheck::Shown::kWords, choice};
}

std::optional<double> numberFrom(const std::string& given) {
    char* end = nullptr;
    const double number = std::strtod(given.c_str(), &end);
    if (given.empty() || end != given.c_str() + given.size()) return std::nullopt;
    return number;
}

}  // namespace tyksim
