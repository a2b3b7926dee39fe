// The selection of frames, with the same grammar for every verb. Threads: values; several threads
// may read one at once. Errors: std::bad_alloc.
#pragma once

#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktree {

/// A set of numbers: "3..9,12", "5..", "..7", "-3..-1". Ranges include both ends. A value.
class NumberRanges {
public:
    /// Parses `text`. A number below `least` is an error. The problem has no path.
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

/// Which frames of a tree to use. An empty set of ranges picks all.
struct FrameSelection {
    std::optional<int> pipe;       ///< --pipe: id
    std::optional<uint32_t> task;  ///< --task: position within the pipe, from 1
    NumberRanges frames;           ///< --frames: positions within the task, from 1
    NumberRanges requests;         ///< --requests: request ids
    NumberRanges sofs;             ///< --sofs: sof ids

    /// --where: picks only these frames of an index, which must outlive the selection.
    void keepOnly(std::vector<const FrameEntry*> entries);

    bool picks(const PipeEntry& pipe, const TaskEntry& task) const;
    bool picks(const FrameEntry& frame) const;

private:
    std::optional<std::vector<const FrameEntry*>> kept_;  ///< in ascending order
};

/// A frame of an index with its task and pipe.
struct FrameRef {
    const PipeEntry* pipe;
    const TaskEntry* task;
    const FrameEntry* frame;

    std::string path() const { return framePath(*task, *frame); }
    /// Folder of the frame before it in its task; "" if the index has none.
    std::string pathBefore() const {
        return frame == task->frames.data() ? "" : framePath(*task, *(frame - 1));
    }
    FramePlace place() const { return {pipe->id, task->position, frame->position}; }
};

/// The selected frames, in order. They point into the index, which must outlive them.
std::vector<FrameRef> select(const TreeIndex& index, const FrameSelection& selection);

/// Whether the selection includes a place of the index. It includes a folder above frames, such as
/// a task, if it may pick frames in that folder.
bool picks(const TreeIndex& index, const FrameSelection& selection, const FramePlace& place);

}  // namespace tyktree
