// Reports findings of a task's frames: one per frame if they concern few frames, one for the task
// if they concern most.
#pragma once

#include "tree/check/TaskCheck.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tyktree {

/// Positions of frames in a task, in ascending order.
using Positions = std::vector<uint32_t>;

/// Whether a configuration's entry writes the files of a column.
bool writes(const ConfigEntry& entry, const ParameterColumn& column);

/// Passes each finding to the sink at once. Threads: the one that uses the sink.
/// Errors: std::bad_alloc, and exceptions of the sink.
class TaskFindings {
public:
    /// `frames` are the positions of the frames that could be listed. The arguments must outlive
    /// the object.
    TaskFindings(const TaskSummary& summary, const Positions& frames, FindingSink& sink)
        : summary_(summary), frames_(frames), sink_(sink) {}

    const FrameEntry& frameAt(uint32_t position) const;
    std::string pathOf(uint32_t position) const;

    /// Reports one finding; `position` 0 stands for the task.
    void add(RuleId rule, Problem problem, uint32_t position, const std::string& hint = "");

    /// Reports a finding of the frames at `positions`. `problemOf` gives the problem of one frame,
    /// `common` that of the task: its path is replaced, and "in 7 of 9 frames" is added.
    void spread(RuleId rule, const Positions& positions, const Problem& common,
                const std::function<Problem(uint32_t position)>& problemOf,
                const std::string& hint = "");

private:
    const TaskSummary& summary_;
    const Positions& frames_;
    FindingSink& sink_;
};

}  // namespace tyktree
