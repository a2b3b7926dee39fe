#include "tools/playback/FrameVerifier.h"

#include "core/Limits.h"
#include "core/TreeNames.h"
#include "host/BufferPool.h"
#include "records/MfnrTuning.h"
#include "replay/FixedOverrides.h"
#include "tools/console/Console.h"
#include "tools/playback/SceneDifferences.h"
#include "tree/read/RegularFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace tyksim {

namespace {

using tykhost::PublishedValue;
using tyktags::TagEntry;
using tyktags::TagKind;
using tyktree::FileEntry;
using tyktree::RuleId;

bool isSceneParameter(const FileEntry& file) {
    return file.name.find(kSceneTagName) != std::string_view::npos;
}

/// The name table that a folder replay publishes: one entry with the tuning copy.
std::vector<uint8_t> expectedTuningTable(PipelineSimulation& simulation) {
    std::string name = kMfnrDefaultCopyName;
    std::vector<std::string> names;
    simulation.getSubFiles(pipeFolderPath(kDumpRoot, kMfnrCopyPipe).c_str(), names);
    const auto found = std::find_if(names.begin(), names.end(), isMfnrCopyName);
    if (found != names.end()) name = *found;
    const std::string first = kMfnrReplayPrefix + name;
    std::vector<uint8_t> table(first.begin(), first.end());
    table.resize(kMfnrTableBytes);
    return table;
}

/// The system's reason why a file cannot be read; "" if there is none.
std::string reasonOf(const tyktree::RegularFile& file) {
    if (file.status().ok() || file.status().problem().reason == tyktree::kNotRegular) return "";
    return file.status().problem().reason;
}

/// What a replay reads of the image file.
uint64_t replayedBytes(const ImageFileName& image) {
    return static_cast<uint64_t>(std::max(0, nv21Bytes(image.width, image.height)));
}

}  // namespace

bool hasImpossibleSize(const FileEntry& file) {
    const int32_t size = file.librarySize();
    return !file.regular() || size <= 0 ||
           (file.parameter.dumpType == kFixedSizeDump && size > kMaxFixedBytes);
}

bool isReplayed(const FileEntry& file, Entry entry) {
    if (file.kind != FileEntry::Kind::kParameter) return false;
    if (entry == Entry::frame) return true;
    return !isSceneParameter(file) && !hasImpossibleSize(file);
}

FrameVerifier::FrameVerifier(PipelineSimulation& simulation, const tyktree::TagCatalog& catalog,
                             Entry entry, bool images, tyktree::FindingSink& findings)
    : simulation_(simulation),
      catalog_(catalog),
      entry_(entry),
      images_(images),
      findings_(findings) {}

bool FrameVerifier::verify(const ReplayedFrame& frame, const Delivery& delivery,
                           const ImageRoom& imageRoom) {
    frame_ = &frame;
    delivery_ = &delivery;
    nextValue_ = 0;
    whole_ = frame.listing.status().ok();  // the session reports an error
    lastSof_ = 0;
    verifyParameters();
    if (entry_ == Entry::folder) {
        verifyOverride(kOverrideSizeTag, kOverrideSize.data(), sizeof(kOverrideSize));
        verifyOverride(kOverrideByteTag, &kOverrideByte, sizeof(kOverrideByte));
        verifyScene();
        verifyTuning();
    } else if (images_) {
        verifyImages(imageRoom);
    }
    if (const size_t more = delivery.values.size() - nextValue_) {
        different("", "no value but those of the frame's files", fmt::format("{} more", more));
    }
    return whole_;
}

/// Counts one value or image of the listing, and counts it as verified if `verify` finds no
/// problem.
template <typename Verify>
void FrameVerifier::verifyPromised(Verify verify) {
    const uint64_t before = problems_;
    verify();
    ++promised_;
    if (problems_ == before) ++verified_;
}

void FrameVerifier::verifyParameters() {
    for (const FileEntry* const file : frame_->files) {
        if (file->kind != FileEntry::Kind::kParameter) continue;
        if (!isSceneParameter(*file)) lastSof_ = static_cast<uint32_t>(file->parameter.sofId);
        if (isReplayed(*file, entry_)) verifyPromised([&] { verifyParameter(*file); });
    }
}

void FrameVerifier::verifyParameter(const FileEntry& file) {
    const std::string name(file.name);
    const ParamFileName& parsed = file.parameter;
    const TagEntry* const tag = catalog_.byName(parsed.tagName);
    if (!tag) {
        // The frame still counts as complete, because the value of an unknown tag has no use.
        report(RuleId::kReplayLost, name, "a tag of the tag table",
               "one that the parameter-set service refused", "");
        return;
    }
    const PublishedValue* const value = take(parsed.pipe, static_cast<uint32_t>(parsed.camId),
                                             static_cast<uint32_t>(parsed.sofId), tag->id);
    if (!value) {
        lost(name, "its value in the parameter-set service", "none");
        return;
    }
    const bool block = tag->kind == TagKind::block;
    if (block != (parsed.dumpType != kFixedSizeDump)) {
        different(name, fmt::format("a dump type for {}", block ? "a block" : "a fixed-size value"),
                  fmt::to_string(parsed.dumpType));
    } else if (block) {
        verifyBlock(file, *value);
    } else {
        verifyFixed(file, *tag, *value);
    }
}

