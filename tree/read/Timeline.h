// The times of a task's frames, and the missing frames that their ids show. Threads: any. Errors:
// std::bad_alloc.
#pragma once

#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tyktree {

/// "2026-03-05T14:07:09.123", local time of the device; without the year if the stamp has none.
std::string isoTime(const Stamp& stamp);

/// The first impossible part of a stamp, such as "month 17"; "" if all parts are possible. A stamp
/// without a year may be on 29 February.
std::string impossiblePart(const Stamp& stamp);

/// The time of a frame, with the year. A frame's name has no year; it comes from the task's name,
/// which has the time of the first frame. None if one of the names has no stamp.
std::optional<Stamp> stampOf(const TaskEntry& task, const FrameEntry& frame);

/// The time from `a` to `b` in milliseconds. Two stamps without a year belong to the same year,
/// unless `b` would then be earlier by more than half a year: `b` is then in the next year.
int64_t millisecondsBetween(const Stamp& a, const Stamp& b);

struct Timeline {
    /// Missing sof ids by the usual step between frames: ranges, ends included.
    std::vector<std::pair<int64_t, int64_t>> missingSofs;
    std::vector<int> repeatedRequests;  ///< each once, in ascending order
    int64_t usualInterval = 0;          ///< median time between frames, milliseconds
    int64_t longestPause = 0;           ///< milliseconds
    uint32_t pauseBefore = 0;           ///< position of the frame after the longest pause; 0: none
    int64_t duration = 0;               ///< from the first frame to the last, milliseconds
};

/// The timeline of a task's frames whose names a recording makes.
Timeline timelineOf(const TaskEntry& task);

}  // namespace tyktree
