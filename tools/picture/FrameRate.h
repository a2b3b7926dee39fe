// Frame rates. Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace tyksim {

/// `frames` in `seconds` seconds; both at least 1.
struct FrameRate {
    uint32_t frames = 0;
    uint32_t seconds = 1;
};

/// Parses "30", "29.97" or "30000/1001". Throws WrongUsage for any other text.
FrameRate rateOf(const std::string& given);

/// Whether all frames have different milliseconds, the precision of folder names.
constexpr bool isOneAMillisecond(const FrameRate& rate) {
    return uint64_t{rate.frames} <= uint64_t{1000} * rate.seconds;
}

/// The longest time of a frame, in seconds: a day. Times of 100,000,000 such frames fit 64 bits.
constexpr uint32_t kLongestFrame = 86400;

/// The time of frame `number` (from 0) after the first, in microseconds, rounded down.
constexpr int64_t frameMicroseconds(const FrameRate& rate, int number) {
    constexpr uint64_t kMicroseconds = 1000000;
    const uint64_t scaled = static_cast<uint64_t>(number) * rate.seconds;
    const uint64_t rest = scaled % rate.frames * kMicroseconds / rate.frames;
    return static_cast<int64_t>(scaled / rate.frames * kMicroseconds + rest);
}

}  // namespace tyksim
