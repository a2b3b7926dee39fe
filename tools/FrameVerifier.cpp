#include "tools/FrameVerifier.h"

#include "host/BufferPool.h"
#include "host/DeviceRoot.h"
#include "tools/Bytes.h"
#include "tools/Files.h"
#include "tools/SceneCheck.h"
#include "tools/SceneFields.h"

#include <algorithm>
#include <filesystem>

namespace tyksim {

namespace {

using tykhost::PublishedValue;
using tykhost::TagEntry;
using tykhost::TagKind;

/// The name table that a folder replay publishes: one entry, the tuning file's copy.
std::vector<uint8_t> expectedTuningTable() {
    std::string name = "mfnr5.2.xml";
    const std::string folder =
        tykhost::hostPath(text("/data/vendor/cameraserver/tykdump/pipe_", kSnapshotPipe));
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string found = entry->path().filename().string();
        if (entry->is_directory() || found.find("mfnr") == std::string::npos) continue;
        name = found;
        break;
    }
    const std::string first = "tyksimulation/" + name;
    std::vector<uint8_t> table(first.begin(), first.end());
    table.resize(kMfnrTableBytes);
    return table;
}

}  // namespace

FrameVerifier::FrameVerifier(PipelineSimulation& simulation, Entry entry, bool images,
                             Findings& findings)
    : simulation_(simulation), entry_(entry), images_(images), findings_(findings) {
    for (TagEntry& tag : tykhost::tagTable()) tags_.emplace(tag.id, std::move(tag));
}

void FrameVerifier::verify(const FrameFolder& frame, const Delivery& delivery) {
    frame_ = &frame;
    delivery_ = &delivery;
    nextValue_ = 0;
    lastSof_ = 0;
    for (const FrameFile& file : frame.files) {
        if (file.kind != FrameFile::Kind::parameter) continue;
        const bool scene = file.name.find(kSceneTagName) != std::string::npos;
        if (!scene) lastSof_ = file.tag.sofId;
        if (isReplayed(file, entry_)) verifyParameter(file);
    }
    if (entry_ == Entry::folder) {
        verifyOverride(kStreamSizeTag, packed(uint32_t{320}, uint32_t{240}));
        verifyOverride(kStreamQualityTag, packed(uint8_t{95}));
        verifyScene();
        verifyTuning();
    } else if (images_) {
        verifyImages();
    }
}

void FrameVerifier::verifyParameter(const FrameFile& file) {
    const std::string path = frame_->path + "/" + file.name;
    const TagEntry* const tag = findTag(file.tag.tag);
    if (!tag) {
        report(path, "its tag is not in the tag table, so the parameter-set service refused it");
        return;
    }
    const PublishedValue* const value =
        take(file.tag.pipe, file.tag.camId, file.tag.sofId, file.tag.tag);
    if (!value) {
        report(path, "did not arrive in the parameter-set service");
        return;
    }
    const bool block = tag->kind == TagKind::block;
    if (block != (file.tag.dumpType != 0)) {
        report(path, text("dump type ", file.tag.dumpType, " does not fit tag ", tag->name,
                          ", which is ", block ? "a block" : "of fixed size"));
    } else if (block) {
        verifyBlock(path, file, *value);
    } else {
        verifyFixed(path, file, *tag, *value);
    }
}

void FrameVerifier::verifyFixed(const std::string& path, const FrameFile& file, const TagEntry& tag,
                                const PublishedValue& value) {
    if (file.size != static_cast<uint64_t>(tag.size)) {
        report(path, text("expected ", tag.size, " bytes, the size of tag ", tag.name, ", found ",
                          file.size));
    }
    compare(path, value.bytes.data(), std::min<uint64_t>(file.size, value.bytes.size()));
}

void FrameVerifier::verifyBlock(const std::string& path, const FrameFile& file,
                                const PublishedValue& value) {
    // The address came through a service that keeps what it is given; only one that the frame's own
    // blocks have may be followed.
    const auto& blocks = simulation_.frameQueue.back().params;
    const bool known = std::any_of(blocks.begin(), blocks.end(), [&value](const auto& block) {
        return block && block.get() == value.block.data;
    });
    if (!known || value.block.size != file.size) {
        report(path, text("expected a block of ", file.size, " bytes, arrived ", value.block.size,
                          known ? "" : " of another frame"));
        return;
    }
    compare(path, value.block.data, value.block.size);
}

void FrameVerifier::verifyOverride(uint32_t tag, const std::vector<uint8_t>& expected) {
    if (!findTag(tag)) return;  // a table without the tag says that nobody needs it
    const PublishedValue* const value = take(1, camera(), 0, tag);
    expectValue(value, expected, text("the fixed override of tag ", tag));
}

void FrameVerifier::verifyScene() {
    const std::string path = frame_->path + "/" + kSceneXmlName;
    const bool there =
        std::any_of(frame_->files.begin(), frame_->files.end(),
                    [](const FrameFile& file) { return file.name == kSceneXmlName; });
    if (!there) {
        if (sceneParameterFile()) report(path, "expected the scene record's file, found none");
        return;
    }
    if (!findTag(kSceneTag)) {
        report(path, text("tag ", kSceneTag, " is not in the tag table, so no record arrived"));
        return;
    }
    const PublishedValue* const first = take(0, camera(), lastSof_, kSceneTag);
    const PublishedValue* const second = take(1, camera(), lastSof_, kSceneTag);
    verifySceneRecord(first, 0);
    // What goes for pipe 0 need not be said twice.
    if (!first || !second || first->bytes != second->bytes) verifySceneRecord(second, 1);
}

