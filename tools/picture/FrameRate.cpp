#include "tools/picture/FrameRate.h"

#include "tags/Digits.h"
#include "tools/console/Console.h"

#include <fmt/format.h>
#include <string_view>

namespace tyksim {

namespace {

constexpr uint32_t kMostRate = 1000000;

/// Reads digits from the front of `text`; returns false if there are none or too many.
bool takeNumber(std::string_view& text, uint32_t& number) {
    const auto taken = tyktags::takeDigits<uint32_t>(text);
    if (!taken || *taken > kMostRate) return false;
    number = *taken;
    return true;
}

/// Adds decimals to a rate: after 29, "97" gives 2997 of 100.
bool takeDecimals(std::string_view& text, FrameRate& rate) {
    const size_t digits = text.size();
    uint32_t decimals = 0;
    if (digits > 3 || !takeNumber(text, decimals)) return false;
    for (size_t i = 0; i < digits; ++i) rate.seconds *= 10;
    rate.frames = rate.frames * rate.seconds + decimals;
    return true;
}

}  // namespace

FrameRate rateOf(const std::string& given) {
    std::string_view rest = given;
    FrameRate rate;
    bool good = takeNumber(rest, rate.frames);
    if (good && !rest.empty()) {
        const char sign = rest.front();
        rest.remove_prefix(1);
        good = (sign == '/' || sign == ':') ? takeNumber(rest, rate.seconds)
                                            : sign == '.' && takeDecimals(rest, rate);
    }
    if (good && rest.empty() && rate.frames != 0 && rate.seconds != 0) return rate;
    throw WrongUsage(
        fmt::format("--fps: expected a rate such as 30, 29.97 or 30000/1001, found {}", given));
}

}  // namespace tyksim
