// Records what a processor makes of replayed frames, through the library.
#pragma once

#include "core/PipelineSimulation.h"
#include "tools/playback/Processor.h"
#include "tools/playback/ReplaySession.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tyksim {

/// Hands every frame to the processor and dumps the result into a device root, under the frame's
/// own request and sof ids, with the parameters that arrived or that the processor set.
class ProcessedRecording : public FrameTaker {
public:
    /// Opens the processor at `path`. `root` is the empty folder that becomes the device root,
    /// `source` the pipe that is replayed as pipe `pipeId`, `replayRoot` the device's root for the
    /// replay, which is in force again after every frame. The references must outlive the object.
    /// Failure as of Processor, and when the folders cannot be made.
    ProcessedRecording(const std::string& path, const std::vector<std::string>& options, int pipeId,
                       std::string root, const tyktree::TagCatalog& catalog,
                       const tyktree::PipeEntry& source, std::string replayRoot,
                       tyktree::FindingSink& findings);

    /// An error of the processor is a finding, and the next frame follows. Failure when the result
    /// cannot be written whole.
    void takeFrame(const tyktree::FrameRef& frame, const ReplayedFrame& files,
                   const Delivery& delivery) override;

    /// Leaves beside the frames what the source has: dump configuration, tag table, tuning copies.
    /// Returns how many frames were recorded.
    uint64_t finish();

private:
    struct Arrived;
    void record(const tyktree::FrameRef& frame, const Arrived& arrived, Processed result);
    void enterTask(const tyktree::TaskEntry& task);
    void installTuning(const uint8_t* table, size_t size);
    void expectWritten(uint64_t files, uint64_t bytes) const;
    void report(const tyktree::FrameRef& frame, const std::string& reason);

    Processor processor_;
    std::string processorPath_;
    std::string root_;
    const tyktree::TagCatalog& catalog_;
    const tyktree::PipeEntry& source_;
    std::string replayRoot_;
    tyktree::FindingSink& findings_;
    std::unique_ptr<PipelineSimulation> recorder_;
    const tyktree::TaskEntry* task_ = nullptr;
    uint64_t recorded_ = 0;
};

}  // namespace tyksim
