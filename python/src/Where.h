// Frames of which a condition on their values holds.
#pragma once

#include "python/src/Table.h"
#include "tree/read/FrameSelection.h"

#include <string>
#include <vector>

namespace tykpython {

/// The frames of which `expression` (see tree/read/Condition.h) holds, in their order. Images are
/// read only where the other values do not decide. KeyError for
/// a name that stands for nothing, ValueError for what is no condition, Damaged for a value that
/// cannot be read. To be called with the interpreter's lock, which it gives away meanwhile.
std::vector<tyktree::FrameRef> framesWhere(const Table& table,
                                           const std::vector<std::string>& tagNames,
                                           const std::vector<tyktree::FrameRef>& frames,
                                           const std::string& expression);

}  // namespace tykpython