void FrameVerifier::verifyFixed(const FileEntry& file, const TagEntry& tag,
                                const PublishedValue& value) {
    if (file.bytes != static_cast<uint64_t>(tag.size)) {
        different(std::string(file.name),
                  fmt::format("{} bytes, the size of tag {}", tag.size, tag.name),
                  fmt::to_string(file.bytes));
    }
    const auto size = static_cast<uint64_t>(std::max(0, file.librarySize()));
    compare(file, value.bytes.data(), std::min<uint64_t>(size, value.bytes.size()));
}

void FrameVerifier::verifyBlock(const FileEntry& file, const PublishedValue& value) {
    // The address may be stale or invalid, because the service stores any address. Only one of the
    // frame's own blocks may be dereferenced.
    const auto& blocks = simulation_.frameQueue.back().params;
    const bool known = std::any_of(blocks.begin(), blocks.end(), [&value](const auto& block) {
        return block && block.get() == value.block.data;
    });
    if (!known || value.block.size != file.bytes) {
        different(std::string(file.name), fmt::format("a block of {} bytes", file.bytes),
                  fmt::format("{}{}", value.block.size, known ? "" : " of another frame"));
        return;
    }
    compare(file, value.block.data, value.block.size);
}

void FrameVerifier::verifyOverride(uint32_t tag, const void* bytes, size_t size) {
    if (!catalog_.byId(tag)) return;  // without the tag in the table, the service refuses the value
    const PublishedValue* const value = take(kOverridePipe, camera(), kOverrideSofId, tag);
    const auto* const first = static_cast<const uint8_t*>(bytes);
    expectValue(value, {first, first + size}, fmt::format("the fixed value of tag {}", tag));
}

void FrameVerifier::verifyScene() {
    const bool there =
        std::any_of(frame_->files.begin(), frame_->files.end(),
                    [](const FileEntry* file) { return file->kind == FileEntry::Kind::kSceneXml; });
    if (!there) return;  // the tree's check reports a missing file
    if (!catalog_.byId(kSceneTag)) {
        lost(kSceneXmlName, fmt::format("tag {} in the tag table", kSceneTag), "none");
        return;
    }
    const PublishedValue* const first = take(0, camera(), lastSof_, kSceneTag);
    const PublishedValue* const second = take(1, camera(), lastSof_, kSceneTag);
    verifyPromised([&] {
        const tyktree::SceneSources sources = readScene(frame_->listing);
        verifySceneRecord(first, 0, sources);
        // A difference that both pipes share is reported once, for pipe 0.
        if (!first || !second || first->bytes != second->bytes) {
            verifySceneRecord(second, 1, sources);
        }
    });
}

/// Compares a record with the dumped one, which shows edits of the XML file, and with the files
/// from which it is made.
void FrameVerifier::verifySceneRecord(const PublishedValue* value, int pipe,
                                      const tyktree::SceneSources& sources) {
    if (!value || value->bytes.size() != static_cast<size_t>(kSceneRecordBytes)) {
        lost(kSceneXmlName, fmt::format("the scene record for pipe {}", pipe), "none");
        return;
    }
    if (!sources.fromFiles) {
        lost(kSceneXmlName, "readable files to compare with the scene record that arrived",
             "unreadable files");
        return;
    }
    tyktree::SceneRecord arrived;
    std::copy(value->bytes.begin(), value->bytes.end(), arrived.bytes.begin());
    const auto found = sceneDifferences(sources.fromParameter, arrived);
    for (const SceneDifference& difference : found) {
        different(kSceneXmlName, difference.expected, difference.found);
    }
    const auto& files = sources.fromFiles->bytes;
    const auto other = std::mismatch(files.begin(), files.end(), arrived.bytes.begin()).first;
    if (found.empty() && other != files.end()) {
        different(kSceneXmlName, "the scene record of its files",
                  fmt::format("another from offset {} on", other - files.begin()));
    }
    verifiedBytes_ += value->bytes.size();
}

void FrameVerifier::verifyTuning() {
    if (!catalog_.byId(kMfnrTag)) return;
    const PublishedValue* const value = take(kMfnrCopyPipe, camera(), lastSof_, kMfnrTag);
    expectValue(value, expectedTuningTable(simulation_),
                fmt::format("the tuning file's entry, tag {}", kMfnrTag));
}

void FrameVerifier::expectValue(const PublishedValue* value, const std::vector<uint8_t>& expected,
                                const std::string& what) {
    if (!value) {
        lost("", what, "none");
    } else if (value->bytes != expected) {
        different("", what, "another value");
    }
}

