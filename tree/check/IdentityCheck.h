// Checks the camera and the exposure of a task's frames: an exposure belongs to one request, and
// the files of a frame to one camera. Errors: std::bad_alloc, and exceptions of the sink.
#pragma once

#include "tree/check/TaskFindings.h"

namespace tyktree {

/// Checks the frames at `positions`. Ignores parameters for which the configuration sets a fixed
/// camera, because they do not tell the frame's camera. Threads: the one that uses `findings`.
void checkIdentities(const TaskSummary& summary, const Positions& positions,
                     TaskFindings& findings);

}  // namespace tyktree
