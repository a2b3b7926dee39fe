#include "tags/Problem.h"

#include <initializer_list>
#include <string_view>
#include <system_error>

namespace tyktags {

namespace {

std::string joined(std::initializer_list<std::string_view> parts, std::string_view between) {
    std::string line;
    for (const std::string_view part : parts) {
        if (!part.empty()) line.append(line.empty() ? "" : between).append(part);
    }
    return line;
}

}  // namespace

std::string toLine(const Problem& problem) {
    const std::string& expected = problem.expected;
    const std::string& found = problem.found;
    const std::string contrast = joined(
        {expected.empty() ? "" : "expected " + expected, found.empty() ? "" : "found " + found},
        ", ");
    return joined({problem.path, problem.where, contrast, problem.reason}, ": ");
}

std::string systemReason(int error) {
    return std::generic_category().message(error);
}

}  // namespace tyktags
