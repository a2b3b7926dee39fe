// A tag table made from the file names of a tree that came without one.
#pragma once

#include "host/ParamService.h"
#include "tools/TreeFinder.h"

#include <vector>

namespace tyksim {

/// A tag for every name among the tree's parameter files: fixed-size, as large as the largest file,
/// where one of its files is of dump type 0, else a block. Names that the tool knows keep their
/// ids; the tags that a replay itself sets are there in any case.
std::vector<tykhost::TagEntry> deriveTags(const Tree& tree);

}  // namespace tyksim
