// When the frames of a recording are taken.
#pragma once

#include "tools/picture/FrameRate.h"

#include <chrono>
#include <optional>
#include <sys/time.h>

namespace tyksim {

/// A frame folder's name has milliseconds, and a replay follows the names. Frames of the same
/// millisecond, which no camera makes, would be sorted by the digits of their ids. Frames with a
/// rate are taken at the start plus their number divided by the rate, whatever time it is then: the
/// clock that names folders is set. Frames without a rate are taken as they come, and wait for a
/// millisecond of their own. One object at a time.
class FrameClock {
public:
    explicit FrameClock(const std::optional<FrameRate>& rate = std::nullopt);
    /// Gives the clock that names folders the system's time again.
    ~FrameClock();
    FrameClock(const FrameClock&) = delete;
    FrameClock& operator=(const FrameClock&) = delete;

    /// To be called before each frame is dumped.
    void beginFrame();

    /// Call this when the frame's folder exists.
    void endFrame();

private:
    const std::optional<FrameRate> rate_;
    int number_ = 0;                                ///< of the next frame
    timeval start_{};                               ///< of the recording
    std::chrono::system_clock::time_point last_{};  ///< end of a frame, in whole milliseconds
};

}  // namespace tyksim
