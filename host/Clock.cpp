#include "host/Clock.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace {

constexpr int64_t kMicrosecondsPerSecond = 1000000;

// The set clock, in microseconds since 1970. Unsigned arithmetic wraps where signed arithmetic
// would be undefined. Reading the clock must neither lock nor allocate, because any code may call
// gettimeofday().
std::atomic<bool> isSet{false};
std::atomic<uint64_t> nextReading{0};
std::atomic<uint64_t> step{0};

timeval toTimeval(uint64_t reading) {
    const auto microseconds = static_cast<int64_t>(reading);
    timeval time{};
    time.tv_sec = microseconds / kMicrosecondsPerSecond;
    time.tv_usec = microseconds % kMicrosecondsPerSecond;
    if (time.tv_usec < 0) {
        time.tv_usec += kMicrosecondsPerSecond;
        --time.tv_sec;
    }
    return time;
}

}  // namespace

namespace tykhost {

void setClock(const timeval& time, long stepMicroseconds) {
    isSet.store(false);
    step.store(static_cast<uint64_t>(stepMicroseconds));
    nextReading.store(static_cast<uint64_t>(time.tv_sec) * uint64_t{kMicrosecondsPerSecond} +
                      static_cast<uint64_t>(time.tv_usec));
    isSet.store(true);
}

void resetClock() {
    isSet.store(false);
}

}  // namespace tykhost

// Replaces the C library's function of this name. `tz` is obsolete; the C library fills it with
// zeros too.
extern "C" int gettimeofday(timeval* tv, void* tz) noexcept {
    if (tz != nullptr) std::memset(tz, 0, sizeof(struct timezone));
    if (isSet.load()) {
        *tv = toTimeval(nextReading.fetch_add(step.load()));
        return 0;
    }
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) return -1;
    tv->tv_sec = now.tv_sec;
    tv->tv_usec = now.tv_nsec / 1000;
    return 0;
}
