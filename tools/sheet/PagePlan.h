// Chooses the sizes of a page's pictures, so that the page stays below a number of bytes. Threads:
// any.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tyksim {

/// The sizes of an image's pictures on the page.
struct PictureSizes {
    int thumbWidth = 256;
    int largeWidth = 0;  ///< 0: no larger picture
    int windowSide = 0;  ///< of the part without loss, pixels; 0: no such part
    uint32_t every = 1;  ///< N: only every Nth frame has pictures
};

/// The bytes of one image's pictures in Base64.
struct MeasuredPicture {
    /// Not a simple fraction of usual widths, at which images with regular patterns become much
    /// smaller than at all other widths.
    static constexpr std::array<int, 5> kWidths = {134, 262, 518, 1094, 1894};
    static constexpr int kWindowSide = 256;

    /// A JPEG of the image.
    struct Jpeg {
        double width = 0;
        double bytes = 0;
    };
    /// At kWidths, or at the image's width. The last one may be missing, with width 0.
    std::array<Jpeg, kWidths.size()> jpegs;
    double pixels = 0;      ///< of the image
    double windowArea = 0;  ///< pixels of a window
    double windowBytes = 0;
};

/// The content of a page.
struct PageNeeds {
    uint64_t bytes = 20'000'000;  ///< limit of the page's size
    size_t frames = 0;
    size_t pictures = 0;  ///< of all frames of both trees
    double rowBytes = 0;  ///< for a frame's values
    int thumbWidth = 0;   ///< has precedence over `bytes`; 0: the largest that fits
    bool windows = true;  ///< whether to include parts without loss
    std::vector<MeasuredPicture> measured;  ///< of representative frames; may be empty
};

/// Bytes of a picture's histograms on the page.
constexpr size_t kHistogramBytes = 1100;

/// The largest sizes with which the page probably stays below its limit.
PictureSizes planSizes(const PageNeeds& needs);

}  // namespace tyksim
