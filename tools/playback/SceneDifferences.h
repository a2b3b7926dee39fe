// Compares a scene record that arrived in a replay with the one that was dumped.
#pragma once

#include "tree/read/SceneRecord.h"

#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// One difference in words, as findings have them.
struct SceneDifference {
    std::string expected;
    std::string found;
};

/// Where `arrived` is not what a folder replay makes of `dumped`: named fields with the value
/// dumped and the value that arrived (that is how an edit of the text file shows), bytes of the two
/// blocks, and bytes elsewhere that are not 0. Without `dumped` only the last can be told.
std::vector<SceneDifference> sceneDifferences(const std::optional<tyktree::SceneRecord>& dumped,
                                              const tyktree::SceneRecord& arrived);

}  // namespace tyksim
