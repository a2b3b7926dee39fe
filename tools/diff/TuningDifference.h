// Compares the tuning copies of two trees. Threads: any.
#pragma once

#include "tools/diff/FrameDifference.h"
#include "tree/read/TreeIndex.h"

#include <vector>

namespace tyksim {

/// The tuning copies, of pipes on both sides, that differ, cannot be compared, or exist on one side
/// only. Empty if a side is a task or a frame, which has no copies of its own.
std::vector<ContentDifference> differentTuning(const tyktree::TreeIndex& a,
                                               const tyktree::TreeIndex& b);

}  // namespace tyksim
