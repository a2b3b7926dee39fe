// How often each sample value occurs in a plane.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tyksim {

struct Histogram {
    std::array<uint64_t, 256> counts{};

    /// Counts `samples` values that lie `step` bytes apart.
    void add(const uint8_t* first, size_t samples, size_t step = 1);

    uint64_t total() const;
    double mean() const;  ///< 0 of an empty one
    int least() const;    ///< 0 of an empty one
    int most() const;     ///< 0 of an empty one
};

}  // namespace tyksim
