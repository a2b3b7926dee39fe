// Which frame of one tree belongs to which of another.
#pragma once

#include "tree/read/FrameSelection.h"
#include "tree/read/TreePath.h"

#include <optional>
#include <utility>
#include <vector>

namespace tyksim {

/// A frame of A, of B, or of both that belong together. The references' indexes must outlive it.
struct FramePair {
    std::optional<tyktree::FrameRef> a;
    std::optional<tyktree::FrameRef> b;
    /// A frame of A that stands before `a`, and whose counterpart stands behind `b`: a replay takes
    /// the two in another order.
    std::optional<tyktree::FrameRef> overtaken;

    /// The frame of A, or of B where A has none.
    const tyktree::FrameRef& either() const { return a ? *a : *b; }
};

enum class MatchBy { kRequest, kOrder };

/// One side of a comparison: what was named, and the frames that are selected in it.
struct MatchSide {
    const tyktree::TreePath* path;
    const std::vector<tyktree::FrameRef>* frames;
};

/// The pairs in A's order; after a task's pairs those frames that only B's has. Two frames that
/// were named as such belong together. Tasks do by the name of their folder, and where no task of A
/// has the name of one of B, by pipe and order. Within tasks frames go by request id, the same id
/// again with the same id again, or by order.
std::vector<FramePair> matchFrames(const MatchSide& a, const MatchSide& b, MatchBy by);

}  // namespace tyksim
