#include "tree/FrameSelection.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>

namespace tyktree {

namespace {

[[noreturn]] void refuse(std::string_view text) {
    throw std::invalid_argument("expected numbers and ranges such as 3..9,12, found \"" +
                                std::string(text) + "\"");
}

int64_t numberIn(std::string_view piece, std::string_view text) {
    int64_t number = 0;
    const char* const end = piece.data() + piece.size();
    const auto [stop, error] = std::from_chars(piece.data(), end, number);
    if (error != std::errc() || stop != end) refuse(text);
    return number;
}

}  // namespace

NumberRanges NumberRanges::parse(std::string_view text) {
    NumberRanges result;
    std::string_view rest = text;
    while (true) {
        const size_t comma = std::min(rest.find(','), rest.size());
        const std::string_view piece = rest.substr(0, comma);
        const size_t dots = piece.find("..");
        Range range{std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()};
        if (dots == std::string_view::npos) {
            range.first = range.last = numberIn(piece, text);
        } else {
            if (piece.size() == 2) refuse(text);
            if (dots > 0) range.first = numberIn(piece.substr(0, dots), text);
            if (dots + 2 < piece.size()) range.last = numberIn(piece.substr(dots + 2), text);
        }
        if (range.first > range.last) refuse(text);
        result.ranges_.push_back(range);
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

bool FrameSelection::picks(const FrameEntry& frame) const {
    if (!frames.empty() && !frames.contains(frame.position)) return false;
    // A frame whose name has no ids is picked by position only.
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

}  // namespace tyktree
