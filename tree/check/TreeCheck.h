// Is a tree whole and replayable? The rules of Rules.h held against frames, tasks and trees.
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
    bool deep = false;    ///< read contents: unreadable sectors, images of one single value
    Execution execution;  ///< over the frames of a task
    std::function<void(uint64_t done, uint64_t of)> progress;  ///< frames; may be empty
};

/// What was looked at.
struct CheckTotals {
    uint64_t pipes = 0;
    uint64_t tasks = 0;
    uint64_t frames = 0;
    uint64_t files = 0;
    uint64_t bytes = 0;
};

/// Checks the selected part of a tree: the index's own findings first, then task by task in order,
/// each task's frames in order, then what only the whole task tells (a tag that some frames lack,
/// sizes unlike the others', the torn last frame). What concerns most frames of a task is one
/// finding of the task. Memory does not grow with the number of findings. The calling thread gives
/// the sink its findings and calls `progress`. `catalog` may be empty: then unknown tags are no
/// finding, and sizes are held against the other frames' only.
CheckTotals checkTree(const TreeIndex& index, const FrameSelection& selection,
                      const TagCatalog& catalog, const CheckOptions& options, FindingSink& sink);

/// Checks a dump configuration before it is pushed to a device, and says what a frame will cost.
/// `catalog` may be empty: then names, kinds and sizes are no finding.
struct ConfigCost {
    uint64_t files = 0;
    uint64_t bytes = 0;   ///< of fixed-size values and the usual blocks; images come on top
    bool scene = false;   ///< the scene record's three files come on top (counted in `files`)
    bool tuning = false;  ///< the tuning copy is rewritten with every frame
    uint64_t blocks = 0;  ///< files whose size is only the usual one, of tags of kind block
};
ConfigCost checkConfig(const std::string& path, const TagCatalog& catalog, FindingSink& sink);

/// Checks the configuration of `pipe` that was read of a tree; it may have no entries there.
void checkConfig(const DumpConfigFile& file, const std::string& path, int pipe,
                 const TagCatalog& catalog, FindingSink& sink);

}  // namespace tyktree
