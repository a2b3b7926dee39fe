// How a frame's picture was captured, as its scene record and its names say.
#pragma once

#include "tools/picture/PictureExif.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"

#include <cstddef>
#include <string>

namespace tyksim {

/// Name of a file with the picture of a frame, without its ending: "pipe1_task1_frame0012_req42_
/// sof17_cam0". `index` counts a frame's pictures from 0. The name holds numbers only, because a
/// tree's own names may hold characters that a file's name cannot have.
std::string pictureName(const tyktree::FrameRef& frame, int camera, size_t index);

/// Reads facts frame by frame. One object serves one thread.
class CaptureFactsReader {
public:
    /// The catalog must outlive the object.
    explicit CaptureFactsReader(const tyktree::TagCatalog& catalog);

    /// The facts of a frame and of the picture that `camera` took in it. A value that cannot be
    /// read is left out.
    CaptureFacts read(const tyktree::FrameRef& frame, int camera,
                      const tyktree::FrameListing& listing);

private:
    tyktree::FrameValueReader values_;
};

}  // namespace tyksim
