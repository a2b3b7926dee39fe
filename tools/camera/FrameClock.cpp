#include "tools/camera/FrameClock.h"

#include <thread>

namespace tyksim {

namespace {

std::chrono::system_clock::time_point millisecond() {
    using std::chrono::system_clock;
    return std::chrono::floor<std::chrono::milliseconds>(system_clock::now());
}

}  // namespace

void FrameClock::beginFrame() const {
    while (millisecond() == last_) std::this_thread::sleep_for(std::chrono::microseconds(100));
}

void FrameClock::endFrame() {
    last_ = millisecond();
}

}  // namespace tyksim
