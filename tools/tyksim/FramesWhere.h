// The frames of a tree for which --where holds. Threads: one, except where noted.
#pragma once

#include "tools/tyksim/Reading.h"
#include "tree/read/Condition.h"

#include <string>
#include <vector>

namespace tyksim {

/// Parses the expression of --where. Throws WrongUsage with a mark under the place that is wrong.
tyktree::Condition parseWhere(const std::string& expression);

/// The frames for which a condition holds, in their order, and the measures that it needed.
struct FramesHeld {
    std::vector<tyktree::FrameRef> frames;
    KnownMeasures measures;
};

/// Evaluates a condition for the frames of `tree.frames`. Reads the values on `jobs` threads,
/// images only if the other values do not decide, and reports values that cannot be read.
/// `expression` is the condition's text. Throws PicksNothing, with a mark, for a name that the tree
/// does not have.
FramesHeld framesWhere(const OpenedTree& tree, const std::string& expression,
                       tyktree::Condition condition, int jobs, Reading& reading);

}  // namespace tyksim
