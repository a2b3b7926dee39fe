// Rotates pictures and makes them smaller.
#pragma once

#include "tools/picture/Picture.h"
#include "tools/picture/PlaneShrinker.h"

#include <cstdint>

namespace tyksim {

/// Works on one picture after the other and reuses its memory. A result is valid until the next
/// call of the same operation, and as long as its argument. One thread at a time uses an object.
/// Every operation throws std::bad_alloc.
///
/// `divisor` is at least 1: one sample replaces a block of `divisor` x `divisor` by their mean, and
/// sides are rounded up. `degrees` are clockwise: 0, 90, 180 or 270.
class PictureMaker {
public:
    Picture scaled(const Picture& picture, int divisor);
    Plane scaled(const Plane& plane, int divisor);

    /// Rotates a picture. There is a chroma sample for every second pixel from the first one on. If
    /// the rotation moves the end of an odd side to the front, the samples no longer match these
    /// positions, and each new one is the mean of the chroma of its pixels.
    Picture turned(const Picture& picture, int degrees);
    /// Rotates a plane; samples keep their values.
    Plane turned(const Plane& plane, int degrees);

private:
    PlaneShrinker shrinker_;
    SampleBuffer scaled_;
    SampleBuffer turned_;
};

/// Rotates `width` x `height` pixels of three bytes, without gaps, into `out`, which must have the
/// same size.
void turnRgb(const uint8_t* pixels, int width, int height, int degrees, uint8_t* out);

}  // namespace tyksim
