// The times of a recording's frames.
#pragma once

#include "tools/picture/FrameRate.h"

#include <chrono>
#include <optional>
#include <sys/time.h>

namespace tyksim {

/// A frame folder's name has milliseconds, and a replay follows the names. Frames of the same
/// millisecond, which no camera makes, would be sorted by the digits of their ids. With a rate, the
/// time of a frame is the start plus its number divided by the rate; this sets the clock that names
/// folders. Without a rate, frames have the system's time and wait for a millisecond of their own.
/// Only one object may exist at a time; one thread uses it.
class FrameClock {
public:
    explicit FrameClock(const std::optional<FrameRate>& rate = std::nullopt);
    /// Restores the system's time for the clock that names folders.
    ~FrameClock();
    FrameClock(const FrameClock&) = delete;
    FrameClock& operator=(const FrameClock&) = delete;

    /// Call this before each frame is dumped.
    void beginFrame();

    /// Call this when the frame's folder exists.
    void endFrame();

private:
    const std::optional<FrameRate> rate_;
    int number_ = 0;   ///< of the next frame
    timeval start_{};  ///< of the recording
    std::chrono::system_clock::time_point
        last_{};  ///< end of the last frame, in whole milliseconds
};

}  // namespace tyksim
