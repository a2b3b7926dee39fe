// Findings as a verb prints them: one a line among its results.
#pragma once

#include "tools/console/Console.h"
#include "tree/check/Finding.h"

#include <cstdint>
#include <map>
#include <string>

namespace tyksim {

/// Prints findings of at least `least` and counts all of those.
class FindingPrinter : public tyktree::FindingSink {
public:
    explicit FindingPrinter(tyktree::Severity least = tyktree::Severity::kNote) : least_(least) {}

    void add(const tyktree::Finding& finding) override;

    uint64_t count() const { return counts_.total(); }
    const tyktree::FindingCounts& counts() const { return counts_; }

    /// kFindings when there is one, else kClean.
    ExitStatus status() const;

private:
    tyktree::Severity least_;
    tyktree::FindingCounts counts_;
};

/// "1 error, 2 warnings, 0 notes".
std::string countsText(const tyktree::FindingCounts& counts);

/// Prints the first finding of each rule and counts the rest: what fails for one frame often fails
/// for all that follow, for the same reason.
class FindingSummary : public tyktree::FindingSink {
public:
    void add(const tyktree::Finding& finding) override;

    /// Prints how many there were of each rule beyond the first.
    void finish() const;

    uint64_t count() const { return first_.count(); }

private:
    FindingPrinter first_;
    std::map<tyktree::RuleId, uint64_t> counts_;
};

}  // namespace tyksim
