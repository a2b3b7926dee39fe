// In which order the sheet shows the frames of one tree or of two.
#pragma once

#include "tools/diff/FrameMatch.h"

#include <cstddef>
#include <vector>

namespace tyksim {

/// A frame of either tree, or of both, in its place on the page.
struct PlacedPair {
    FramePair frames;
    size_t task = 0;         ///< number of the page's task, from 0
    tyktree::FrameRef home;  ///< a frame of the task that the page names: A's where A has one
    const tyktree::TaskEntry* other = nullptr;  ///< B's task; null where there is none
};

/// The pairs that matchFrames() gives, with a frame that only B has before the first one that it
/// precedes in B. Of each task every `every`th frame of A is kept, and of those that only B has.
std::vector<PlacedPair> inTheirPlaces(const std::vector<FramePair>& pairs, uint32_t every);

}  // namespace tyksim
