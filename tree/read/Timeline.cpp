#include "tree/read/Timeline.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>

namespace tyktree {

namespace {

constexpr int64_t kDay = int64_t{24} * 3600 * 1000;

/// Days from the start of a leap year, because a stamp without a year may be on 29 February.
int64_t dayOfYear(const Stamp& stamp) {
    constexpr std::array<int, 12> kBefore{0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335};
    const auto month = static_cast<size_t>(std::clamp(stamp.month, 1, 12) - 1);
    return kBefore[month] + stamp.day - 1;
}

/// The number of days in the stamp's month, which may be impossible.
int daysIn(const Stamp& stamp) {
    constexpr std::array<int, 12> kDays{31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int year = stamp.year;
    const bool leap =
        year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);  // also 0, which is no year
    if (stamp.month == 2 && !leap) return 28;
    return kDays[static_cast<size_t>(std::clamp(stamp.month, 1, 12) - 1)];
}

int64_t milliseconds(const Stamp& stamp) {
    const int64_t minutes = int64_t{stamp.hour} * 60 + stamp.minute;
    return dayOfYear(stamp) * kDay + (minutes * 60 + stamp.second) * 1000 + stamp.millisecond;
}

std::vector<const FrameEntry*> wellNamed(const TaskEntry& task) {
    std::vector<const FrameEntry*> frames;
    for (const FrameEntry& frame : task.frames) {
        if (frame.wellNamed) frames.push_back(&frame);
    }
    return frames;
}

/// The most frequent step between neighbours; the smaller one of equals.
int64_t usualStep(const std::vector<int64_t>& sofs) {
    std::map<int64_t, size_t> steps;
    for (size_t i = 1; i < sofs.size(); ++i) ++steps[sofs[i] - sofs[i - 1]];
    int64_t usual = 1;
    size_t most = 0;
    for (const auto& [step, count] : steps) {
        if (count <= most) continue;
        usual = step;
        most = count;
    }
    return usual;
}

void findMissingSofs(const std::vector<const FrameEntry*>& frames, Timeline& timeline) {
    std::vector<int64_t> sofs;
    sofs.reserve(frames.size());
    for (const FrameEntry* frame : frames) sofs.push_back(frame->parsed.sofId);
    std::sort(sofs.begin(), sofs.end());
    sofs.erase(std::unique(sofs.begin(), sofs.end()), sofs.end());
    const int64_t step = usualStep(sofs);
    for (size_t i = 1; i < sofs.size(); ++i) {
        if (sofs[i] - sofs[i - 1] > step) {
            timeline.missingSofs.emplace_back(sofs[i - 1] + step, sofs[i] - 1);
        }
    }
}

void findRepeatedRequests(const std::vector<const FrameEntry*>& frames, Timeline& timeline) {
    std::vector<int> requests;
    requests.reserve(frames.size());
    for (const FrameEntry* frame : frames) requests.push_back(frame->parsed.requestId);
    std::sort(requests.begin(), requests.end());
    for (size_t i = 1; i < requests.size(); ++i) {
        if (requests[i] != requests[i - 1]) continue;
        std::vector<int>& repeated = timeline.repeatedRequests;
        if (repeated.empty() || repeated.back() != requests[i]) repeated.push_back(requests[i]);
    }
}

}  // namespace

std::string isoTime(const Stamp& stamp) {
    std::array<char, 96> text{};
    if (stamp.year != 0) {
        static_cast<void>(std::snprintf(
            text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03d", stamp.year, stamp.month,
            stamp.day, stamp.hour, stamp.minute, stamp.second, stamp.millisecond));
    } else {
        static_cast<void>(std::snprintf(text.data(), text.size(), "%02d-%02dT%02d:%02d:%02d.%03d",
                                        stamp.month, stamp.day, stamp.hour, stamp.minute,
                                        stamp.second, stamp.millisecond));
    }
    return text.data();
}

std::string impossiblePart(const Stamp& stamp) {
    struct Part {
        const char* name;
        int value;
        int least;
        int most;
    };
    const Part parts[] = {{"month", stamp.month, 1, 12},
                          {"day", stamp.day, 1, daysIn(stamp)},
                          {"hour", stamp.hour, 0, 23},
                          {"minute", stamp.minute, 0, 59},
                          {"second", stamp.second, 0, 60}};  // 60: a leap second
    for (const Part& part : parts) {
        if (part.value >= part.least && part.value <= part.most) continue;
        return part.name + (" " + std::to_string(part.value));
    }
    return "";
}

std::optional<Stamp> stampOf(const TaskEntry& task, const FrameEntry& frame) {
    if (!task.parsed || !frame.wellNamed) return std::nullopt;
    const Stamp& start = task.parsed->stamp;
    Stamp stamp = frame.parsed.stamp;
    stamp.year = start.year + (stamp.month < start.month ? 1 : 0);
    return stamp;
}

int64_t millisecondsBetween(const Stamp& a, const Stamp& b) {
    const int64_t difference = milliseconds(b) - milliseconds(a);
    return difference < -183 * kDay ? difference + 366 * kDay : difference;
}

Timeline timelineOf(const TaskEntry& task) {
    Timeline timeline;
    const std::vector<const FrameEntry*> frames = wellNamed(task);
    if (frames.size() < 2) return timeline;
    findMissingSofs(frames, timeline);
    findRepeatedRequests(frames, timeline);
    std::vector<int64_t> intervals;
    intervals.reserve(frames.size());
    for (size_t i = 1; i < frames.size(); ++i) {
        const int64_t interval =
            millisecondsBetween(frames[i - 1]->parsed.stamp, frames[i]->parsed.stamp);
        timeline.duration += interval;
        if (interval > timeline.longestPause) {
            timeline.longestPause = interval;
            timeline.pauseBefore = frames[i]->position;
        }
        intervals.push_back(interval);
    }
    const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
    std::nth_element(intervals.begin(), middle, intervals.end());
    timeline.usualInterval = *middle;
    return timeline;
}

}  // namespace tyktree
