// Image files of a tree made small while they are read, a strip of rows at a time: the large
// picture is never in memory.
#pragma once

#include "tools/picture/Histogram.h"
#include "tools/picture/PlaneShrinker.h"

namespace tyksim {

/// A picture made small.
struct ReducedPicture {
    Picture picture;  ///< valid until its reader is used again
    Histogram luma;   ///< of some of the file's rows, evenly spread; of samples that the file has
};

/// Reads pictures one after the other and keeps its memory. One object serves one thread.
class ReducedPictureReader {
public:
    /// The file's picture, one pixel for `divisor` x `divisor`: their mean. Sides are rounded up.
    /// Throws NoPicture when the file cannot be read, std::bad_alloc.
    const ReducedPicture& read(PictureFile& file, int divisor);

private:
    void shrink(const Plane& plane, int divisor, uint8_t* out, int stride);

    SampleBuffer samples_;
    PlaneShrinker shrinker_;
    ReducedPicture result_;
};

}  // namespace tyksim
