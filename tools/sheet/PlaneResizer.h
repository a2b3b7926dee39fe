// Reduces planes to any smaller size.
#pragma once

#include "tools/picture/Picture.h"

#include <cstdint>
#include <vector>

namespace tyksim {

/// The old samples that a new one covers along one side. The first and the last count by their
/// shares, those between in full.
struct CoveredSamples {
    int first = 0;
    int last = 0;
    uint32_t ofFirst = 0;
    uint32_t ofLast = 0;
};

/// Resizes planes one after the other and reuses its memory. One thread at a time uses an object.
class PlaneResizer {
public:
    /// Reduces the plane to `width` x `height` samples, which must not exceed the plane's. Each is
    /// the rounded mean of the area that it covers; a sample covered in part counts in part. Stores
    /// rows without gaps in `out`. Throws std::bad_alloc.
    void resize(const Plane& plane, int width, int height, uint8_t* out);

private:
    void addRow(const Plane& plane, int row, uint32_t share);

    std::vector<uint32_t> columns_;
};

}  // namespace tyksim
