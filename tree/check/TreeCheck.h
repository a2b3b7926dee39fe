// Checks whether a tree is complete and can be replayed, by the rules of Rules.h.
#pragma once

#include "tree/check/Finding.h"
#include "tree/check/TaskStatistics.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/OrderedWork.h"
#include "tree/read/TagCatalog.h"
#include "tree/read/TreeIndex.h"

#include <functional>
#include <string>

namespace tyktree {

struct DumpConfigFile;

struct CheckOptions {
    bool deep = false;    ///< also read contents: unreadable sectors, images of a single value
    Execution execution;  ///< for the frames of a task
    std::function<void(uint64_t done, uint64_t of)> progress;  ///< frames; may be empty
};

/// The extent of a check.
struct CheckTotals {
    uint64_t pipes = 0;
    uint64_t tasks = 0;
    uint64_t frames = 0;
    uint64_t files = 0;
    uint64_t bytes = 0;
    uint64_t parameterBytes = 0;  ///< of the files of tags that the table has
    uint64_t fieldBytes = 0;      ///< of these, those that lie in some field
};

/// Checks the selected part of a tree. Reports the index's own findings first, then task by task
/// those of each frame in order, then those that need the whole task (a tag that some frames do not
/// have, sizes unlike those of the other frames, the torn last frame). A finding of most frames of
/// a task is reported once for the task. Memory does not grow with the number of findings. If
/// `catalog` is empty, unknown tags are not reported, and sizes are compared with those of the
/// other frames only. Threads: the calling thread alone calls `sink` and `progress`. Errors:
/// std::bad_alloc, and exceptions of the sink.
CheckTotals checkTree(const TreeIndex& index, const FrameSelection& selection,
                      const TagCatalog& catalog, const CheckOptions& options, FindingSink& sink);

/// The cost of a frame by a dump configuration.
struct ConfigCost {
    uint64_t files = 0;
    uint64_t bytes = 0;   ///< of fixed-size values and the usual blocks, without images
    bool scene = false;   ///< the scene record's three files are written too (counted in `files`)
    bool tuning = false;  ///< the tuning copy is rewritten with every frame
    uint64_t blocks = 0;  ///< files of block tags, whose usual size is an estimate
};

/// Checks the dump configuration at `path` before it is pushed to a device, and returns the cost of
/// a frame. If `catalog` is empty, names, kinds and sizes are not checked. Threads: the calling
/// thread alone calls `sink`. Errors: std::bad_alloc, and exceptions of the sink.
ConfigCost checkConfig(const std::string& path, const TagCatalog& catalog, FindingSink& sink);

/// Checks a configuration that was read from a tree, of pipe `pipe`; there it may have no entries.
/// Threads and errors are the same.
void checkConfig(const DumpConfigFile& file, const std::string& path, int pipe,
                 const TagCatalog& catalog, FindingSink& sink);

}  // namespace tyktree
