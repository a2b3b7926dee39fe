// Where a simulated camera's pictures come from.
#pragma once

#include "tools/camera/Photo.h"

#include <string>
#include <vector>

namespace tyksim {

/// Photographs, over and over, or the test pattern.
class FrameSource {
public:
    /// The test pattern at a size in pixels.
    FrameSource(int width, int height);

    /// Photographs; every one is read before this returns, so that a damaged one is known before
    /// anything is recorded. Failure as of readPhoto().
    explicit FrameSource(std::vector<std::string> paths);

    /// Picture `number` (from 0), valid until the next call. Failure when a photograph that was
    /// read before can no longer be read.
    const Photo& frame(int number);

private:
    std::vector<std::string> paths_;
    std::vector<Photo>
        kept_;  ///< the first photographs of paths_, as far as memory is meant for it
    Photo current_;
    int width_ = 0;
    int height_ = 0;
};

}  // namespace tyksim
