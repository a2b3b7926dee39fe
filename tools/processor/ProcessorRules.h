// What a processor may hand back. Its process asks, so that the processor learns it at once, and so
// does tyksim, which relies on no other process.
#pragma once

#include "tools/processor/tyksim_processor.h"

#include <cstdint>
#include <string>

namespace tyksim {

/// Why `frame` cannot take a value of `bytes` bytes for `tag`; "" where it can.
std::string valueProblem(const tyksim_frame& frame, uint32_t tag, uint64_t bytes);

/// Why `picture` is none that can be recorded; "" where it is one.
std::string pictureProblem(const tyksim_picture& picture);

/// The bytes that an image file of that size has: (width * height * 3) / 2; 0 where there can be no
/// such image.
uint64_t packedBytes(int32_t width, int32_t height);

/// Writes the packedBytes() of a picture without a problem, its rows without gaps.
void packPicture(const tyksim_picture& picture, uint8_t* to);

}  // namespace tyksim
