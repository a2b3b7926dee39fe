// Converts planes in memory to the frames of a simulated camera.
#pragma once

#include "tools/picture/Nv21.h"
#include "tools/picture/Picture.h"

namespace tyksim {

/// Converts pictures of any colour rule to NV21 by BT.601 in full range. Samples of that rule stay
/// unchanged; others are scaled, rounded to the nearest and clamped to 0..255. Chroma samples keep
/// their positions. One thread at a time uses an object.
class FrameConverter {
public:
    explicit FrameConverter(const ColourRule& rule);
    FrameConverter(const FrameConverter&) = delete;
    FrameConverter& operator=(const FrameConverter&) = delete;

    /// Converts `picture` and stores it in `frame`, with its size.
    void convert(const Picture& picture, Nv21Image& frame);

private:
    Picture picture_;
    const PictureSource given_;
    const PictureSource converted_;
};

}  // namespace tyksim
