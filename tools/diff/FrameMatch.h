// Matches the frames of two trees. Threads: any.
#pragma once

#include "tree/read/FrameSelection.h"
#include "tree/read/TreePath.h"

#include <optional>
#include <utility>
#include <vector>

namespace tyksim {

/// A frame of A, a frame of B, or two matched frames. The indexes of the references must outlive
/// it.
struct FramePair {
    std::optional<tyktree::FrameRef> a;
    std::optional<tyktree::FrameRef> b;
    /// A frame of A before `a` whose counterpart is after `b`: a replay takes the two in another
    /// order.
    std::optional<tyktree::FrameRef> overtaken;

    /// The frame of A, else that of B.
    const tyktree::FrameRef& either() const { return a ? *a : *b; }
};

enum class MatchBy { kRequest, kOrder };

/// One side of a comparison: the path, and the selected frames.
struct MatchSide {
    const tyktree::TreePath* path;
    const std::vector<tyktree::FrameRef>* frames;
};

/// The pairs in A's order; after the pairs of a task come the frames that only B's task has. Two
/// paths of single frames always match. Tasks match by the name of their folder, or by pipe and
/// order if no task of A has the name of a task of B. Within tasks frames match by request id
/// (repeated ids in their order) or by order.
std::vector<FramePair> matchFrames(const MatchSide& a, const MatchSide& b, MatchBy by);

}  // namespace tyksim
