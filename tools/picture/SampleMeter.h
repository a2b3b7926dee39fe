// Measures the samples of an area of a plane, row by row.
#pragma once

#include "tools/picture/MeasureName.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tyksim {

/// Measures one area of one picture, from the top row down. One thread at a time uses an object.
class SampleMeter {
public:
    /// `wanted` must be measures that do not compare neighbours.
    SampleMeter(size_t width, const std::vector<Measure>& wanted);

    /// Adds the next row, whose first `held` samples count; fewer than the width only at the end of
    /// a short file.
    void addRow(const uint8_t* row, size_t held);

    /// The number of counted samples.
    uint64_t samples() const { return samples_; }

    /// One of the wanted measures; none if there are too few samples.
    std::optional<double> value(Measure measure) const;

private:
    void addSums(const uint8_t* row, size_t held);
    void addClipped(const uint8_t* row, size_t held);
    void countClipped();
    void addFiltered(const uint8_t* row);
    void addLaplacian(const std::vector<uint8_t>& middle);

    const size_t width_;
    bool sums_ = false;
    bool sumsSquares_ = false;
    bool clipped_ = false;
    bool laplacian_ = false;
    bool noise_ = false;

    uint64_t samples_ = 0;
    uint64_t sum_ = 0;
    uint64_t squares_ = 0;
    std::vector<uint8_t> zeros_;

    std::vector<uint8_t> lowInColumn_;  ///< of rows not added to the totals yet
    std::vector<uint8_t> highInColumn_;
    size_t uncounted_ = 0;  ///< number of these rows
    uint64_t low_ = 0;
    uint64_t high_ = 0;

    std::array<std::vector<uint8_t>, 3> rows_;  ///< the last three, in turn
    std::array<int64_t, 3> innerSums_{};        ///< of these rows, without both ends
    std::vector<int16_t> bend_;                 ///< second difference down the columns
    uint64_t rowCount_ = 0;                     ///< number of complete rows
    uint64_t filtered_ = 0;                     ///< number of samples with eight neighbours
    int64_t laplacianSum_ = 0;
    uint64_t laplacianSquares_ = 0;
    uint64_t noiseSum_ = 0;
};

/// Compares an area of a picture with that of the picture before. One thread at a time uses an
/// object.
class NeighbourMeter {
public:
    NeighbourMeter(size_t width, size_t height);

    /// Adds the next row of both.
    void addRow(const uint8_t* row, const uint8_t* before);

    /// A measure that compares neighbours, after the last row; none if there are too few rows.
    std::optional<double> value(Measure measure);

private:
    void endBlocks();
    double motion() const;
    double temporalNoise() const;

    const size_t blockWidth_;
    const size_t blockHeight_;
    std::vector<int16_t> sums_;  ///< of differences by column, in incomplete blocks
    std::vector<uint32_t> squares_;
    size_t blockRows_ = 0;
    uint64_t samples_ = 0;
    int64_t total_ = 0;                  ///< of all differences
    std::vector<int64_t> blockSums_;     ///< of complete blocks
    std::vector<int64_t> blockSpreads_;  ///< variance, times the square of a block's samples
};

}  // namespace tyksim
