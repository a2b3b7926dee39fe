// Compares what a replay delivered with the files it came from, byte for byte.
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

/// What one frame delivered.
struct Delivery {
    std::vector<tykhost::PublishedValue> values;  ///< in order of publication
    std::vector<tyk::Buffer*> images;             ///< in the order in which the pool gave them
};

/// A frame as it was handed to the library.
struct ReplayedFrame {
    const tyktree::FrameListing& listing;
    std::vector<const tyktree::FileEntry*> files;  ///< those the library takes, in its order
    std::string shownPath;                         ///< the frame's folder for findings
    tyktree::FramePlace place;
};

/// Whether `entry` hands this parameter file on to the parameter-set service: not one of a size
/// that the library does not carry, and through the folder entry not the scene record's.
bool isReplayed(const tyktree::FileEntry& file, Entry entry);

/// Whether a parameter file has a size that the library does not replay.
bool hasImpossibleSize(const tyktree::FileEntry& file);

/// Gives room for the bytes of an image.
using ImageRoom = std::function<uint8_t*(uint64_t bytes)>;

/// Verifies frames right after their replay, while the queue still holds their blocks.
class FrameVerifier {
public:
    /// The references must outlive the object; `catalog` is the table in force.
    FrameVerifier(PipelineSimulation& simulation, const tyktree::TagCatalog& catalog, Entry entry,
                  bool images, tyktree::FindingSink& findings);

    /// Verifies the frame that was queued last: everything that its listing promises, and that
    /// nothing else arrived. Each of both that is not verified is a finding. Returns whether all
    /// that the tag table knows arrived as the files hold it. `imageRoom` may be empty, or gives
    /// the place where the bytes of the first image are left as they are read; null for nowhere.
    bool verify(const ReplayedFrame& frame, const Delivery& delivery, const ImageRoom& imageRoom);

    /// Values and images that the listings promised, and those of them that were verified.
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
    uint64_t problems_ = 0;  ///< findings so far

    // The frame at hand.
    const ReplayedFrame* frame_ = nullptr;
    const Delivery* delivery_ = nullptr;
    size_t nextValue_ = 0;  ///< in the delivery
    bool whole_ = true;     ///< nothing was lost or different so far
    uint32_t lastSof_ = 0;  ///< sof id under which a folder replay publishes its records
};

}  // namespace tyksim
