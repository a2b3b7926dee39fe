// Checks the scene-detection record of one frame.
#pragma once

#include "tree/check/Finding.h"
#include "tree/read/FrameListing.h"

namespace tyktree {

/// Reads the record's files of a frame folder and tells `findings`, with `place`: XML that cannot
/// be read, fields that are missing or beyond their type, blocks missing or of the wrong size, and
/// XML, blocks and parameter file that disagree. Threads: any, a sink of its own for each. Lets
/// std::bad_alloc through.
void checkScene(const FrameListing& listing, const FramePlace& place, FindingSink& findings);

}  // namespace tyktree
