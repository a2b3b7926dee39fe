#include "tree/read/FrameSelection.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>

namespace tyktree {

namespace {

constexpr int64_t kLeast = std::numeric_limits<int64_t>::min();
constexpr int64_t kMost = std::numeric_limits<int64_t>::max();

/// Takes a list of ranges apart.
class RangeParser {
public:
    RangeParser(std::string_view text, int64_t least) : text_(text), least_(least) {}

    [[noreturn]] void refuse() const {
        const std::string from = least_ == kLeast ? "" : " from " + std::to_string(least_);
        throw std::invalid_argument("expected numbers" + from +
                                    " and ranges such as 3..9,12, found \"" + std::string(text_) +
                                    "\"");
    }

    int64_t number(std::string_view piece) const {
        int64_t number = 0;
        const char* const end = piece.data() + piece.size();
        const auto [stop, error] = std::from_chars(piece.data(), end, number);
        if (error != std::errc() || stop != end || number < least_) refuse();
        return number;
    }

private:
    std::string_view text_;
    int64_t least_;
};

}  // namespace

NumberRanges NumberRanges::parse(std::string_view text, int64_t least) {
    const RangeParser parser(text, least);
    NumberRanges result;
    std::string_view rest = text;
    while (true) {
        const size_t comma = std::min(rest.find(','), rest.size());
        const std::string_view piece = rest.substr(0, comma);
        const size_t dots = piece.find("..");
        Range range{kLeast, kMost};
        if (dots == std::string_view::npos) {
            range.first = range.last = parser.number(piece);
        } else {
            if (piece.size() == 2) parser.refuse();
            if (dots > 0) range.first = parser.number(piece.substr(0, dots));
            if (dots + 2 < piece.size()) range.last = parser.number(piece.substr(dots + 2));
        }
        if (range.first > range.last) parser.refuse();
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

bool picks(const TreeIndex& index, const FrameSelection& selection, const Finding& finding) {
    const FramePlace& place = finding.place;
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
