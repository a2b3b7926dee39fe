// Checks the scene-detection record of one frame.
#pragma once

#include "tree/check/Finding.h"
#include "tree/read/FrameListing.h"

namespace tyktree {

/// Reads the record's files of a frame folder and adds to `findings`, with `place`: unreadable XML,
/// missing fields, fields out of their type's range, missing blocks or blocks of the wrong size,
/// and differences between XML, blocks and parameter file. Threads: any, with a sink of its own
/// each. Errors: std::bad_alloc.
void checkScene(const FrameListing& listing, const FramePlace& place, FindingSink& findings);

}  // namespace tyktree
