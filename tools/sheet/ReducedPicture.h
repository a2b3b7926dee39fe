// Image files of a tree made small while they are read: a band of rows at a time, so that the large
// picture is never in memory.
#pragma once

#include "tools/picture/PlaneShrinker.h"

#include <array>
#include <cstdint>
#include <string>

namespace tyksim {

/// What came of reading an image file.
struct ReducedPicture {
    std::string problem;  ///< why there is no picture; "" where there is one
    Picture picture;      ///< valid until its reader is used again
    std::array<uint32_t, 256>
        luma{};          ///< counts of some rows' samples, as far as the file has them
    uint64_t bytes = 0;  ///< length of the file
};

/// Reads pictures one after the other and keeps its memory. One object serves one thread.
class ReducedPictureReader {
public:
    /// The NV21 file at `path`, one pixel for `divisor` x `divisor`, their mean; sides are rounded
    /// up. What the file lacks is black. Throws std::bad_alloc.
    const ReducedPicture& read(const std::string& path, int width, int height, int divisor);

private:
    SampleBuffer band_;
    SampleBuffer samples_;
    PlaneShrinker shrinker_;
    ReducedPicture result_;
};

}  // namespace tyksim
