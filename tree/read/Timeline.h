// When a task's frames were recorded and what their ids say about frames that are not there.
#pragma once

#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tyktree {

/// "2026-03-05T14:07:09.123", local time of the device; without the year where the stamp has none.
std::string isoTime(const Stamp& stamp);

/// The first part of a stamp that no calendar or clock has, such as "month 17"; "" where all are
/// possible. Without a year there is a 29 February.
std::string impossiblePart(const Stamp& stamp);

/// From `a` to `b` in milliseconds. Stamps without a year are taken for the same year, or for one
/// turn of the year where `b` would be earlier by more than half a year.
int64_t millisecondsBetween(const Stamp& a, const Stamp& b);

struct Timeline {
    /// Sof ids that the usual step between frames passes over: ranges, ends included.
    std::vector<std::pair<int64_t, int64_t>> missingSofs;
    std::vector<int> repeatedRequests;  ///< each once, in order
    int64_t usualInterval = 0;          ///< between frames, milliseconds; the median
    int64_t longestPause = 0;           ///< milliseconds
    uint32_t pauseBefore = 0;           ///< position of the frame after the longest pause; 0: none
    int64_t duration = 0;               ///< from the first frame to the last, milliseconds
};

/// Of the frames that are well named.
Timeline timelineOf(const TaskEntry& task);

}  // namespace tyktree