void FrameVerifier::verifySceneRecord(const PublishedValue* value, int pipe) {
    const std::string path = frame_->path + "/" + kSceneXmlName;
    if (!value || value->bytes.size() != kSceneRecordBytes) {
        report(path, text("the scene record did not arrive for pipe ", pipe));
        return;
    }
    std::vector<uint8_t> dumped;
    if (const FrameFile* const file = sceneParameterFile()) {
        dumped = readFile(frame_->path + "/" + file->name, kMaxFixedBytes);
        if (dumped.size() != kSceneRecordBytes) {
            report(frame_->path + "/" + file->name,
                   text("expected ", kSceneRecordBytes, " bytes, found ", dumped.size()));
            dumped.clear();
        }
    }
    for (const std::string& difference : compareSceneRecords(dumped, value->bytes)) {
        report(path, difference);
    }
    ++comparedFiles_;
    comparedBytes_ += value->bytes.size();
}

void FrameVerifier::verifyTuning() {
    if (!findTag(kMfnrTag)) return;
    const PublishedValue* const value = take(1, camera(), lastSof_, kMfnrTag);
    expectValue(value, expectedTuningTable(), text("the tuning file's entry, tag ", kMfnrTag));
}

void FrameVerifier::expectValue(const PublishedValue* value, const std::vector<uint8_t>& expected,
                                const std::string& what) {
    if (!value) {
        report(frame_->path, what + ": did not arrive");
    } else if (value->bytes != expected) {
        report(frame_->path, what + ": arrived with another value");
    }
}

void FrameVerifier::verifyImages() {
    size_t next = 0;
    for (const FrameFile& file : frame_->files) {
        // Every file that is no parameter file gets a buffer, whether it is an image or not.
        if (file.kind == FrameFile::Kind::parameter) continue;
        const size_t place = next++;
        if (file.kind != FrameFile::Kind::image) continue;
        if (place < delivery_->images.size()) {
            verifyImage(file, *delivery_->images[place]);
        } else {
            report(frame_->path + "/" + file.name, "arrived in no buffer of the pool");
        }
    }
}

void FrameVerifier::verifyImage(const FrameFile& file, const tyk::Buffer& buffer) {
    const std::string path = frame_->path + "/" + file.name;
    const tyk::ImageDescriptor& arrived = *buffer.image;
    if (arrived.width != file.image.width || arrived.height != file.image.height ||
        arrived.sofId != static_cast<uint32_t>(file.image.sofId) ||
        arrived.camId != static_cast<uint8_t>(file.image.camId) ||
        arrived.pipeId != static_cast<uint32_t>(simulation_.pipeId)) {
        report(path, text("arrived as ", arrived.width, "x", arrived.height, ", sof ",
                          arrived.sofId, ", camera ", +arrived.camId, ", pipe ", arrived.pipeId));
        return;
    }
    const uint64_t size =
        std::min({imageBytes(file.image), file.size, uint64_t{tykhost::bufferCapacity(&buffer)}});
    compare(path, arrived.data, size);
}

const TagEntry* FrameVerifier::findTag(uint32_t tag) const {
    const auto found = tags_.find(tag);
    return found == tags_.end() ? nullptr : &found->second;
}

/// The next publication, if it is the one under this key. One that is not stays, for the file that
/// it belongs to.
const PublishedValue* FrameVerifier::take(int32_t pipe, uint32_t camera, uint32_t sof,
                                          uint32_t tag) {
    if (nextValue_ == delivery_->values.size()) return nullptr;
    const PublishedValue& value = delivery_->values[nextValue_];
    if (!(value.key == tykhost::ParamKey{camera, pipe, sof, tag})) return nullptr;
    ++nextValue_;
    return &value;
}

/// The parameter file from which the scene record's files were made.
const FrameFile* FrameVerifier::sceneParameterFile() const {
    for (const FrameFile& file : frame_->files) {
        if (file.kind == FrameFile::Kind::parameter && file.tag.tag == kSceneTag &&
            file.tag.pipe == kSnapshotPipe && file.tag.dumpType == 0) {
            return &file;
        }
    }
    return nullptr;
}

void FrameVerifier::compare(const std::string& path, const void* data, uint64_t size) {
    const Comparison result = compareFile(path, data, size);
    ++comparedFiles_;
    comparedBytes_ += std::min(result.fileBytes, size);
    if (result.error != 0) {
        report(path, "cannot be read: " + systemReason(result.error));
    } else if (result.different) {
        report(path, text("differs from what arrived at offset ", *result.different));
    } else if (result.fileBytes < size) {
        report(path, text("expected ", size, " bytes, read ", result.fileBytes));
    }
}

void FrameVerifier::report(const std::string& what, const std::string& finding) {
    findings_.add(what + ": " + finding);
}

}  // namespace tyksim
