// The names of tags that frames have.
//
// Threads: any. Errors: the operation lets std::bad_alloc through.
#pragma once

#include "tree/read/FrameSelection.h"

#include <string>
#include <vector>

namespace tyktree {

/// The names of the tags in parameter files of `frames`, each once, for a tree without a tag table.
/// Looks at the first frames only: a tag that later ones alone have can be named once it is in a
/// table.
std::vector<std::string> tagNamesIn(const std::vector<FrameRef>& frames);

}  // namespace tyktree
