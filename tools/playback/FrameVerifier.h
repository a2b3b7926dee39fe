// Compares what a replay delivered with the files it came from, byte for byte.
#pragma once

#include "core/PipelineSimulation.h"
#include "host/ParamService.h"
#include "tree/Finding.h"
#include "tree/FrameListing.h"
#include "tree/TagCatalog.h"

#include <cstdint>
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

/// Verifies frames right after their replay, while the queue still holds their blocks.
class FrameVerifier {
public:
    /// The references must outlive the object; `catalog` is the table in force.
    FrameVerifier(PipelineSimulation& simulation, const tyktree::TagCatalog& catalog, Entry entry,
                  bool images, tyktree::FindingSink& findings);

    /// Verifies the frame that was queued last. Differences become findings.
    void verify(const ReplayedFrame& frame, const Delivery& delivery);

    uint64_t comparedFiles() const { return comparedFiles_; }
    uint64_t comparedBytes() const { return comparedBytes_; }

private:
    void verifyParameter(const tyktree::FileEntry& file);
    void verifyFixed(const tyktree::FileEntry& file, const tykhost::TagEntry& tag,
                     const tykhost::PublishedValue& value);
    void verifyBlock(const tyktree::FileEntry& file, const tykhost::PublishedValue& value);
    void verifyOverride(uint32_t tag, const void* bytes, size_t size);
    void verifyScene();
    void verifySceneRecord(const tykhost::PublishedValue* value, int pipe);
    void verifyTuning();
    void expectValue(const tykhost::PublishedValue* value, const std::vector<uint8_t>& expected,
                     const std::string& what);
    void verifyImages();
    void verifyImage(const tyktree::FileEntry& file, const tyk::Buffer& buffer);

    const tykhost::PublishedValue* take(int32_t pipe, uint32_t camera, uint32_t sof, uint32_t tag);
    uint32_t camera() const { return static_cast<uint32_t>(simulation_.camId); }
    void compare(const tyktree::FileEntry& file, const void* data, uint64_t size);
    void lost(const std::string& name, const std::string& expected, const std::string& found);
    void different(const std::string& name, const std::string& expected, const std::string& found);
    void report(tyktree::RuleId rule, const std::string& name, const std::string& expected,
                const std::string& found);

    PipelineSimulation& simulation_;
    const tyktree::TagCatalog& catalog_;
    const Entry entry_;
    const bool images_;
    tyktree::FindingSink& findings_;
    uint64_t comparedFiles_ = 0;
    uint64_t comparedBytes_ = 0;

    // The frame at hand.
    const ReplayedFrame* frame_ = nullptr;
    const Delivery* delivery_ = nullptr;
    size_t nextValue_ = 0;  ///< in the delivery
    uint32_t lastSof_ = 0;  ///< sof id under which a folder replay publishes its records
};

}  // namespace tyksim
