// How far two pictures are apart, sample by sample, and where.
#pragma once

#include "tools/picture/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// Two planes compared.
struct PlaneDifference {
    uint64_t samples = 0;    ///< compared
    uint64_t squares = 0;    ///< sum of the squared differences
    uint64_t sum = 0;        ///< of the differences without their sign
    uint64_t different = 0;  ///< samples that are further apart than the tolerance
    int largest = 0;         ///< difference

    /// Peak signal to noise ratio in dB; infinite where all samples are equal.
    double psnr() const;
    double mean() const;  ///< difference
    void add(const PlaneDifference& other);
};

/// Two image files of the same layout compared. Samples that one file lacks are not compared, and
/// neither are the gaps between rows.
struct PictureDifference {
    PlaneDifference y;
    PlaneDifference u;
    PlaneDifference v;
    uint64_t bytesA = 0;  ///< lengths of the files
    uint64_t bytesB = 0;
    bool restDiffers = false;  ///< what both files have behind the picture is not the same
    std::string problem;       ///< path and reason of a file that cannot be read; "" where both can

    /// Nothing is further apart than the tolerance, and the files are equally long.
    bool same() const;
    /// The three planes' differences together.
    PlaneDifference total() const;
};

/// Compares image files a strip at a time. One object serves one thread.
class PictureComparer {
public:
    /// Samples that differ by at most `tolerance` (0 to 255) count as equal. Throws std::bad_alloc.
    PictureDifference compare(const std::string& pathA, const std::string& pathB,
                              const PictureLayout& layout, int tolerance);

private:
    SampleBuffer memory_;
};

/// The colours that a heat map's numbers stand for: greys of the picture where it is the same, from
/// dark red by yellow to white where it differs, blue where nothing is compared. Three bytes each.
std::vector<uint8_t> heatPalette();

/// Numbers of colours for every pixel of two pictures of the same size: the largest of its luma and
/// chroma differences where that is above `tolerance`, else the luma of `a`, darkened. `compared`
/// are the samples that both pictures have; a pixel without luma among them is not compared.
/// `out` has width x height bytes.
void drawHeatMap(const Picture& a, const Picture& b, const SampleCounts& compared, int tolerance,
                 uint8_t* out);

}  // namespace tyksim
