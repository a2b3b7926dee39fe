// Cuts parts of images with every sample as in the file.
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

/// The part of `area` in a picture of this layout, with its corner at even numbers, where chroma
/// begins. Empty if they do not overlap.
PixelArea areaWithin(const PixelArea& area, const PictureLayout& layout);

/// Finds and cuts windows; reuses its memory. One thread at a time uses an object. Every operation
/// throws NoPicture when a file cannot be read, and std::bad_alloc.
class PixelWindows {
public:
    /// The square of `side` pixels, cut to the picture, in which the lumas of `a` and `b` have the
    /// largest squared difference. Without `b`, or if both are equal, the square with most detail:
    /// with the largest squared difference between neighbours. Searches in steps of 32 pixels. Both
    /// files must have the same layout; their lengths may differ.
    PixelArea place(PictureFile& a, PictureFile* b, int side);

    /// The area's samples as a grey PNG file: rows of luma, and below them rows of U in the left
    /// half and of V in the right half. A row is twice as long as a row of U; luma of an odd width
    /// has an additional sample without meaning. Valid until the next call. The area must come from
    /// areaWithin().
    std::string_view png(PictureFile& file, const PixelArea& area);

private:
    bool sumBlocks(PictureFile& a, PictureFile* b);
    uint64_t sumOf(size_t left, size_t top, size_t right, size_t bottom) const;

    SampleBuffer samples_;
    PngEncoder encoder_;
    size_t columns_ = 0;  ///< number of columns of blocks
    size_t rows_ = 0;
    /// The sums of all blocks to the left of and above each of (columns_ + 1) x (rows_ + 1)
    /// corners.
    std::vector<uint64_t> sums_;
};

}  // namespace tyksim
