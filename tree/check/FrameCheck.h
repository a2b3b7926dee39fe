// Checks one frame's folder by itself.
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

/// What the checks of one task share. All threads read it; no thread changes it while checks run.
struct TaskContext {
    const PipeEntry& pipe;
    const TaskEntry& task;
    const CheckOptions& options;
    bool images = true;        ///< whether frames should have images
    std::set<int> sofFilters;  ///< fixed sof ids in the configuration, which occur in every frame

    FramePlace placeOf(const FrameEntry& frame) const {
        return {pipe.id, task.position, frame.position};
    }
};

/// Collects the findings of a frame until they can be reported in order.
class FrameFindings : public FindingSink {
public:
    void add(const Finding& finding) override { list.push_back(finding); }
    std::vector<Finding> list;
};

/// The state of checking one frame; the next frame reuses it. One thread at a time uses an object.
struct FrameJob {
    FrameListing listing;
    FrameFindings findings;
    std::vector<uint8_t> buffer;  ///< for the contents of files
};

/// Lists the frame's folder and collects its findings in `job`. Threads: any, with a job of its own
/// each. Errors: std::bad_alloc.
void checkFrame(const TaskContext& context, const FrameEntry& frame, FrameJob& job);

/// Bytes of the image that the name describes; 0 when its width and height are not those of an
/// image.
uint64_t namedImageBytes(const ImageFileName& image);

}  // namespace tyktree
