// Reduces image files while it reads them, a strip of rows at a time, so that the whole picture is
// never in memory.
#pragma once

#include "tools/picture/Histogram.h"
#include "tools/picture/PlaneShrinker.h"
#include "tools/sheet/PlaneResizer.h"

namespace tyksim {

/// The size of a picture in pixels.
struct PixelSize {
    int width = 0;
    int height = 0;
};

/// How much time a picture may take. Quick: the histograms count some rows, and sides become
/// smaller by whole numbers, which leaves the picture as wide as asked for or less.
enum class Effort { kFull, kQuick };

/// The size of a picture made so small that it is at most `width` wide and twice as high; its own
/// where it is smaller.
PixelSize reducedSize(const PixelSize& size, int width, Effort effort);

/// A reduced picture.
struct ReducedPicture {
    Picture picture;         ///< valid until the next call of its reader
    PlaneHistograms counts;  ///< of the samples in the file
};

/// Reads pictures one after the other and keeps its memory. One object serves one thread.
class ReducedPictureReader {
public:
    /// The file's picture, reduced to reducedSize(): each pixel is the mean of those that it
    /// covers. Throws NoPicture when the file cannot be read, std::bad_alloc.
    const ReducedPicture& read(PictureFile& file, int width, Effort effort);

    /// A picture made smaller in the same way. Valid until this is called again.
    Picture reduced(const Picture& picture, int width, Effort effort);

private:
    void shrink(const Plane& plane, int divisor, uint8_t* out, int stride);
    Picture resized(const Picture& picture, const PixelSize& size, SampleBuffer& memory);

    SampleBuffer samples_;
    SampleBuffer resized_;
    SampleBuffer again_;
    PlaneShrinker shrinker_;
    PlaneResizer resizer_;
    ReducedPicture result_;
};

}  // namespace tyksim
