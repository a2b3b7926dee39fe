#include "tree/check/Finding.h"

#include "tree/read/Escape.h"

#include <iterator>
#include <utility>

namespace tyktree {

namespace {

// In the order of ProblemKind.
constexpr RuleId kRuleOf[] = {
    RuleId::kFolderUnlisted, RuleId::kEntryTypeUnknown, RuleId::kLinkedFolder, RuleId::kNotAFolder,
    RuleId::kForeignFile,    RuleId::kForeignFolder,    RuleId::kNoFrames,     RuleId::kFrameName,
    RuleId::kFrameOrder,     RuleId::kFrameRepeated,    RuleId::kTaskName,     RuleId::kNameTime,
};
static_assert(std::size(kRuleOf) == static_cast<size_t>(ProblemKind::kNameTime) + 1);

}  // namespace

Finding makeFinding(RuleId rule, const FramePlace& place, Problem problem, std::string hint) {
    return {std::move(problem), rule, place, std::move(hint)};
}

Finding findingOf(const TreeProblem& problem) {
    return makeFinding(kRuleOf[static_cast<size_t>(problem.kind)], problem.place, problem);
}

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
    return escaped(tyktags::toLine(finding));
}

}  // namespace tyktree
