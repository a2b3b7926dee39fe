// Problems of reading a tree: deviations from what a recording makes.
//
// Threads: one thread at a time uses a value.
#pragma once

#include "tags/Problem.h"

#include <cstdint>
#include <optional>

namespace tyktree {

using tyktags::Problem;
using tyktags::Result;
using tyktags::Status;

/// The place of a problem in a tree. Positions count from 1, as `info` prints them.
struct FramePlace {
    std::optional<int> pipe;  ///< pipe id; none if unknown
    uint32_t task = 0;        ///< position of the task within its pipe; 0: no task
    uint32_t frame = 0;       ///< position of the frame within its task; 0: no frame
};

/// The kinds of problems. The checks have a rule for each (Finding.cpp).
enum class ProblemKind : uint8_t {
    kFolderUnlisted,
    kEntryTypeUnknown,
    kLinkedFolder,
    kNotAFolder,
    kForeignFile,
    kForeignFolder,
    kNoFrames,
    kFrameName,
    kFrameOrder,
    kFrameRepeated,
    kTaskName,
    kNameTime,
};

/// A problem of a tree's file or folder.
struct TreeProblem : Problem {
    ProblemKind kind;
    FramePlace place;
};

}  // namespace tyktree
