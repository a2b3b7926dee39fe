// From planes in memory to the frames of a simulated camera.
#pragma once

#include "tools/picture/Nv21.h"
#include "tools/picture/Picture.h"

namespace tyksim {

/// Converts pictures whose samples follow a rule to NV21 in the camera's own colours: BT.601 in
/// full range. Samples of that rule come out as they are; others are scaled, rounded to the nearest
/// and clamped to 0..255. Chroma samples keep their places.
class FrameConverter {
public:
    explicit FrameConverter(const ColourRule& rule);
    FrameConverter(const FrameConverter&) = delete;
    FrameConverter& operator=(const FrameConverter&) = delete;

    /// Stores `picture` in `frame`, which gets its size.
    void convert(const Picture& picture, Nv21Image& frame);

private:
    Picture picture_;
    const PictureSource given_;
    const PictureSource converted_;
};

}  // namespace tyksim
