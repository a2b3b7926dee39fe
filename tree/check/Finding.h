// The findings of a check, as values: rule, place, what was expected and what was found. A check
// passes each finding to a sink at once, so it needs no memory for all of them.
#pragma once

#include "tree/check/Rules.h"
#include "tree/read/TreeProblem.h"

#include <cstdint>
#include <string>

namespace tyktree {

/// One deviation from a rule. A value: one thread at a time uses it.
struct Finding : Problem {
    RuleId rule;
    FramePlace place;  ///< the pipe, task and frame that it concerns
    std::string hint;  ///< what to do; "": the rule's own hint
};

/// Makes a finding. Threads: any.
Finding makeFinding(RuleId rule, const FramePlace& place, Problem problem, std::string hint = "");

/// Converts a problem of reading a tree to a finding. Threads: any.
Finding findingOf(const TreeProblem& problem);

/// Severity of a finding's rule.
inline Severity severityOf(const Finding& finding) {
    return ruleOf(finding.rule).severity;
}

/// Takes findings. One thread at a time calls add(); the finding is the caller's and may be gone
/// afterwards.
class FindingSink {
public:
    virtual ~FindingSink() = default;
    virtual void add(const Finding& finding) = 0;
};

/// Numbers of findings by severity. One thread at a time uses an object.
struct FindingCounts {
    uint64_t errors = 0;
    uint64_t warnings = 0;
    uint64_t notes = 0;

    void count(Severity severity);
    uint64_t total() const { return errors + warnings + notes; }
    /// Whether a finding of severity `least` or worse was counted.
    bool any(Severity least) const;
};

/// The problem in one line, with control characters escaped (see Escape.h).
std::string toLine(const Finding& finding);

}  // namespace tyktree
