// A copy of a captured frame with values set, for one replay, which does not write into the tree.
#pragma once

#include "tools/edit/Edits.h"
#include "tools/edit/TreeCopy.h"
#include "tree/read/FrameSelection.h"

#include <string>

namespace tyksim {

/// A folder below a temporary root that replaces a task and contains one frame at a time: links to
/// unchanged files, and changed files. One thread at a time uses an object.
class FrameOverlay {
public:
    /// `root` must be a writable folder; `edits` must outlive the object. Throws Failure when the
    /// task's folder cannot be made.
    FrameOverlay(const std::string& root, const Edits& edits);

    /// The folder that replaces the task.
    const std::string& task() const { return task_; }

    /// Replaces the folder's frame by `frame`, under its own name. Throws Failure when a file
    /// cannot be written.
    FrameCopy lay(const tyktree::FrameRef& frame, FrameTurn turn);

private:
    std::string task_;
    const Edits& edits_;
    CopyOptions options_;
};

}  // namespace tyksim
