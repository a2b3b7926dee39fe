// Records the results of a processor for replayed frames, through the library.
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

/// Passes every frame to the processor and dumps the result into a device root, under the frame's
/// own request and sof ids, with the parameters that arrived or that the processor set. One thread
/// at a time uses an object.
class ProcessedRecording : public FrameTaker {
public:
    /// `processor` must be open. `root` is the empty folder that becomes the device root,
    /// `shownRoot` its name in messages, `source` the pipe that is replayed as pipe `pipeId`,
    /// `replayRoot` the device's root for the replay, which is restored after every frame. The
    /// references must outlive the object. Throws Failure when the folders cannot be made.
    ProcessedRecording(Processor& processor, int pipeId, std::string root, std::string shownRoot,
                       const tyktree::TagCatalog& catalog, const tyktree::PipeEntry& source,
                       std::string replayRoot, tyktree::FindingSink& findings);

    /// Memory of the processor, so that the picture needs no further copy.
    uint8_t* imageRoom(uint64_t bytes) override;

    /// Passes only a frame that is `whole` to the processor. An error of the processor is a
    /// finding, and the next frame follows. Throws Failure when the processor's process ends, and
    /// when the result is not recorded completely.
    void takeFrame(const tyktree::FrameRef& frame, const ReplayedFrame& files,
                   const Delivery& delivery, bool whole) override;

    /// Copies the source's dump configuration, tag table and tuning copies to the recording.
    void finish();

    uint64_t recorded() const { return recorded_; }  ///< frames
    uint64_t withheld() const { return withheld_; }  ///< frames that did not arrive completely

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
    uint8_t* pixels_ = nullptr;  ///< of the current frame, in the processor's memory
    std::unique_ptr<PipelineSimulation> recorder_;
    FrameClock clock_;
    const tyktree::TaskEntry* task_ = nullptr;
    uint64_t recorded_ = 0;
    uint64_t withheld_ = 0;
};

}  // namespace tyksim
