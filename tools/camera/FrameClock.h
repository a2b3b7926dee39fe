// A millisecond for every frame.
#pragma once

#include <chrono>

namespace tyksim {

/// A frame folder's name has milliseconds, and a replay follows the names: frames of one
/// millisecond, which no camera makes, would come in the order of their numbers as texts.
class FrameClock {
public:
    /// Waits until the millisecond of the last frame is over.
    void beginFrame() const;

    /// Notes that the frame's folder is made.
    void endFrame();

private:
    std::chrono::system_clock::time_point last_{};  ///< its end, in whole milliseconds
};

}  // namespace tyksim
