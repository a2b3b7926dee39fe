// Counts how often each sample value occurs in a plane.
#pragma once

#include "tools/picture/PictureFile.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tyksim {

/// Counts samples by value. One thread at a time uses an object.
class Histogram {
public:
    static constexpr size_t kValues = 256;

    /// Counts the plane's rows `first`, `first + every` and so on, within the plane's first `held`
    /// samples. `every` is at least 1.
    void addRows(const Plane& plane, uint64_t held, int first = 0, int every = 1);

    /// The number of samples of `value`, which must be below kValues.
    uint64_t count(size_t value) const { return even_[value] + odd_[value]; }

    uint64_t total() const;
    double mean() const;  ///< 0 if empty
    int least() const;    ///< 0 if empty
    int most() const;     ///< 0 if empty

private:
    void add(const uint8_t* first, size_t samples);

    // Neighbours are often equal. With two tables the count of one does not wait for that of the
    // other.
    std::array<uint64_t, kValues> even_{};
    std::array<uint64_t, kValues> odd_{};
};

/// The histogram of each plane.
struct PlaneHistograms {
    Histogram y;
    Histogram u;
    Histogram v;
};

/// Counts the samples in the file, strip by strip. Throws NoPicture when the file cannot be read.
PlaneHistograms histogramsOf(PictureFile& file);

}  // namespace tyksim
