// Records what a processor makes of replayed frames, through the library.
#pragma once

#include "core/PipelineSimulation.h"
#include "tools/camera/FrameClock.h"
#include "tools/edit/TuningCopies.h"
#include "tools/playback/ReplaySession.h"
#include "tools/processor/Processor.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tyksim {

/// Hands every frame to the processor and dumps the result into a device root, under the frame's
/// own request and sof ids, with the parameters that arrived or that the processor set.
class ProcessedRecording : public FrameTaker {
public:
    /// `processor` is open. `root` is the empty folder that becomes the device root, `shownRoot`
    /// what messages call it, `source` the pipe that is replayed as pipe `pipeId`, `replayRoot` the
    /// device's root for the replay, which is in force again after every frame. The references must
    /// outlive the object. Failure when the folders cannot be made.
    ProcessedRecording(Processor& processor, int pipeId, std::string root, std::string shownRoot,
                       const tyktree::TagCatalog& catalog, const tyktree::PipeEntry& source,
                       std::string replayRoot, tyktree::FindingSink& findings);

    /// In the processor's memory: a picture is not copied once more.
    uint8_t* imageRoom(uint64_t bytes) override;

    /// Only a frame that is `whole` is given to the processor. An error of the processor is a
    /// finding, and the next frame follows. Failure when the processor's process ends, and when the
    /// result is not recorded whole.
    void takeFrame(const tyktree::FrameRef& frame, const ReplayedFrame& files,
                   const Delivery& delivery, bool whole) override;

    /// Leaves beside the frames what the source has: dump configuration, tag table, tuning copies.
    void finish();

    uint64_t recorded() const { return recorded_; }  ///< frames
    uint64_t withheld() const { return withheld_; }  ///< frames that did not arrive whole

private:
    struct Arrived;
    void record(const tyktree::FrameRef& frame, const Arrived& arrived, const Processed& result);
    void enterTask(const tyktree::TaskEntry& task);
    void report(const tyktree::FrameRef& frame, const std::string& reason);

    Processor& processor_;
    std::string root_;
    std::string shownRoot_;
    const tyktree::TagCatalog& catalog_;
    const tyktree::PipeEntry& source_;
    std::string replayRoot_;
    tyktree::FindingSink& findings_;
    TuningCopies tuning_;
    uint8_t* pixels_ = nullptr;  ///< of the frame at hand, in the processor's memory
    std::unique_ptr<PipelineSimulation> recorder_;
    FrameClock clock_;
    const tyktree::TaskEntry* task_ = nullptr;
    uint64_t recorded_ = 0;
    uint64_t withheld_ = 0;
};

}  // namespace tyksim
