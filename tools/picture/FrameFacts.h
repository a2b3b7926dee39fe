// What a frame's scene record and its names say about how its picture was taken.
#pragma once

#include "tools/picture/PictureExif.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"

#include <cstddef>
#include <string>

namespace tyksim {

/// Name of a file with the picture of a frame, without its ending: "pipe1_task1_frame0012_req42_
/// sof17_cam0". `index` counts a frame's pictures from 0. Numbers alone: what stands in a tree's
/// names may not fit a name of ours.
std::string pictureName(const tyktree::FrameRef& frame, int camera, size_t index);

/// Reads facts frame by frame. One object serves one thread.
class FrameFactsReader {
public:
    /// The catalog must outlive the object.
    explicit FrameFactsReader(const tyktree::TagCatalog& catalog);

    /// What is known of a frame and the picture of a camera in it; what cannot be read is not.
    PictureFacts read(const tyktree::FrameRef& frame, int camera,
                      const tyktree::FrameListing& listing);

private:
    tyktree::FrameValueReader values_;
};

}  // namespace tyksim
