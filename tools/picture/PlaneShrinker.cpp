#include "tools/picture/PlaneShrinker.h"

#include <algorithm>
#include <array>

namespace tyksim {

namespace {

// With a constant number the compiler adds many columns with one instruction.
constexpr size_t kColumnsAtOnce = 64;

// The sum of so many rows of samples fits in 16 bits.
constexpr int kRowsAtOnce = 65535 / 255;

/// Adds `rows` rows (at most kRowsAtOnce) of `kCount` columns to the columns' sums.
template <size_t kCount>
void addRows(const uint8_t* samples, size_t stride, int rows, uint32_t* columns) {
    std::array<uint16_t, kCount> sums{};
    for (int row = 0; row < rows; ++row, samples += stride) {
        for (size_t i = 0; i < kCount; ++i) sums[i] = static_cast<uint16_t>(sums[i] + samples[i]);
    }
    for (size_t i = 0; i < kCount; ++i) columns[i] += sums[i];
}

/// The sums of a plane's columns.
void sumColumns(const Plane& plane, std::vector<uint32_t>& columns) {
    columns.assign(static_cast<size_t>(plane.width), 0);
    const auto stride = static_cast<size_t>(plane.stride);
    for (int first = 0; first < plane.height; first += kRowsAtOnce) {
        const int rows = std::min(kRowsAtOnce, plane.height - first);
        const uint8_t* const samples = plane.samples + static_cast<size_t>(first) * stride;
        size_t x = 0;
        for (; x + kColumnsAtOnce <= columns.size(); x += kColumnsAtOnce) {
            addRows<kColumnsAtOnce>(samples + x, stride, rows, columns.data() + x);
        }
        for (; x < columns.size(); ++x) addRows<1>(samples + x, stride, rows, columns.data() + x);
    }
}

/// Computes rounded means of a fixed number of samples.
class Mean {
public:
    explicit Mean(uint32_t samples)
        : half_(samples / 2), share_(1 / static_cast<double>(samples)) {}

    /// Multiplies, which is faster than dividing. The added half keeps the product further from a
    /// whole number than its error.
    uint8_t of(uint32_t sum) const {
        return static_cast<uint8_t>(static_cast<int>((sum + half_ + 0.5) * share_));
    }

private:
    uint32_t half_;
    double share_;
};

/// The means of blocks of `divisor` columns, each of which is the sum of `rows` samples.
void divideColumns(const std::vector<uint32_t>& columns, size_t divisor, size_t rows,
                   uint8_t* out) {
    const uint32_t* column = columns.data();
    const auto sumOf = [&column](size_t count) {
        uint32_t sum = 0;
        for (size_t i = 0; i < count; ++i) sum += *column++;
        return sum;
    };
    const Mean whole(static_cast<uint32_t>(divisor * rows));
    for (size_t block = columns.size() / divisor; block > 0; --block) {
        *out++ = whole.of(sumOf(divisor));
    }
    const size_t rest = columns.size() % divisor;
    if (rest > 0) *out = Mean(static_cast<uint32_t>(rest * rows)).of(sumOf(rest));
}

}  // namespace

void PlaneShrinker::shrink(const Plane& plane, int divisor, uint8_t* out, int stride) {
    for (int first = 0; first < plane.height; first += divisor) {
        Plane rows = plane;
        rows.samples += static_cast<size_t>(first) * static_cast<size_t>(plane.stride);
        rows.height = std::min(divisor, plane.height - first);
        sumColumns(rows, columns_);
        divideColumns(columns_, static_cast<size_t>(divisor), static_cast<size_t>(rows.height),
                      out);
        out += stride;
    }
}

}  // namespace tyksim
