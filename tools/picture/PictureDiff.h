// Compares two pictures sample by sample, and draws the differences.
#pragma once

#include "tools/picture/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// The result of comparing two planes.
struct PlaneDifference {
    uint64_t samples = 0;    ///< compared samples
    uint64_t squares = 0;    ///< sum of the squared differences
    uint64_t sum = 0;        ///< sum of the absolute differences
    uint64_t different = 0;  ///< samples that differ by more than the tolerance
    int largest = 0;         ///< largest absolute difference

    /// Peak signal-to-noise ratio in dB; infinite if all samples are equal.
    double psnr() const;
    double mean() const;  ///< mean absolute difference
    void add(const PlaneDifference& other);
};

/// The result of comparing two image files of the same layout. Samples that one file does not have,
/// and gaps between rows, are not compared.
struct PictureDifference {
    PlaneDifference y;
    PlaneDifference u;
    PlaneDifference v;
    uint64_t bytesA = 0;  ///< lengths of the files
    uint64_t bytesB = 0;
    bool restDiffers = false;  ///< the bytes that both files have after the picture differ
    std::string problem;       ///< path and reason if a file cannot be read; else ""

    /// Whether no sample differs by more than the tolerance, and the files have the same length.
    bool same() const;
    /// The differences of the three planes together.
    PlaneDifference total() const;
};

/// Compares image files a strip at a time. One thread at a time uses an object.
class PictureComparer {
public:
    /// Samples that differ by at most `tolerance` (0 to 255) count as equal. Throws std::bad_alloc.
    PictureDifference compare(const std::string& pathA, const std::string& pathB,
                              const PictureLayout& layout, int tolerance);

private:
    SampleBuffer memory_;
};

/// The palette of a heat map, three bytes per colour: greys for equal pixels, dark red through
/// yellow to white for differences, blue for pixels that were not compared.
std::vector<uint8_t> heatPalette();

/// Stores in `out`, which must have width x height bytes, the palette index of every pixel of two
/// pictures of the same size: that of the largest luma or chroma difference if it is above
/// `tolerance`, else that of the luma of `a`, darkened. `compared` counts the samples that both
/// pictures have; a pixel whose luma is not among them was not compared.
void drawHeatMap(const Picture& a, const Picture& b, const SampleCounts& compared, int tolerance,
                 uint8_t* out);

}  // namespace tyksim
