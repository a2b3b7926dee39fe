// How many frames come in a second.
#pragma once

#include <cstdint>
#include <string>

namespace tyksim {

/// `frames` in `seconds` seconds; both at least 1.
struct FrameRate {
    uint32_t frames = 0;
    uint32_t seconds = 1;
};

/// "30", "29.97" or "30000/1001". Throws WrongUsage for another.
FrameRate rateOf(const std::string& given);

/// Whether no two frames share a millisecond, which is what the name of a frame's folder tells.
constexpr bool isOneAMillisecond(const FrameRate& rate) {
    return uint64_t{rate.frames} <= uint64_t{1000} * rate.seconds;
}

/// When frame `number` (from 0) comes, in microseconds after the first, rounded down.
constexpr int64_t frameMicroseconds(const FrameRate& rate, int number) {
    constexpr uint64_t kMicroseconds = 1000000;
    const uint64_t scaled = static_cast<uint64_t>(number) * rate.seconds;
    const uint64_t rest = scaled % rate.frames * kMicroseconds / rate.frames;
    return static_cast<int64_t>(scaled / rate.frames * kMicroseconds + rest);
}

}  // namespace tyksim
