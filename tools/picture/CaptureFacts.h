// Facts about the capture of a frame's picture, from its scene record and its names.
#pragma once

#include "tools/picture/PictureExif.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"

#include <cstddef>
#include <string>

namespace tyksim {

/// Name of a file with the picture of a frame, without its ending: "pipe1_task1_frame0012_req42_
/// sof17_cam0". `index` counts a frame's pictures from 0. The name has only numbers, because a
/// tree's own names may contain characters that a file's name cannot have.
std::string pictureName(const tyktree::FrameRef& frame, int camera, size_t index);

/// Reads facts frame by frame. One thread at a time uses an object.
class CaptureFactsReader {
public:
    /// The catalog must outlive the object.
    explicit CaptureFactsReader(const tyktree::TagCatalog& catalog);

    /// The facts of a frame and of its picture by `camera`. A value that cannot be read is omitted.
    CaptureFacts read(const tyktree::FrameRef& frame, int camera,
                      const tyktree::FrameListing& listing);

private:
    tyktree::FrameValueReader values_;
};

}  // namespace tyksim
