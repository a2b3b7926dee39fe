#include "tree/check/TaskFindings.h"

#include <algorithm>
#include <utility>

namespace tyktree {

bool writes(const ConfigEntry& entry, const ParameterColumn& column) {
    return entry.tagName == column.tagName && entry.pipe == column.pipe &&
           entry.dumpType == column.dumpType &&
           (entry.camId == kFramesOwn || entry.camId == column.camId);
}

const FrameEntry& TaskFindings::frameAt(uint32_t position) const {
    const auto found = std::lower_bound(
        summary_.frames.begin(), summary_.frames.end(), position,
        [](const FrameEntry* frame, uint32_t wanted) { return frame->position < wanted; });
    return **found;
}

std::string TaskFindings::pathOf(uint32_t position) const {
    return framePath(summary_.context.task, frameAt(position));
}

void TaskFindings::add(RuleId rule, Problem problem, uint32_t position, const std::string& hint) {
    const TaskContext& context = summary_.context;
    sink_.add(makeFinding(rule, {context.pipe.id, context.task.position, position},
                          std::move(problem), hint));
}

void TaskFindings::spread(RuleId rule, const Positions& positions, const Problem& common,
                          const std::function<Problem(uint32_t position)>& problemOf,
                          const std::string& hint) {
    if (frames_.size() > 1 && positions.size() * 2 > frames_.size()) {
        const std::string found = common.found + " in " + std::to_string(positions.size()) +
                                  " of " + std::to_string(frames_.size()) + " frames";
        add(rule, {summary_.context.task.path, common.expected, found}, 0, hint);
        return;
    }
    for (const uint32_t position : positions) add(rule, problemOf(position), position, hint);
}

}  // namespace tyktree
