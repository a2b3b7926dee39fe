// Which camera and which exposure a task's frames are of: an exposure belongs to one request, and a
// frame's files to one camera.
#pragma once

#include "tree/check/TaskFindings.h"

namespace tyktree {

/// Looks at the frames at `positions`. Parameters that the configuration dumps of a camera of its
/// own do not tell which camera a frame is of.
void checkIdentities(const TaskSummary& summary, const Positions& positions,
                     TaskFindings& findings);

}  // namespace tyktree
