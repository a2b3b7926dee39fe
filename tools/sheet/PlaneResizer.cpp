#include "tools/sheet/PlaneResizer.h"

#include <algorithm>

namespace tyksim {

namespace {

/// Calls `take(old, share)` for what the new sample `index` of `to` covers of `from` old ones. An
/// old sample has `to` shares, a new one covers `from` of them.
template <typename Take>
void forCovered(int64_t index, int64_t from, int64_t to, Take take) {
    const int64_t begin = index * from;
    const int64_t end = begin + from;
    for (int64_t old = begin / to; old * to < end; ++old) {
        take(static_cast<size_t>(old), std::min(end, (old + 1) * to) - std::max(begin, old * to));
    }
}

}  // namespace

void PlaneResizer::resize(const Plane& plane, int width, int height, uint8_t* out) {
    const auto stride = static_cast<size_t>(plane.stride);
    const uint64_t whole = static_cast<uint64_t>(plane.width) * static_cast<uint64_t>(plane.height);
    for (int y = 0; y < height; ++y) {
        columns_.assign(static_cast<size_t>(plane.width), 0);
        forCovered(y, plane.height, height, [&](size_t row, int64_t share) {
            const uint8_t* const samples = plane.samples + row * stride;
            const auto weight = static_cast<uint32_t>(share);
            for (size_t x = 0; x < columns_.size(); ++x) columns_[x] += weight * samples[x];
        });
        for (int x = 0; x < width; ++x) {
            uint64_t sum = whole / 2;
            forCovered(x, plane.width, width, [&](size_t column, int64_t share) {
                sum += static_cast<uint64_t>(share) * columns_[column];
            });
            *out++ = static_cast<uint8_t>(sum / whole);
        }
    }
}

}  // namespace tyksim
