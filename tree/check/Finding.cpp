#include "tree/check/Finding.h"

#include "tree/read/Escape.h"

namespace tyktree {

void FindingCounts::count(Severity severity) {
    switch (severity) {
        case Severity::kError:
            ++errors;
            return;
        case Severity::kWarning:
            ++warnings;
            return;
        case Severity::kNote:
            break;
    }
    ++notes;
}

bool FindingCounts::any(Severity least) const {
    if (errors > 0) return true;
    if (least == Severity::kError) return false;
    return warnings > 0 || (least == Severity::kNote && notes > 0);
}

std::string toLine(const Finding& finding) {
    std::string line = escaped(finding.path) + ": ";
    if (!finding.expected.empty()) line += "expected " + escaped(finding.expected) + ", ";
    line += "found " + escaped(finding.found);
    if (!finding.reason.empty()) line += ": " + escaped(finding.reason);
    return line;
}

}  // namespace tyktree
