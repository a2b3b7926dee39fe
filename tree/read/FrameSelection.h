// The one grammar by which every verb picks frames.
#pragma once

#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// A set of numbers: "3..9,12", "5..", "..7", "-3..-1". Ranges include both ends.
class NumberRanges {
public:
    /// A number below `least` is an error. A problem has no path.
    static Result<NumberRanges> parse(std::string_view text, int64_t least);
    bool contains(int64_t number) const;
    bool empty() const { return ranges_.empty(); }

private:
    struct Range {
        int64_t first;
        int64_t last;
    };
    std::vector<Range> ranges_;
};

/// Which frames of a tree. An empty set of ranges picks all.
struct FrameSelection {
    std::optional<int> pipe;       ///< --pipe: id
    std::optional<uint32_t> task;  ///< --task: position within the pipe, from 1
    NumberRanges frames;           ///< --frames: positions within the task, from 1
    NumberRanges requests;         ///< --requests: request ids
    NumberRanges sofs;             ///< --sofs: sof ids

    bool picks(const PipeEntry& pipe, const TaskEntry& task) const;
    bool picks(const FrameEntry& frame) const;
};

/// A frame of an index, with where it stands.
struct FrameRef {
    const PipeEntry* pipe;
    const TaskEntry* task;
    const FrameEntry* frame;

    std::string path() const { return framePath(*task, *frame); }
    FramePlace place() const { return {pipe->id, task->position, frame->position}; }
};

/// The frames that are picked, in order. References into the index, which must outlive them.
std::vector<FrameRef> select(const TreeIndex& index, const FrameSelection& selection);

/// Whether a place of the index lies in what is picked. A folder above the frames, such as a task,
/// does if the selection looks into it.
bool picks(const TreeIndex& index, const FrameSelection& selection, const FramePlace& place);

}  // namespace tyktree
