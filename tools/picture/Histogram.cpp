#include "tools/picture/Histogram.h"

#include <algorithm>
#include <numeric>

namespace tyksim {

void Histogram::add(const uint8_t* first, size_t samples, size_t step) {
    // Neighbours are often equal; two tables keep one's count from waiting for the other's.
    std::array<uint64_t, 256> odd{};
    size_t i = 0;
    for (; i + 1 < samples; i += 2) {
        ++counts[first[i * step]];
        ++odd[first[(i + 1) * step]];
    }
    if (i < samples) ++counts[first[i * step]];
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

}  // namespace tyksim
