// A captured frame with values set, for one replay: nothing is written into the tree.
#pragma once

#include "tools/edit/Edits.h"
#include "tools/edit/TreeCopy.h"
#include "tree/read/FrameSelection.h"

#include <string>

namespace tyksim {

/// A folder below a temporary root that stands for a task and holds one frame at a time: links to
/// the files that stay, files of its own for what was set.
class FrameOverlay {
public:
    /// `root` is a folder that may be written to; `edits` must outlive the object.
    FrameOverlay(const std::string& root, const Edits& edits);

    /// The folder that stands for the task.
    const std::string& task() const { return task_; }

    /// Puts the frame of `listing` into the folder in place of the last one, under its own name.
    FrameCopy lay(const tyktree::FrameRef& frame, FrameTurn turn);

private:
    std::string task_;
    const Edits& edits_;
    CopyOptions options_;
};

}  // namespace tyksim
