// Selects frames by a condition on their values.
#pragma once

#include "python/src/NameCatalog.h"
#include "tree/read/FrameSelection.h"

#include <string>
#include <vector>

namespace tykpython {

/// The frames for which `expression` (see tree/read/Condition.h) is true, in their order. Reads
/// images only if the other values do not decide. Raises KeyError for an unknown name and
/// ValueError for an invalid condition; throws Damaged if a value cannot be read. Call it with the
/// interpreter's lock, which it releases meanwhile.
std::vector<tyktree::FrameRef> framesWhere(const NameCatalog& names,
                                           const std::vector<std::string>& tagNames,
                                           const std::vector<tyktree::FrameRef>& frames,
                                           const std::string& expression);

}  // namespace tykpython
