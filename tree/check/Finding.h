// What reading a tree brings to light, as values: which rule, where, what was expected, what was
// found. Findings stream to a sink as they are made; nobody holds them all.
#pragma once

#include "tree/check/Rules.h"

#include <cstdint>
#include <optional>
#include <string>

namespace tyktree {

/// Where in a tree a finding belongs. Positions count from 1, as `info` prints them.
struct FramePlace {
    std::optional<int> pipe;  ///< pipe id; none where the tree does not say
    uint32_t task = 0;        ///< position of the task within its pipe; 0: of no task
    uint32_t frame = 0;       ///< position of the frame within its task; 0: of no frame
};

/// One thing that is not as it should be.
struct Finding {
    RuleId rule;
    std::string path;      ///< of the file or folder, raw bytes as the system has them
    FramePlace place;      ///< the frame it belongs to, as far as it belongs to one
    std::string expected;  ///< continues "expected "; "" where there is nothing to expect
    std::string found;     ///< continues "found "
    std::string reason;    ///< the system's or the library's own words; "" where there are none
    std::string hint;      ///< what to do about this one; "": the rule's own hint
};

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

/// One line without a newline: "<path>: expected <expected>, found <found>: <reason>". Control
/// characters of names are escaped (see Escape.h).
std::string toLine(const Finding& finding);

}  // namespace tyktree
