// Replays part of a tree through the library, frame by frame.
#pragma once

#include "core/PipelineSimulation.h"
#include "tools/console/LibraryLog.h"
#include "tools/edit/Edits.h"
#include "tools/edit/FrameOverlay.h"
#include "tools/playback/FrameVerifier.h"
#include "tools/playback/TemporaryRoot.h"
#include "tree/read/FrameSelection.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

struct SessionOptions {
    Entry entry = Entry::frame;
    int pipe = 1;               ///< id of the pipe to replay
    std::optional<int> camera;  ///< for a folder replay; none: the camera of each frame's files
    bool images = true;         ///< for a frame replay
    bool verify = false;
    int loops = 1;
    int logLevel = 0;
};

/// Takes every replayed frame while its blocks and images exist.
class FrameTaker {
public:
    virtual ~FrameTaker() = default;

    /// Returns the memory to which the verifier copies the `bytes` bytes of the frame's first image
    /// from the file, or null. If the frame is whole, the copy is complete before takeFrame().
    virtual uint8_t* imageRoom(uint64_t bytes) {
        static_cast<void>(bytes);
        return nullptr;
    }

    /// `whole`: the verifier found no problem (see FrameVerifier), or the session does not verify.
    /// May throw Interrupted; the session adds the state of the work.
    virtual void takeFrame(const tyktree::FrameRef& frame, const ReplayedFrame& files,
                           const Delivery& delivery, bool whole) = 0;
};

struct SessionTotals {
    uint64_t tasks = 0;
    uint64_t replayed = 0;
    uint64_t abandoned = 0;
    uint64_t files = 0;
    uint64_t bytes = 0;
    uint64_t promised = 0;  ///< values and images to verify
    uint64_t verified = 0;
    uint64_t verifiedBytes = 0;
};

/// Runs the library. Only one object may exist at a time, and one thread uses it.
class ReplaySession {
public:
    /// All frames must be of one pipe. The references must outlive the object. Sets the tag table
    /// and a temporary device root, so that nothing writes into the tree. Throws Failure when the
    /// temporary root cannot be made.
    ReplaySession(const SessionOptions& options, const tyktree::TreePath& tree,
                  const std::vector<tyktree::FrameRef>& frames, const tyktree::TagCatalog& catalog,
                  const Edits& edits, tyktree::FindingSink& findings);
    ~ReplaySession();
    ReplaySession(const ReplaySession&) = delete;
    ReplaySession& operator=(const ReplaySession&) = delete;

    /// Replays the frames; `taker` may be null. A failure of a frame is a finding, and the next
    /// frame follows. Throws Interrupted, with the state of the work, if a signal was noted.
    void run(FrameTaker* taker);

    const SessionTotals& totals() const { return totals_; }

    /// The root in which the library finds the tree. A taker that changes the device's root must
    /// restore it.
    const std::string& root() const { return root_.path(); }

private:
    void replayTask(size_t first, size_t last, FrameTaker* taker);
    void chooseFrames(size_t first, size_t last);
    void replayFrame(size_t index, FrameTaker* taker);
    void load(const ReplayedFrame& frame);
    std::vector<tyk::Buffer*> newBuffers(uint64_t handedOut) const;
    void giveBack(const std::vector<tyk::Buffer*>& buffers, const tyk::Buffer* queued);
    void retireFrames();
    void reportFailures(const ReplayedFrame& frame, const Delivery& delivery, bool queued);
    void report(tyktree::RuleId rule, const std::string& path, const tyktree::FramePlace& place,
                const std::string& expected, const std::string& found, const std::string& reason);

    const SessionOptions& options_;
    const std::vector<tyktree::FrameRef>& frames_;
    tyktree::FindingSink& findings_;
    TemporaryRoot root_;
    std::optional<FrameOverlay> overlay_;
    LibraryLog log_;
    PipelineSimulation* simulation_ = nullptr;
    std::optional<FrameVerifier> verifier_;
    tyktree::FrameListing listing_;
    SessionTotals totals_;
};

}  // namespace tyksim
