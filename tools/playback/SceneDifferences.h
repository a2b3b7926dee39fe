// Compares a scene record that arrived in a replay with the dumped one. Threads: any.
#pragma once

#include "tree/read/SceneRecord.h"

#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// One difference as text for a finding.
struct SceneDifference {
    std::string expected;
    std::string found;
};

/// The differences between `arrived` and a folder replay of `dumped`: named fields with the dumped
/// and the arrived value (an edit of the XML file shows here), bytes of the two blocks, and other
/// bytes that are not 0. Without `dumped` only the last kind.
std::vector<SceneDifference> sceneDifferences(const std::optional<tyktree::SceneRecord>& dumped,
                                              const tyktree::SceneRecord& arrived);

}  // namespace tyksim
