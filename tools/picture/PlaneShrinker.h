// Makes planes smaller by a whole number.
#pragma once

#include "tools/picture/Picture.h"

#include <cstdint>
#include <vector>

namespace tyksim {

/// The number of samples after `divisor` of them become one.
constexpr int shrunkLength(int length, int divisor) {
    return (length + divisor - 1) / divisor;
}

/// Shrinks planes one after the other and reuses its memory. One thread at a time uses an object.
class PlaneShrinker {
public:
    /// Replaces each block of `divisor` x `divisor` samples by its rounded mean; a block at the
    /// right or lower edge has fewer samples. Stores rows `stride` bytes apart in `out`, with
    /// shrunkLength() of both sides. Throws std::bad_alloc.
    void shrink(const Plane& plane, int divisor, uint8_t* out, int stride);

private:
    std::vector<uint32_t> columns_;
};

}  // namespace tyksim