void FrameVerifier::verifyImages(const ImageRoom& imageRoom) {
    size_t next = 0;
    bool first = true;
    for (const FileEntry* const file : frame_->files) {
        // Every file that is not a parameter file gets a buffer, even if it is not an image.
        if (file->kind == FileEntry::Kind::kParameter) continue;
        const size_t place = next++;
        if (file->kind != FileEntry::Kind::kImage) continue;
        verifyPromised([&] {
            if (place < delivery_->images.size()) {
                verifyImage(*file, *delivery_->images[place], first ? imageRoom : ImageRoom());
            } else {
                lost(std::string(file->name), "a buffer of the pool", "none");
            }
        });
        first = false;
    }
    if (delivery_->images.size() > next) {
        different("", fmt::format("a buffer for each of {} files", next),
                  fmt::format("{} buffers", delivery_->images.size()));
    }
}

void FrameVerifier::verifyImage(const FileEntry& file, const tyk::Buffer& buffer,
                                const ImageRoom& imageRoom) {
    const tyk::ImageDescriptor& arrived = *buffer.image;
    if (arrived.width != file.image.width || arrived.height != file.image.height ||
        arrived.sofId != static_cast<uint32_t>(file.image.sofId) ||
        arrived.camId != static_cast<uint8_t>(file.image.camId) ||
        arrived.pipeId != static_cast<uint32_t>(simulation_.pipeId)) {
        different(std::string(file.name), "the image that the name says",
                  fmt::format("{}x{}, sof {}, camera {}, pipe {}", arrived.width, arrived.height,
                              arrived.sofId, +arrived.camId, arrived.pipeId));
        return;
    }
    const uint64_t expected = replayedBytes(file.image);
    if (file.bytes != expected) {
        different(std::string(file.name),
                  fmt::format("{} bytes for {}x{}", expected, file.image.width, file.image.height),
                  fmt::to_string(file.bytes));
    }
    const uint64_t size =
        std::min({expected, file.bytes, uint64_t{tykhost::bufferCapacity(&buffer)}});
    compare(file, arrived.data, size, imageRoom ? imageRoom(size) : nullptr);
}

/// Returns and consumes the next publication if it has this key; else it stays for its own file.
const PublishedValue* FrameVerifier::take(int32_t pipe, uint32_t camera, uint32_t sof,
                                          uint32_t tag) {
    if (nextValue_ == delivery_->values.size()) return nullptr;
    const PublishedValue& value = delivery_->values[nextValue_];
    if (!(value.key == tykhost::ParamKey{camera, pipe, sof, tag})) return nullptr;
    ++nextValue_;
    return &value;
}

/// Compares `size` bytes at `data` with the beginning of the file, and copies the file's bytes to
/// `room` unless it is null.
void FrameVerifier::compare(const FileEntry& file, const void* data, uint64_t size, uint8_t* room) {
    const std::string name(file.name);
    tyktree::RegularFile input(frame_->listing.path() + "/" + name);
    if (!input.status().ok()) {
        lost(name, "its bytes", "a file that cannot be opened", reasonOf(input));
        return;
    }
    static thread_local std::array<uint8_t, size_t{256} * 1024> piece;
    const auto* const bytes = static_cast<const uint8_t*>(data);
    uint64_t at = 0;
    while (at < size) {
        const auto wanted = static_cast<size_t>(std::min<uint64_t>(piece.size(), size - at));
        uint8_t* const begin = room ? room + at : piece.data();
        const size_t count = input.read(begin, wanted);
        if (std::memcmp(begin, bytes + at, count) != 0) {
            const auto* const first = std::mismatch(begin, begin + count, bytes + at).first;
            different(
                name, "the file's bytes",
                fmt::format("others from offset {} on", at + static_cast<uint64_t>(first - begin)));
            break;
        }
        at += count;
        if (count < wanted) {
            lost(name, fmt::format("{} bytes", size), fmt::format("only {} that can be read", at),
                 reasonOf(input));
            break;
        }
    }
    verifiedBytes_ += at;
}

void FrameVerifier::lost(const std::string& name, const std::string& expected,
                         const std::string& found, const std::string& reason) {
    whole_ = false;
    report(RuleId::kReplayLost, name, expected, found, reason);
}

void FrameVerifier::different(const std::string& name, const std::string& expected,
                              const std::string& found) {
    whole_ = false;
    report(RuleId::kReplayDifferent, name, expected, found, "");
}

void FrameVerifier::report(RuleId rule, const std::string& name, const std::string& expected,
                           const std::string& found, const std::string& reason) {
    ++problems_;
    const std::string path = name.empty() ? frame_->shownPath : frame_->shownPath + "/" + name;
    findings_.add(makeFinding(rule, frame_->place, {path, expected, found, reason}));
}

}  // namespace tyksim
