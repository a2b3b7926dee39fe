// The order of the frames of one tree or of two on the sheet.
#pragma once

#include "tools/diff/FrameMatch.h"

#include <cstddef>
#include <vector>

namespace tyksim {

/// A frame of either tree, or of both, in its place on the page.
struct PlacedPair {
    FramePair frames;
    size_t task = 0;         ///< number of the page's task, from 0
    tyktree::FrameRef home;  ///< a frame of the task that the page shows: A's if A has the task
    const tyktree::TaskEntry* other = nullptr;  ///< B's task; null if B has none
};

/// Sorts the pairs of matchFrames(): a frame that only B has comes before the first frame that it
/// precedes in B. Keeps, in each task, every `every`th frame of A, and every `every`th of the
/// frames that only B has. Threads: any.
std::vector<PlacedPair> inTheirPlaces(const std::vector<FramePair>& pairs, uint32_t every);

}  // namespace tyksim
