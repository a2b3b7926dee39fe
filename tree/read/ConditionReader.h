// Reads the values that a condition needs, frame by frame.
#pragma once

#include "tags/Problem.h"
#include "tree/read/Condition.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/FrameValues.h"

#include <array>
#include <cstddef>
#include <vector>

namespace tyktree {

/// Decides for which frames a condition holds. Reads values from sources, such as measures of
/// images, only if the other values do not decide. One thread at a time uses an object. Errors:
/// std::bad_alloc, and the exceptions of the sources.
class ConditionReader {
public:
    /// The condition must be bound and must outlive the object.
    explicit ConditionReader(const Condition& condition);

    /// Whether the condition holds in a frame. Adds a problem, with the frame's path and the name,
    /// for each value that cannot be read.
    bool holds(const FrameRef& frame, std::vector<tyktags::Problem>& problems);

    /// The value in the last frame of the name at `place` in names() of the condition; null if it
    /// was not read. The next call of holds() ends its life.
    const FrameValue* value(size_t place) const { return known_[place]; }

private:
    void read(size_t reader, const FrameRef& frame, std::vector<tyktags::Problem>& problems);

    const Condition& condition_;
    std::array<std::vector<size_t>, 2> places_;  ///< by reader
    std::array<FrameValueReader, 2> readers_;    ///< of stored values and of those of sources
    std::vector<FrameValue> values_;
    std::vector<const FrameValue*> known_;
};

}  // namespace tyktree
