// What a task's frames tell together: what is missing, what is unlike the others, where it breaks
// off.
#pragma once

#include "tree/check/FrameCheck.h"
#include "tree/check/TaskStatistics.h"
#include "tree/read/DumpConfigFile.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyktree {

/// The frames of one task that were looked at, and what they are judged by.
struct TaskSummary {
    const TaskContext& context;
    const TagCatalog& catalog;
    const std::vector<ConfigEntry>& config;  ///< empty where there is none
    const std::vector<const FrameEntry*>& frames;
    TaskStatistics& statistics;
    std::vector<bool> unseen;  ///< by position - 1: not listed, or empty
    FrameJob* last = nullptr;  ///< of the task's last frame, where that was looked at
};

/// Gives the last frame's findings, which wait for this, and those of the whole task.
void checkTask(const TaskSummary& summary, FindingSink& sink);

}  // namespace tyktree
