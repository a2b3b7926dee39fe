// What reading a tree meets that is not as a recording makes it.
//
// Threads: a value is used by one thread at a time.
#pragma once

#include "tags/Problem.h"

#include <cstdint>
#include <optional>

namespace tyktree {

using tyktags::Problem;
using tyktags::Result;
using tyktags::Status;

/// Where in a tree a problem belongs. Positions count from 1, as `info` prints them.
struct FramePlace {
    std::optional<int> pipe;  ///< pipe id; none where the tree does not say
    uint32_t task = 0;        ///< position of the task within its pipe; 0: of no task
    uint32_t frame = 0;       ///< position of the frame within its task; 0: of no frame
};

/// What a problem is about. The checks have a rule for each (Finding.cpp).
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
