// What `tyksim info` prints of a tree, as text and as JSON.
#pragma once

#include "tree/check/TaskStatistics.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// One frame as far as its folder's listing tells.
struct ListedFrame {
    tyktree::FrameRef frame;
    tyktree::Geometry image;  ///< 0 by 0 where there is none
    size_t files = 0;
    uint64_t bytes = 0;
};

/// A task with those of its frames that were picked; there is at least one.
struct PickedTask {
    const tyktree::TaskEntry* task;
    std::vector<tyktree::FrameRef> frames;
};

struct InfoTotals {
    uint64_t frames = 0;
    uint64_t files = 0;
    uint64_t bytes = 0;
};

/// Takes what is in one tree, in the tree's order: pipes, in each its tasks, in each its frames.
/// Called from one thread.
class InfoReport {
public:
    virtual ~InfoReport() = default;
    virtual void beginTree(const std::string& path) = 0;
    virtual void beginPipe(const tyktree::PipeEntry& pipe) = 0;
    virtual void beginTask(const tyktree::TaskEntry& task) = 0;
    virtual void addFrame(const ListedFrame& frame) = 0;
    virtual void endTask(const PickedTask& task, const tyktree::TaskStatistics& statistics) = 0;
    virtual void endPipe(const tyktree::PipeEntry& pipe) = 0;
    virtual void endTree(const InfoTotals& totals) = 0;
};

/// Reports into `json`, which must outlive the object, or where it is null as text with the list
/// that `by`, the value of --by, asks for.
std::unique_ptr<InfoReport> makeInfoReport(JsonDocument* json, const std::string& by);

}  // namespace tyksim
