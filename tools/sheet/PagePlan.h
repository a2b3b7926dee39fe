// How large a page's pictures are, so that the page keeps to a number of bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tyksim {

/// Sizes of what the page holds of an image.
struct PictureSizes {
    int thumbWidth = 256;  ///< 0: no picture fits
    int largeWidth = 0;    ///< 0: there is none
    int windowSide = 0;    ///< of the part without loss, pixels; 0: there is none
    uint32_t every = 1;    ///< N: only every Nth frame has pictures
};

/// What pictures of one image cost in Base64.
struct MeasuredPicture {
    static constexpr std::array<int, 4> kWidths = {128, 256, 512, 1024};
    static constexpr int kWindowSide = 256;

    /// A JPEG of the image.
    struct Jpeg {
        double width = 0;
        double bytes = 0;
    };
    std::array<Jpeg, kWidths.size()> jpegs;  ///< at kWidths, or as wide as the image
    double pixels = 0;                       ///< of the image
    double windowArea = 0;                   ///< pixels of a window
    double windowBytes = 0;
};

/// What a page is to hold.
struct PageNeeds {
    uint64_t bytes = 20'000'000;  ///< that it may have
    size_t frames = 0;
    size_t pictures = 0;                    ///< of all frames, of both trees
    double rowBytes = 0;                    ///< a frame's values
    int thumbWidth = 0;                     ///< kept whatever the page comes to; 0: what fits
    bool windows = true;                    ///< parts without loss are wanted
    std::vector<MeasuredPicture> measured;  ///< of frames that stand for all; may be empty
};

/// Bytes of a picture's histograms on the page.
constexpr size_t kHistogramBytes = 1100;

/// The largest sizes with which the page probably keeps to its bytes.
PictureSizes planSizes(const PageNeeds& needs);

}  // namespace tyksim
