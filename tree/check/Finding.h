// What a check brings to light, as values: which rule, where, what was expected, what was found.
// Findings stream to a sink as they are made; nobody holds them all.
#pragma once

#include "tree/check/Rules.h"
#include "tree/read/TreeProblem.h"

#include <cstdint>
#include <string>

namespace tyktree {

/// One thing that is not as it should be.
struct Finding : Problem {
    RuleId rule;
    FramePlace place;  ///< the frame it belongs to, as far as it belongs to one
    std::string hint;  ///< what to do about this one; "": the rule's own hint
};

/// The one way to make a finding.
Finding makeFinding(RuleId rule, const FramePlace& place, Problem problem, std::string hint = "");

/// The finding that a problem of reading a tree is.
Finding findingOf(const TreeProblem& problem);

/// Severity of a finding's rule.
inline Severity severityOf(const Finding& finding) {
    return ruleOf(finding.rule).severity;
}

/// Takes findings. Called from one thread at a time.
class FindingSink {
public:
    virtual ~FindingSink() = default;
    virtual void add(const Finding& finding) = 0;
};

/// Findings by severity.
struct FindingCounts {
    uint64_t errors = 0;
    uint64_t warnings = 0;
    uint64_t notes = 0;

    void count(Severity severity);
    uint64_t total() const { return errors + warnings + notes; }
    /// Whether there is one of `least` or worse.
    bool any(Severity least) const;
};

/// The problem in one line, in which control characters are escaped (see Escape.h).
std::string toLine(const Finding& finding);

}  // namespace tyktree
