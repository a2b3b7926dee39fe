// How often each sample value occurs in a plane.
#pragma once

#include "tools/picture/PictureFile.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tyksim {

/// Counts samples by their value. One object serves one thread.
class Histogram {
public:
    static constexpr size_t kValues = 256;

    /// Counts the plane's rows `first`, `first + every` and so on, as far as the plane's first
    /// `held` samples reach. `every` is at least 1.
    void addRows(const Plane& plane, uint64_t held, int first = 0, int every = 1);

    /// Samples of `value`, which is below kValues.
    uint64_t count(size_t value) const { return even_[value] + odd_[value]; }

    uint64_t total() const;
    double mean() const;  ///< 0 of an empty one
    int least() const;    ///< 0 of an empty one
    int most() const;     ///< 0 of an empty one

private:
    void add(const uint8_t* first, size_t samples);

    // Neighbours are often equal: with two tables the count of one does not wait for the other's.
    std::array<uint64_t, kValues> even_{};
    std::array<uint64_t, kValues> odd_{};
};

/// One of each plane.
struct PlaneHistograms {
    Histogram y;
    Histogram u;
    Histogram v;
};

/// Counts the samples that the file has, a strip at a time. Throws NoPicture when the file cannot
/// be read.
PlaneHistograms histogramsOf(PictureFile& file);

}  // namespace tyksim
