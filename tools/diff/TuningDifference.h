// How the tuning copies of two trees differ.
#pragma once

#include "tools/diff/FrameDifference.h"
#include "tree/read/TreeIndex.h"

#include <vector>

namespace tyksim {

/// The tuning copies that differ, that cannot be compared, or that one side alone has, of the pipes
/// that both sides have. Empty where a side is a task or a frame: those have no copies of their
/// own.
std::vector<ContentDifference> differentTuning(const tyktree::TreeIndex& a,
                                               const tyktree::TreeIndex& b);

}  // namespace tyksim
