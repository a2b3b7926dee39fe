// Compares what a replay delivered with the files it came from, byte for byte.
#pragma once

#include "core/PipelineSimulation.h"
#include "host/ParamService.h"
#include "tools/Console.h"
#include "tools/FrameFiles.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyksim {

/// What one frame delivered.
struct Delivery {
    std::vector<tykhost::PublishedValue> values;  ///< in order of publication
    std::vector<tyk::Buffer*> images;             ///< in the order in which the pool gave them
};

/// Verifies frames right after their replay, while the queue still holds their blocks.
class FrameVerifier {
public:
    /// The references must outlive the object; the tag table is read from the service.
    FrameVerifier(PipelineSimulation& simulation, Entry entry, bool images, Findings& findings);

    /// Verifies the frame that was queued last. Differences become findings.
    void verify(const FrameFolder& frame, const Delivery& delivery);

    uint64_t comparedFiles() const { return comparedFiles_; }
    uint64_t comparedBytes() const { return comparedBytes_; }

private:
    void verifyParameter(const FrameFile& file);
    void verifyFixed(const std::string& path, const FrameFile& file, const tykhost::TagEntry& tag,
                     const tykhost::PublishedValue& value);
    void verifyBlock(const std::string& path, const FrameFile& file,
                     const tykhost::PublishedValue& value);
    void verifyOverride(uint32_t tag, const std::vector<uint8_t>& expected);
    void verifyScene();
    void verifySceneRecord(const tykhost::PublishedValue* value, int pipe);
    void verifyTuning();
    void expectValue(const tykhost::PublishedValue* value, const std::vector<uint8_t>& expected,
                     const std::string& what);
    void verifyImages();
    void verifyImage(const FrameFile& file, const tyk::Buffer& buffer);

    const tykhost::TagEntry* findTag(uint32_t tag) const;
    const tykhost::PublishedValue* take(int32_t pipe, uint32_t camera, uint32_t sof, uint32_t tag);
    const FrameFile* sceneParameterFile() const;
    uint32_t camera() const { return static_cast<uint32_t>(simulation_.camId); }
    void compare(const std::string& path, const void* data, uint64_t size);
    void report(const std::string& what, const std::string& finding);

    PipelineSimulation& simulation_;
    const Entry entry_;
    const bool images_;
    Findings& findings_;
    std::map<uint32_t, tykhost::TagEntry> tags_;
    uint64_t comparedFiles_ = 0;
    uint64_t comparedBytes_ = 0;

    // The frame at hand.
    const FrameFolder* frame_ = nullptr;
    const Delivery* delivery_ = nullptr;
    size_t nextValue_ = 0;  ///< in the delivery
    uint32_t lastSof_ = 0;  ///< sof id under which a folder replay publishes its records
};

}  // namespace tyksim
