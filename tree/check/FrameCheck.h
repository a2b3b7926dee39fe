// What one frame's folder tells by itself.
#pragma once

#include "tree/check/Finding.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/FrameListing.h"
#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tyktree {

/// What the checks of one task share. Read by all threads, written by none.
struct TaskContext {
    const PipeEntry& pipe;
    const TaskEntry& task;
    const CheckOptions& options;
    bool images = true;        ///< whether frames are to have images
    std::set<int> sofFilters;  ///< sof ids that the configuration gives to files of every frame

    FramePlace placeOf(const FrameEntry& frame) const {
        return {pipe.id, task.position, frame.position};
    }
};

/// Gathers the findings of a frame until their turn comes.
class FrameFindings : public FindingSink {
public:
    void add(const Finding& finding) override { list.push_back(finding); }
    std::vector<Finding> list;
};

/// One frame being checked; used again for the next.
struct FrameJob {
    FrameListing listing;
    FrameFindings findings;
    std::vector<uint8_t> buffer;  ///< for contents
};

/// Lists the frame's folder and gathers its findings.
void checkFrame(const TaskContext& context, const FrameEntry& frame, FrameJob& job);

/// Bytes that an image of that name has; 0 where its numbers make no image.
uint64_t imageBytes(const ImageFileName& image);

}  // namespace tyktree
