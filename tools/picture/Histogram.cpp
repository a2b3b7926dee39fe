#include "tools/picture/Histogram.h"

#include <algorithm>
#include <numeric>

namespace tyksim {

namespace {

constexpr int kRowsAtOnce = 64;

/// Counts the plane's first `left` samples, and takes what was counted from `left`.
void addFirst(const Plane& plane, uint64_t& left, Histogram& histogram) {
    for (int row = 0; row < plane.height && left > 0; ++row) {
        const auto count = std::min(left, static_cast<uint64_t>(plane.width));
        histogram.add(plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride),
                      static_cast<size_t>(count));
        left -= count;
    }
}

}  // namespace

void Histogram::add(const uint8_t* first, size_t samples) {
    // Neighbours are often equal; two tables keep one's count from waiting for the other's.
    std::array<uint64_t, 256> odd{};
    size_t i = 0;
    for (; i + 1 < samples; i += 2) {
        ++counts[first[i]];
        ++odd[first[i + 1]];
    }
    if (i < samples) ++counts[first[i]];
    for (size_t value = 0; value < odd.size(); ++value) counts[value] += odd[value];
}

uint64_t Histogram::total() const {
    return std::accumulate(counts.begin(), counts.end(), uint64_t{0});
}

double Histogram::mean() const {
    const uint64_t samples = total();
    if (samples == 0) return 0;
    double sum = 0;
    for (size_t value = 0; value < counts.size(); ++value) {
        sum += static_cast<double>(counts[value]) * static_cast<double>(value);
    }
    return sum / static_cast<double>(samples);
}

int Histogram::least() const {
    const auto found =
        std::find_if(counts.begin(), counts.end(), [](uint64_t count) { return count > 0; });
    return found == counts.end() ? 0 : static_cast<int>(found - counts.begin());
}

int Histogram::most() const {
    const auto found =
        std::find_if(counts.rbegin(), counts.rend(), [](uint64_t count) { return count > 0; });
    return found == counts.rend() ? 0 : static_cast<int>(counts.rend() - found) - 1;
}

PlaneHistograms histogramsOf(PictureFile& file) {
    PlaneHistograms result;
    const PictureSource source = file.source();
    SampleCounts left = file.layout().samplesIn(file.bytes());
    for (int row = 0; row < source.height && left.y > 0; row += kRowsAtOnce) {
        const Picture strip = source.rows(row, std::min(kRowsAtOnce, source.height - row));
        addFirst(strip.y, left.y, result.y);
        addFirst(strip.u, left.u, result.u);
        addFirst(strip.v, left.v, result.v);
    }
    return result;
}

}  // namespace tyksim
