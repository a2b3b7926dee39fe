// Prints findings among a verb's results, one per line. One thread at a time uses an object.
#pragma once

#include "tools/console/Console.h"
#include "tree/check/Finding.h"

#include <cstdint>
#include <map>
#include <string>

namespace tyksim {

/// Prints and counts findings of severity `least` and above.
class FindingPrinter : public tyktree::FindingSink {
public:
    explicit FindingPrinter(tyktree::Severity least = tyktree::Severity::kNote) : least_(least) {}

    void add(const tyktree::Finding& finding) override;

    uint64_t count() const { return counts_.total(); }
    const tyktree::FindingCounts& counts() const { return counts_; }

    /// kFindings if there was a finding, else kClean.
    ExitStatus status() const;

private:
    tyktree::Severity least_;
    tyktree::FindingCounts counts_;
};

/// "1 error, 2 warnings, 0 notes".
std::string countsText(const tyktree::FindingCounts& counts);

/// Prints the first finding of each rule and counts the others, because a failure often repeats for
/// all later frames.
class FindingSummary : public tyktree::FindingSink {
public:
    void add(const tyktree::Finding& finding) override;

    /// Prints the number of findings of each rule after the first.
    void finish() const;

    uint64_t count() const { return first_.count(); }

private:
    FindingPrinter first_;
    std::map<tyktree::RuleId, uint64_t> counts_;
};

}  // namespace tyksim
