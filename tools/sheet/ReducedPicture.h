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

/// The time that a picture may take. kQuick: the histograms count some rows, and the sides become
/// smaller by a whole number, so the picture may be narrower than the given width.
enum class Effort { kFull, kQuick };

/// The size of a picture reduced to at most `width` pixels in width and twice as many in height;
/// its own size if it is smaller.
PixelSize reducedSize(const PixelSize& size, int width, Effort effort);

/// A reduced picture.
struct ReducedPicture {
    Picture picture;         ///< valid until the next call of its reader
    PlaneHistograms counts;  ///< of the samples in the file
};

/// Reads pictures one after the other and reuses its memory. One thread at a time uses an object.
class ReducedPictureReader {
public:
    /// The file's picture, reduced to reducedSize(): each pixel is the mean of those that it
    /// covers. Throws NoPicture when the file cannot be read, and std::bad_alloc.
    const ReducedPicture& read(PictureFile& file, int width, Effort effort);

    /// Reduces a picture in the same way. The result is valid until the next call.
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
