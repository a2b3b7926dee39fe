// Pictures turned and made smaller.
#pragma once

#include "tools/picture/Picture.h"
#include "tools/picture/PlaneShrinker.h"

#include <cstdint>

namespace tyksim {

/// Works on one picture after the other and keeps its memory. What an operation returns is valid
/// until the same operation is called again, and as long as its argument. One object serves one
/// thread. Every operation throws std::bad_alloc.
///
/// `divisor` is at least 1: one sample stands for `divisor` x `divisor`, their mean, and sides are
/// rounded up. `degrees` are clockwise: 0, 90, 180 or 270.
class PictureMaker {
public:
    Picture scaled(const Picture& picture, int divisor);
    Plane scaled(const Plane& plane, int divisor);

    /// Chroma samples lie on every second pixel from the first one on. Where a turn brings an odd
    /// side's end to the front, they lie between those places, and each new one is the mean of the
    /// chroma of its pixels.
    Picture turned(const Picture& picture, int degrees);
    /// Samples keep their values.
    Plane turned(const Plane& plane, int degrees);

private:
    PlaneShrinker shrinker_;
    SampleBuffer scaled_;
    SampleBuffer turned_;
};

/// Turns `width` x `height` pixels of three bytes, without gaps. `out` has room for as many.
void turnRgb(const uint8_t* pixels, int width, int height, int degrees, uint8_t* out);

}  // namespace tyksim
