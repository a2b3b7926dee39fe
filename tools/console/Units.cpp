#include "tools/console/Units.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace tyksim {

std::string humanBytes(uint64_t bytes) {
    if (bytes < 1000) return fmt::format("{} B", bytes);
    constexpr std::array<const char*, 5> kUnits{"kB", "MB", "GB", "TB", "PB"};
    double value = static_cast<double>(bytes) / 1000;
    size_t unit = 0;
    // 999.5 and above would round to 1000.
    while (value >= 999.5 && unit + 1 < kUnits.size()) {
        value /= 1000;
        ++unit;
    }
    if (value < 9.995) return fmt::format("{:.2f} {}", value, kUnits[unit]);
    if (value < 99.95) return fmt::format("{:.1f} {}", value, kUnits[unit]);
    return fmt::format("{:.0f} {}", value, kUnits[unit]);
}

std::string humanTime(int64_t milliseconds) {
    const int64_t seconds = milliseconds / 1000;
    if (milliseconds < 1000) return fmt::format("{} ms", milliseconds);
    if (seconds < 60) return fmt::format("{:.3f} s", static_cast<double>(milliseconds) / 1000);
    return humanSeconds(seconds);
}

std::string humanSeconds(int64_t seconds) {
    if (seconds < 60) return fmt::format("{} s", seconds);
    if (seconds < 3600) return fmt::format("{} min {:02} s", seconds / 60, seconds % 60);
    return fmt::format("{} h {:02} min", seconds / 3600, seconds / 60 % 60);
}

std::string rangesText(const std::vector<std::pair<int64_t, int64_t>>& ranges, size_t most) {
    std::string text;
    for (size_t i = 0; i < std::min(most, ranges.size()); ++i) {
        const auto& [first, last] = ranges[i];
        text += text.empty() ? "" : ", ";
        text += first == last ? fmt::format("{}", first) : fmt::format("{}..{}", first, last);
    }
    if (ranges.size() > most) text += fmt::format(" and {} more", ranges.size() - most);
    return text;
}

std::vector<std::pair<int64_t, int64_t>> rangesOf(const std::vector<int64_t>& sorted) {
    std::vector<std::pair<int64_t, int64_t>> ranges;
    for (const int64_t number : sorted) {
        if (ranges.empty() || number > ranges.back().second + 1) {
            ranges.emplace_back(number, number);
        } else {
            ranges.back().second = number;
        }
    }
    return ranges;
}

std::string withUnit(const std::string& value, const std::string& unit) {
    return value.empty() || unit.empty() ? value : value + " " + unit;
}

}  // namespace tyksim
