#include "tags/Problem.h"

#include <system_error>

namespace tyktags {

std::string toLine(const Problem& problem) {
    std::string line;
    for (const std::string* part : {&problem.path, &problem.where}) {
        if (!part->empty()) line += *part + ": ";
    }
    if (!problem.expected.empty()) line += "expected " + problem.expected + ", ";
    line += "found " + problem.found;
    if (!problem.reason.empty()) line += ": " + problem.reason;
    return line;
}

std::string systemReason(int error) {
    return std::generic_category().message(error);
}

}  // namespace tyktags
