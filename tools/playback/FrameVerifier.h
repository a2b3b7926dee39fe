// Compares the values and images of a replay with their files, byte for byte.
#pragma once

#include "core/PipelineSimulation.h"
#include "host/ParamService.h"
#include "tree/check/Finding.h"
#include "tree/read/FrameListing.h"
#include "tree/read/SceneSources.h"
#include "tree/read/TagCatalog.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace tyksim {

/// The two ways to replay a frame folder.
enum class Entry { frame, folder };

/// The values and images that one frame delivered.
struct Delivery {
    std::vector<tykhost::PublishedValue> values;  ///< in order of publication
    std::vector<tyk::Buffer*> images;             ///< in the order of the pool's hand-outs
};

/// A frame as it was passed to the library.
struct ReplayedFrame {
    const tyktree::FrameListing& listing;
    std::vector<const tyktree::FileEntry*> files;  ///< files that the library reads, in its order
    std::string shownPath;                         ///< the frame's folder in messages
    tyktree::FramePlace place;
};

/// Whether `entry` publishes this parameter file: no file of an unsupported size, and in a folder
/// replay not the scene record's.
bool isReplayed(const tyktree::FileEntry& file, Entry entry);

/// Whether a parameter file has a size that the library does not replay.
bool hasImpossibleSize(const tyktree::FileEntry& file);

/// Returns memory for the bytes of an image, or null.
using ImageRoom = std::function<uint8_t*(uint64_t bytes)>;

/// Verifies frames directly after their replay, while the queue still holds their blocks. One
/// thread at a time uses an object.
class FrameVerifier {
public:
    /// The references must outlive the object; `catalog` is the current tag table.
    FrameVerifier(PipelineSimulation& simulation, const tyktree::TagCatalog& catalog, Entry entry,
                  bool images, tyktree::FindingSink& findings);

    /// Verifies the frame that was queued last: every value and image of its listing must have
    /// arrived, and nothing else. Each deviation is a finding. Returns whether all values of known
    /// tags, and the images, arrived as in the files. `imageRoom` may be empty; else it gives the
    /// memory to which the bytes of the first image are copied from the file.
    bool verify(const ReplayedFrame& frame, const Delivery& delivery, const ImageRoom& imageRoom);

    /// The number of values and images in the listings, and of those that were verified.
    uint64_t promised() const { return promised_; }
    uint64_t verified() const { return verified_; }
    uint64_t verifiedBytes() const { return verifiedBytes_; }

private:
    template <typename Verify>
    void verifyPromised(Verify verify);
    void verifyParameters();
    void verifyParameter(const tyktree::FileEntry& file);
    void verifyFixed(const tyktree::FileEntry& file, const tyktags::TagEntry& tag,
                     const tykhost::PublishedValue& value);
    void verifyBlock(const tyktree::FileEntry& file, const tykhost::PublishedValue& value);
    void verifyOverride(uint32_t tag, const void* bytes, size_t size);
    void verifyScene();
    void verifySceneRecord(const tykhost::PublishedValue* value, int pipe,
                           const tyktree::SceneSources& sources);
    void verifyTuning();
    void expectValue(const tykhost::PublishedValue* value, const std::vector<uint8_t>& expected,
                     const std::string& what);
    void verifyImages(const ImageRoom& imageRoom);
    void verifyImage(const tyktree::FileEntry& file, const tyk::Buffer& buffer,
                     const ImageRoom& imageRoom);

    const tykhost::PublishedValue* take(int32_t pipe, uint32_t camera, uint32_t sof, uint32_t tag);
    uint32_t camera() const { return static_cast<uint32_t>(simulation_.camId); }
    void compare(const tyktree::FileEntry& file, const void* data, uint64_t size,
                 uint8_t* room = nullptr);
    void lost(const std::string& name, const std::string& expected, const std::string& found,
              const std::string& reason = "");
    void different(const std::string& name, const std::string& expected, const std::string& found);
    void report(tyktree::RuleId rule, const std::string& name, const std::string& expected,
                const std::string& found, const std::string& reason);

    PipelineSimulation& simulation_;
    const tyktree::TagCatalog& catalog_;
    const Entry entry_;
    const bool images_;
    tyktree::FindingSink& findings_;
    uint64_t promised_ = 0;
    uint64_t verified_ = 0;
    uint64_t verifiedBytes_ = 0;
    uint64_t problems_ = 0;  ///< number of findings

    // The current frame.
    const ReplayedFrame* frame_ = nullptr;
    const Delivery* delivery_ = nullptr;
    size_t nextValue_ = 0;  ///< index in the delivery
    bool whole_ = true;     ///< no value or image is missing or different so far
    uint32_t lastSof_ = 0;  ///< sof id under which a folder replay publishes its records
};

}  // namespace tyksim
