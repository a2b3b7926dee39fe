#include "tools/camera/FrameClock.h"

#include "host/Clock.h"

#include <thread>

namespace tyksim {

namespace {

std::chrono::system_clock::time_point millisecond() {
    using std::chrono::system_clock;
    return std::chrono::floor<std::chrono::milliseconds>(system_clock::now());
}

timeval later(const timeval& time, int64_t microseconds) {
    constexpr int64_t kSecond = 1000000;
    const int64_t sum = time.tv_usec + microseconds;
    timeval result{};
    result.tv_sec = time.tv_sec + sum / kSecond;
    result.tv_usec = sum % kSecond;
    return result;
}

}  // namespace

FrameClock::FrameClock(const std::optional<FrameRate>& rate) : rate_(rate) {
    if (!rate_) return;
    gettimeofday(&start_, nullptr);
    // Names have whole milliseconds. A start at a whole millisecond gives the best intervals after
    // rounding down.
    start_.tv_usec -= start_.tv_usec % 1000;
    tykhost::setClock(start_);
}

FrameClock::~FrameClock() {
    tykhost::resetClock();
}

void FrameClock::beginFrame() {
    if (rate_) {
        tykhost::setClock(later(start_, frameMicroseconds(*rate_, number_++)));
        return;
    }
    while (millisecond() == last_) std::this_thread::sleep_for(std::chrono::microseconds(100));
}

void FrameClock::endFrame() {
    last_ = millisecond();
}

}  // namespace tyksim
