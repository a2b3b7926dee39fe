// The rules for a processor's results. The processor's process applies them, so that the processor
// learns of an error at once. tyksim applies them again, because it does not trust the other
// process. Threads: any.
#pragma once

#include "tags/Problem.h"
#include "tools/processor/tyksim_processor.h"

#include <cstdint>

namespace tyksim {

/// Succeeds if `frame` can have a value of `bytes` bytes for `tag`. The problem has only a reason.
tyktags::Status checkValue(const tyksim_frame& frame, uint32_t tag, uint64_t bytes);

/// Succeeds if `picture` can be recorded. The problem has only a reason.
tyktags::Status checkPicture(const tyksim_picture& picture);

/// The bytes of an image file of that size: (width * height * 3) / 2; 0 if there can be no such
/// image.
uint64_t packedBytes(int32_t width, int32_t height);

/// Stores the packedBytes() of a valid picture in `to`, rows without gaps.
void packPicture(const tyksim_picture& picture, uint8_t* to);

}  // namespace tyksim
