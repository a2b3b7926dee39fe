#include "tree/read/FrameSelection.h"

#include "tags/Digits.h"
#include "tags/Words.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

namespace tyktree {

namespace {

constexpr int64_t kLeast = std::numeric_limits<int64_t>::min();
constexpr int64_t kMost = std::numeric_limits<int64_t>::max();

/// Parses a range and returns its ends.
std::optional<std::pair<int64_t, int64_t>> endsOf(std::string_view piece, int64_t least) {
    const size_t dots = piece.find("..");
    const bool isRange = dots != std::string_view::npos;
    const std::string_view left = isRange ? piece.substr(0, dots) : piece;
    const std::string_view right = isRange ? piece.substr(dots + 2) : piece;
    if (left.empty() && right.empty()) return std::nullopt;
    const std::optional<int64_t> first =
        left.empty() ? kLeast : tyktags::parseDigits<int64_t>(left);
    const std::optional<int64_t> last =
        right.empty() ? kMost : tyktags::parseDigits<int64_t>(right);
    if (!first || !last || *first > *last) return std::nullopt;
    if ((!left.empty() && *first < least) || *last < least) return std::nullopt;
    return std::make_pair(*first, *last);
}

}  // namespace

Result<NumberRanges> NumberRanges::parse(std::string_view text, int64_t least) {
    NumberRanges result;
    std::string_view rest = text;
    while (true) {
        const size_t comma = std::min(rest.find(','), rest.size());
        const auto ends = endsOf(rest.substr(0, comma), least);
        if (!ends) {
            const std::string from = least == kLeast ? "" : " from " + std::to_string(least);
            return Problem{"", "numbers" + from + " and ranges such as 3..9,12",
                           tyktags::quoted(text)};
        }
        result.ranges_.push_back({ends->first, ends->second});
        if (comma == rest.size()) return result;
        rest.remove_prefix(comma + 1);
    }
}

bool NumberRanges::contains(int64_t number) const {
    return std::any_of(ranges_.begin(), ranges_.end(), [number](const Range& range) {
        return range.first <= number && number <= range.last;
    });
}

bool FrameSelection::picks(const PipeEntry& pipeEntry, const TaskEntry& taskEntry) const {
    if (pipe && pipeEntry.id && *pipe != *pipeEntry.id) return false;
    return !task || *task == taskEntry.position;
}

void FrameSelection::keepOnly(std::vector<const FrameEntry*> entries) {
    std::sort(entries.begin(), entries.end(), std::less<>());
    kept_ = std::move(entries);
}

bool FrameSelection::picks(const FrameEntry& frame) const {
    if (kept_ && !std::binary_search(kept_->begin(), kept_->end(), &frame, std::less<>())) {
        return false;
    }
    if (!frames.empty() && !frames.contains(frame.position)) return false;
    // Only its position can pick a frame whose name has no ids.
    if (!requests.empty() && !(frame.wellNamed && requests.contains(frame.parsed.requestId))) {
        return false;
    }
    return sofs.empty() || (frame.wellNamed && sofs.contains(frame.parsed.sofId));
}

std::vector<FrameRef> select(const TreeIndex& index, const FrameSelection& selection) {
    std::vector<FrameRef> picked;
    for (const PipeEntry& pipe : index.pipes()) {
        for (const TaskEntry& task : pipe.tasks) {
            if (!selection.picks(pipe, task)) continue;
            for (const FrameEntry& frame : task.frames) {
                if (selection.picks(frame)) picked.push_back({&pipe, &task, &frame});
            }
        }
    }
    return picked;
}

bool picks(const TreeIndex& index, const FrameSelection& selection, const FramePlace& place) {
    if (selection.pipe && place.pipe && *selection.pipe != *place.pipe) return false;
    if (selection.task && place.task != 0 && *selection.task != place.task) return false;
    if (place.frame == 0) return true;
    for (const PipeEntry& pipe : index.pipes()) {
        if (pipe.id != place.pipe) continue;
        for (const TaskEntry& task : pipe.tasks) {
            if (task.position != place.task) continue;
            for (const FrameEntry& frame : task.frames) {
                if (frame.position == place.frame) return selection.picks(frame);
            }
        }
    }
    return true;
}

}  // namespace tyktree
