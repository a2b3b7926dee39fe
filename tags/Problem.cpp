#include "tags/Problem.h"

#include <initializer_list>
#include <system_error>

namespace tyktags {

std::string toLine(const Problem& problem) {
    std::string contrast;
    if (!problem.expected.empty()) contrast = "expected " + problem.expected + ", ";
    if (!problem.found.empty()) contrast += "found " + problem.found;
    std::string line;
    for (const std::string* part : std::initializer_list<const std::string*>{
             &problem.path, &problem.where, &contrast, &problem.reason}) {
        if (!part->empty()) line.append(line.empty() ? "" : ": ").append(*part);
    }
    return line;
}

std::string systemReason(int error) {
    return std::generic_category().message(error);
}

}  // namespace tyktags
