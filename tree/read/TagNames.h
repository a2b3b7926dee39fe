// The names of tags that frames have. Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tree/read/FrameSelection.h"

#include <string>
#include <vector>

namespace tyktree {

/// The names of the tags in parameter files of `frames`, each once, for a tree without a tag table.
/// Reads the first frames only: a tag that only later frames have needs a tag table.
std::vector<std::string> tagNamesIn(const std::vector<FrameRef>& frames);

}  // namespace tyktree
