// Prints the results of `tyksim info`, as text or as JSON.
#pragma once

#include "tree/check/TaskStatistics.h"
#include "tree/read/FrameSelection.h"
#include "tree/read/TreeIndex.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// One frame, from the listing of its folder.
struct ListedFrame {
    tyktree::FrameRef frame;
    std::optional<tyktree::Geometry> image;  ///< of the first image; none without one
    size_t files = 0;
    uint64_t bytes = 0;
};

/// A task with its selected frames, at least one.
struct PickedTask {
    const tyktree::TaskEntry* task;
    std::vector<tyktree::FrameRef> frames;
};

struct InfoTotals {
    uint64_t frames = 0;
    uint64_t files = 0;
    uint64_t bytes = 0;
};

/// Takes the contents of one tree in order: pipes, in each its tasks, in each its frames. One
/// thread uses an object.
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

/// Makes a report into `json`, which must outlive the object, or as text if it is null, with the
/// list for `by`, the value of --by.
std::unique_ptr<InfoReport> makeInfoReport(JsonDocument* json, const std::string& by);

}  // namespace tyksim
