#include "tools/picture/SampleMeter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <libyuv/compare.h>
#include <limits>

namespace tyksim {

namespace {

constexpr size_t kBlock = 16;           ///< side of the blocks for comparing neighbours
constexpr size_t kMostUncounted = 255;  ///< rows that a column's 8-bit counter holds
constexpr uint8_t kLow = 0;
constexpr uint8_t kHigh = 255;

// The loops over samples are plain, so that the compiler vectorises them; the types are the
// narrowest that hold the values.

void countInColumns(const uint8_t* __restrict row, size_t count, uint8_t* __restrict low,
                    uint8_t* __restrict high) {
    for (size_t i = 0; i < count; ++i) {
        low[i] = static_cast<uint8_t>(low[i] + static_cast<uint8_t>(row[i] == kLow));
        high[i] = static_cast<uint8_t>(high[i] + static_cast<uint8_t>(row[i] == kHigh));
    }
}

/// above - 2 middle + below.
void bendDown(const uint8_t* __restrict above, const uint8_t* __restrict middle,
              const uint8_t* __restrict below, size_t count, int16_t* __restrict bend) {
    for (size_t i = 0; i < count; ++i) {
        bend[i] = static_cast<int16_t>(above[i] + below[i] - 2 * middle[i]);
    }
}

/// The sum of a row. Written as differences to a row of zeros, for which there is an instruction.
uint32_t sumOf(const uint8_t* __restrict row, const uint8_t* __restrict zeros, size_t count) {
    uint32_t sum = 0;
    for (size_t i = 0; i < count; ++i) sum += static_cast<uint32_t>(std::abs(row[i] - zeros[i]));
    return sum;
}

/// The sum of the absolute second differences along a row of second differences down the columns.
/// Products of 16-bit numbers are summed at once, so an absolute value is one with the sign.
int32_t noiseOf(const int16_t* bend, size_t count) {
    int32_t sum = 0;
    for (size_t i = 0; i < count; ++i) {
        const auto value = static_cast<int16_t>(bend[i] - 2 * bend[i + 1] + bend[i + 2]);
        const auto sign = static_cast<int16_t>((value >> 15) | 1);
        sum += value * sign;
    }
    return sum;
}

constexpr size_t kLaplacianCount =
    1024;  ///< the sum of so many squares, each up to 1020 x 1020, fits in 31 bits

int32_t laplacianSquares(const uint8_t* middle, const int16_t* bend, size_t count) {
    int32_t squares = 0;
    for (size_t i = 0; i < count; ++i) {
        const auto value =
            static_cast<int16_t>(bend[i + 1] + middle[i] + middle[i + 2] - 2 * middle[i + 1]);
        squares += value * value;
    }
    return squares;
}

void addDifferences(const uint8_t* __restrict row, const uint8_t* __restrict before, size_t count,
                    int16_t* __restrict sums, uint32_t* __restrict squares) {
    for (size_t i = 0; i < count; ++i) {
        const auto difference = static_cast<int16_t>(row[i] - before[i]);
        sums[i] = static_cast<int16_t>(sums[i] + difference);
        squares[i] += static_cast<uint32_t>(difference * difference);
    }
}

uint64_t sumOf(const std::vector<uint8_t>& numbers) {
    uint64_t sum = 0;
    for (const uint8_t number : numbers) sum += number;
    return sum;
}

double ratio(int64_t a, uint64_t b) {
    return static_cast<double>(a) / static_cast<double>(b);
}

/// The variance of `count` whole numbers, from their sum and sum of squares. Both are relative to a
/// number near the mean, so that equal numbers give exactly 0.
double varianceOf(int64_t sum, uint64_t squares, uint64_t count) {
    const auto n = static_cast<int64_t>(count);
    const int64_t near = sum / n;
    const int64_t rest = sum - near * n;
    const int64_t aboutNear = static_cast<int64_t>(squares) - 2 * near * sum + near * near * n;
    const double mean = ratio(rest, count);
    return std::max(0.0, ratio(aboutNear, count) - mean * mean);
}

double medianOf(std::vector<int64_t> numbers) {
    const size_t half = numbers.size() / 2;
    const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(half);
    std::nth_element(numbers.begin(), middle, numbers.end());
    const auto upper = static_cast<double>(*middle);
    if (numbers.size() % 2 == 1) return upper;
    return (upper + static_cast<double>(*std::max_element(numbers.begin(), middle))) / 2;
}

}  // namespace

SampleMeter::SampleMeter(size_t width, const std::vector<Measure>& wanted) : width_(width) {
    for (const Measure measure : wanted) {
        if (measure == Measure::kMean || measure == Measure::kStd) sums_ = true;
        if (measure == Measure::kStd) sumsSquares_ = true;
        if (measure == Measure::kClippedLow || measure == Measure::kClippedHigh) clipped_ = true;
        if (measure == Measure::kSharpness) laplacian_ = true;
        if (measure == Measure::kNoise) noise_ = true;
    }
    if (sums_ || laplacian_) zeros_.assign(width, kLow);
    if (clipped_) {
        lowInColumn_.assign(width, 0);
        highInColumn_.assign(width, 0);
    }
    if (laplacian_ || noise_) {
        for (std::vector<uint8_t>& row : rows_) row.resize(width);
        bend_.resize(width);
    }
}

void SampleMeter::addRow(const uint8_t* row, size_t held) {
    samples_ += held;
    if (sums_) addSums(row, held);
    if (clipped_) addClipped(row, held);
    if ((laplacian_ || noise_) && held == width_) addFiltered(row);
}

void SampleMeter::addSums(const uint8_t* row, size_t held) {
    sum_ += sumOf(row, zeros_.data(), held);
    if (!sumsSquares_) return;
    squares_ += libyuv::ComputeSumSquareError(row, zeros_.data(), static_cast<int>(held));
}

void SampleMeter::addClipped(const uint8_t* row, size_t held) {
    countInColumns(row, held, lowInColumn_.data(), highInColumn_.data());
    if (++uncounted_ == kMostUncounted) countClipped();
}

void SampleMeter::countClipped() {
    low_ += sumOf(lowInColumn_);
    high_ += sumOf(highInColumn_);
    std::fill(lowInColumn_.begin(), lowInColumn_.end(), uint8_t{0});
    std::fill(highInColumn_.begin(), highInColumn_.end(), uint8_t{0});
    uncounted_ = 0;
}

void SampleMeter::addFiltered(const uint8_t* row) {
    if (width_ < 3) return;
    const size_t count = width_ - 2;
    std::copy(row, row + width_, rows_[rowCount_ % 3].begin());
    if (laplacian_) innerSums_[rowCount_ % 3] = sumOf(row + 1, zeros_.data(), count);
    ++rowCount_;
    if (rowCount_ < 3) return;
    const std::vector<uint8_t>& middle = rows_[(rowCount_ + 1) % 3];
    bendDown(rows_[rowCount_ % 3].data(), middle.data(), rows_[(rowCount_ + 2) % 3].data(), width_,
             bend_.data());
    filtered_ += count;
    if (noise_) noiseSum_ += static_cast<uint64_t>(noiseOf(bend_.data(), count));
    if (laplacian_) addLaplacian(middle);
}

void SampleMeter::addLaplacian(const std::vector<uint8_t>& middle) {
    const size_t count = width_ - 2;
    const std::array<int64_t, 3>& sums = innerSums_;
    const auto at = rowCount_ % 3;
    laplacianSum_ += sums[at] + sums[(at + 2) % 3] - 2 * sums[(at + 1) % 3];
    // Along the row all but the differences at its ends cancel out.
    laplacianSum_ += middle[0] - middle[1] + middle[count + 1] - middle[count];
    for (size_t i = 0; i < count; i += kLaplacianCount) {
        const size_t part = std::min(kLaplacianCount, count - i);
        laplacianSquares_ +=
            static_cast<uint64_t>(laplacianSquares(middle.data() + i, bend_.data() + i, part));
    }
}

std::optional<double> SampleMeter::value(Measure measure) const {
    if (samples_ == 0) return std::nullopt;
    const bool isFiltered = measure == Measure::kSharpness || measure == Measure::kNoise;
    if (isFiltered && filtered_ == 0) return std::nullopt;
    switch (measure) {
        case Measure::kMean:
            return ratio(static_cast<int64_t>(sum_), samples_);
        case Measure::kStd:
            return std::sqrt(varianceOf(static_cast<int64_t>(sum_), squares_, samples_));
        case Measure::kClippedLow:
            return ratio(static_cast<int64_t>(low_ + sumOf(lowInColumn_)), samples_);
        case Measure::kClippedHigh:
            return ratio(static_cast<int64_t>(high_ + sumOf(highInColumn_)), samples_);
        case Measure::kSharpness:
            return varianceOf(laplacianSum_, laplacianSquares_, filtered_);
        case Measure::kNoise: {
            // The root of the sum of the mask's squared coefficients is 6, and the mean absolute
            // value of a normal distribution is its deviation times the root of 2 / pi.
            const double rootOfHalfPi = std::sqrt(std::acos(-1.0) / 2);
            return rootOfHalfPi / 6 * ratio(static_cast<int64_t>(noiseSum_), filtered_);
        }
        case Measure::kFlicker:
        case Measure::kMotion:
        case Measure::kTemporalNoise:
            break;
    }
    return std::nullopt;
}

NeighbourMeter::NeighbourMeter(size_t width, size_t height)
    : blockWidth_(std::min(kBlock, width)),
      blockHeight_(std::min(kBlock, height)),
      sums_(width),
      squares_(width) {}

void NeighbourMeter::addRow(const uint8_t* row, const uint8_t* before) {
    addDifferences(row, before, sums_.size(), sums_.data(), squares_.data());
    samples_ += sums_.size();
    if (++blockRows_ == blockHeight_) endBlocks();
}

void NeighbourMeter::endBlocks() {
    for (const int16_t sum : sums_) total_ += sum;
    const auto count = static_cast<int64_t>(blockWidth_ * blockHeight_);
    const bool isWhole = blockRows_ == blockHeight_;
    for (size_t x = 0; isWhole && x + blockWidth_ <= sums_.size(); x += blockWidth_) {
        int64_t sum = 0;
        int64_t squares = 0;
        for (size_t i = x; i < x + blockWidth_; ++i) {
            sum += sums_[i];
            squares += squares_[i];
        }
        blockSums_.push_back(sum);
        blockSpreads_.push_back(count * squares - sum * sum);
    }
    std::fill(sums_.begin(), sums_.end(), int16_t{0});
    std::fill(squares_.begin(), squares_.end(), 0U);
    blockRows_ = 0;
}

std::optional<double> NeighbourMeter::value(Measure measure) {
    if (blockRows_ > 0) endBlocks();
    if (samples_ == 0) return std::nullopt;
    if (measure == Measure::kFlicker) return ratio(std::abs(total_), samples_);
    if (blockSums_.empty()) return std::nullopt;
    return measure == Measure::kMotion ? motion() : temporalNoise();
}

double NeighbourMeter::motion() const {
    double total = 0;
    for (const int64_t sum : blockSums_) total += static_cast<double>(sum);
    const auto blocks = static_cast<double>(blockSums_.size());
    const double mean = total / blocks;
    double away = 0;
    for (const int64_t sum : blockSums_) away += std::abs(static_cast<double>(sum) - mean);
    return away / (blocks * static_cast<double>(blockWidth_ * blockHeight_));
}

double NeighbourMeter::temporalNoise() const {
    // The difference of two pictures has the noise of both.
    const auto count = static_cast<double>(blockWidth_ * blockHeight_);
    return std::sqrt(medianOf(blockSpreads_) / 2) / count;
}

}  // namespace tyksim
