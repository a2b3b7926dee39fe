// Planes made smaller by a whole number.
#pragma once

#include "tools/picture/Picture.h"

#include <cstdint>
#include <vector>

namespace tyksim {

/// Samples that are left of `length` samples when `divisor` of them become one.
constexpr int shrunkLength(int length, int divisor) {
    return (length + divisor - 1) / divisor;
}

/// Shrinks planes one after the other and keeps its memory. One object serves one thread.
class PlaneShrinker {
public:
    /// One sample for `divisor` x `divisor` samples: their mean, rounded to the nearest. A block at
    /// the right or lower edge is the mean of the samples that it has. `out` takes rows `stride`
    /// bytes apart, shrunkLength() of both sides. Throws std::bad_alloc.
    void shrink(const Plane& plane, int divisor, uint8_t* out, int stride);

private:
    std::vector<uint32_t> columns_;
};

}  // namespace tyksim
