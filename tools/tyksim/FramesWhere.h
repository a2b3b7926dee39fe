// The frames of a tree of which --where holds.
#pragma once

#include "tools/tyksim/Reading.h"
#include "tree/read/Condition.h"

#include <string>
#include <vector>

namespace tyksim {

/// Parses the expression of --where. Throws WrongUsage with a mark under the place that is wrong.
tyktree::Condition parseWhere(const std::string& expression);

/// The frames of `tree.frames` of which the condition holds, in their order. Reads the values on
/// `jobs` threads, images only where the other values do not decide, and reports values that cannot
/// be read. `expression` is the condition's text. Throws PicksNothing, with a mark, for a name that
/// the tree does not have.
std::vector<tyktree::FrameRef> framesWhere(const OpenedTree& tree, const std::string& expression,
                                           tyktree::Condition condition, int jobs,
                                           Reading& reading);

}  // namespace tyksim
