#include "tools/sheet/PlaneResizer.h"

#include <algorithm>

namespace tyksim {

namespace {

/// The old samples that each new one covers along one side. With n new and m old samples, an old
/// sample has n shares and a new one covers m shares.
std::vector<CoveredSamples> coveredBy(int from, int to) {
    std::vector<CoveredSamples> result;
    for (int64_t begin = 0; begin < int64_t{from} * to; begin += from) {
        const int64_t end = begin + from;
        CoveredSamples covered;
        covered.first = static_cast<int>(begin / to);
        covered.last = static_cast<int>((end - 1) / to);
        covered.ofFirst =
            static_cast<uint32_t>(std::min(end, (covered.first + int64_t{1}) * to) - begin);
        covered.ofLast = static_cast<uint32_t>(end - int64_t{covered.last} * to);
        result.push_back(covered);
    }
    return result;
}

/// The shares of the old sample `index`.
uint32_t shareOf(const CoveredSamples& covered, int index, int to) {
    if (index == covered.first) return covered.ofFirst;
    return index == covered.last ? covered.ofLast : static_cast<uint32_t>(to);
}

}  // namespace

void PlaneResizer::resize(const Plane& plane, int width, int height, uint8_t* out) {
    const std::vector<CoveredSamples> across = coveredBy(plane.width, width);
    const std::vector<CoveredSamples> down = coveredBy(plane.height, height);
    const double whole = static_cast<double>(plane.width) * plane.height;
    const auto half = static_cast<uint64_t>(whole / 2);
    for (const CoveredSamples& rows : down) {
        columns_.assign(static_cast<size_t>(plane.width), 0);
        for (int row = rows.first; row <= rows.last; ++row) {
            addRow(plane, row, shareOf(rows, row, height));
        }
        for (const CoveredSamples& part : across) {
            uint64_t sum = half;
            for (int column = part.first; column <= part.last; ++column) {
                sum +=
                    uint64_t{shareOf(part, column, width)} * columns_[static_cast<size_t>(column)];
            }
            *out++ = static_cast<uint8_t>(static_cast<double>(sum) / whole);
        }
    }
}

void PlaneResizer::addRow(const Plane& plane, int row, uint32_t share) {
    const uint8_t* const samples =
        plane.samples + static_cast<size_t>(row) * static_cast<size_t>(plane.stride);
    uint32_t* const sums = columns_.data();
    for (int x = 0; x < plane.width; ++x) sums[x] += share * samples[x];
}

}  // namespace tyksim
