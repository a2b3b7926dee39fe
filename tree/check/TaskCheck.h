// Compares the frames of a task: missing files, files unlike those of the other frames, a torn last
// frame. Errors: std::bad_alloc, and exceptions of the sink.
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

/// The checked frames of one task and the data to judge them by. One thread at a time uses an
/// object; what it refers to must outlive it.
struct TaskSummary {
    const TaskContext& context;
    const TagCatalog& catalog;
    const std::vector<ConfigEntry>& config;  ///< empty if there is no configuration
    const std::vector<const FrameEntry*>& frames;
    TaskStatistics& statistics;
    std::vector<bool> unseen;  ///< by position - 1: not listed, or empty
    FrameJob* last = nullptr;  ///< of the task's last frame; null if that was not checked
};

/// Passes the findings of the last frame, which depend on the whole task, and those of the task to
/// `sink`, on the calling thread.
void checkTask(const TaskSummary& summary, FindingSink& sink);

}  // namespace tyktree
