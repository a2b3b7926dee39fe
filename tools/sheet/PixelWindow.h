// A part of an image with every sample as it is in the file.
#pragma once

#include "tools/picture/Encoders.h"
#include "tools/picture/PictureFile.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace tyksim {

/// A rectangle of a picture, in pixels.
struct PixelArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    bool empty() const { return width <= 0 || height <= 0; }
};

/// The part of `area` that lies in a picture of this layout, with its corner on even numbers, where
/// chroma begins. Empty where the two have nothing in common.
PixelArea areaWithin(const PixelArea& area, const PictureLayout& layout);

/// Finds and cuts windows; keeps its memory. One object serves one thread. Every operation throws
/// NoPicture when a file cannot be read, std::bad_alloc.
class PixelWindows {
public:
    /// The square of `side` pixels, or as much of it as the picture has, in which the lumas of `a`
    /// and `b` have the largest squared difference. Without `b`, or where both are equal, the one
    /// with most detail: with the largest squared difference between neighbours. Found in steps of
    /// 32 pixels. The two files have one layout but for their lengths.
    PixelArea place(PictureFile& a, PictureFile* b, int side);

    /// The area's samples as a grey PNG file: rows of luma, and below them rows of U in the left
    /// half and of V in the right one. A row is twice as long as a row of U; luma of an odd width
    /// has one sample more, of no meaning. Valid until it is called again. The area is one that
    /// areaWithin() gives.
    std::string_view png(PictureFile& file, const PixelArea& area);

private:
    bool sumBlocks(PictureFile& a, PictureFile* b);
    uint64_t sumOf(size_t left, size_t top, size_t right, size_t bottom) const;

    SampleBuffer samples_;
    PngEncoder encoder_;
    size_t columns_ = 0;  ///< of blocks
    size_t rows_ = 0;
    /// What all blocks to the left of a corner and above it add up to, for (columns_ + 1) x (rows_
    /// + 1) corners.
    std::vector<uint64_t> sums_;
};

}  // namespace tyksim
