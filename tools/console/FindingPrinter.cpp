#include "tools/console/FindingPrinter.h"

#include "tools/console/Units.h"

#include <fmt/format.h>

namespace tyksim {

void FindingPrinter::add(const tyktree::Finding& finding) {
    const tyktree::Severity severity = severityOf(finding);
    if (severity < least_) return;
    counts_.count(severity);
    printResult(
        fmt::format("{} {}: {}", nameOf(severity), ruleOf(finding.rule).name, toLine(finding)));
}

ExitStatus FindingPrinter::status() const {
    return count() == 0 ? ExitStatus::kClean : ExitStatus::kFindings;
}

std::string countsText(const tyktree::FindingCounts& counts) {
    return fmt::format("{}, {}, {}", counted(counts.errors, "error", "errors"),
                       counted(counts.warnings, "warning", "warnings"),
                       counted(counts.notes, "note", "notes"));
}

void FindingSummary::add(const tyktree::Finding& finding) {
    if (++counts_[finding.rule] == 1) first_.add(finding);
}

void FindingSummary::finish() const {
    for (const auto& [rule, count] : counts_) {
        if (count > 1)
            printResult(fmt::format("{}: {} more like it", ruleOf(rule).name, count - 1));
    }
}

}  // namespace tyksim
