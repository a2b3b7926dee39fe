// How often each sample value occurs in a plane.
#pragma once

#include "tools/picture/PictureFile.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tyksim {

struct Histogram {
    std::array<uint64_t, 256> counts{};

    void add(const uint8_t* first, size_t samples);

    uint64_t total() const;
    double mean() const;  ///< 0 of an empty one
    int least() const;    ///< 0 of an empty one
    int most() const;     ///< 0 of an empty one
};

/// One of each plane.
struct PlaneHistograms {
    Histogram y;
    Histogram u;
    Histogram v;
};

/// Counts the samples that the file has, a strip at a time. Throws NoPicture when it cannot be
/// read.
PlaneHistograms histogramsOf(PictureFile& file);

}  // namespace tyksim
