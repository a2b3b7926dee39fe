// How findings of a task's frames are said: one a frame where few are concerned, one for the task
// where most are.
#pragma once

#include "tree/check/TaskCheck.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tyktree {

/// Frames of a task by position, in order.
using Positions = std::vector<uint32_t>;

/// Whether a configuration's entry makes the files of a column.
bool writes(const ConfigEntry& entry, const Column& column);

class TaskFindings {
public:
    /// `frames` are those that could be looked at. The arguments must outlive the object.
    TaskFindings(const TaskSummary& summary, const Positions& frames, FindingSink& sink)
        : summary_(summary), frames_(frames), sink_(sink) {}

    const FrameEntry& frameAt(uint32_t position) const;
    std::string pathOf(uint32_t position) const;

    /// `position` 0: of the task, not of a frame.
    void add(RuleId rule, Problem problem, uint32_t position, const std::string& hint = "");

    /// `problemOf` gives the problem of one frame, `common` that of the task ("in 7 of 9 frames"
    /// follows; its path does not matter).
    void spread(RuleId rule, const Positions& positions, const Problem& common,
                const std::function<Problem(uint32_t position)>& problemOf,
                const std::string& hint = "");

private:
    const TaskSummary& summary_;
    const Positions& frames_;
    FindingSink& sink_;
};

}  // namespace tyktree
