#include "tools/playback/ProcessedRecording.h"

#include "dump/TreeNames.h"
#include "host/BufferPool.h"
#include "host/DeviceRoot.h"
#include "records/MfnrTuning.h"
#include "tools/output/CloneFile.h"
#include "tools/output/Console.h"
#include "tools/output/Files.h"
#include "tree/Escape.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;

/// Gives the device's root back to the replay.
class RootChange {
public:
    RootChange(const std::string& now, const std::string& after) : after_(after) {
        tykhost::setDeviceRoot(now);
    }
    ~RootChange() { tykhost::setDeviceRoot(after_); }
    RootChange(const RootChange&) = delete;
    RootChange& operator=(const RootChange&) = delete;

private:
    const std::string& after_;
};

/// The buffer that the frame's image was read into; null where it has none.
const tyk::Buffer* imageBuffer(const ReplayedFrame& files, const Delivery& delivery) {
    size_t next = 0;
    for (const FileEntry* const file : files.files) {
        if (file->kind == FileEntry::Kind::kParameter) continue;
        const size_t place = next++;
        if (file->kind != FileEntry::Kind::kImage || place >= delivery.images.size()) continue;
        return delivery.images[place];
    }
    return nullptr;
}

}  // namespace

/// A frame as the processor's interface has it.
struct ProcessedRecording::Arrived {
    tyksim_frame frame{};
    tyksim_picture picture{};
    std::vector<tyksim_parameter> parameters;

    Arrived(const FrameRef& ref, const ReplayedFrame& files, const Delivery& delivery,
            const tyktree::TagCatalog& catalog, int pipe) {
        const tyktree::FrameFolderName& name = ref.frame->parsed;
        frame.request = name.requestId;
        frame.sof = name.sofId;
        frame.pipe = pipe;
        frame.task = ref.task->position;
        frame.position = ref.frame->position;
        for (const tykhost::PublishedValue& value : delivery.values) addParameter(value, catalog);
        if (!parameters.empty()) frame.camera = static_cast<int32_t>(parameters[0].camera);
        if (const tyk::Buffer* const buffer = imageBuffer(files, delivery)) setPicture(*buffer);
        frame.parameters = parameters.data();
        frame.parameter_count = parameters.size();
    }
    Arrived(const Arrived&) = delete;
    Arrived& operator=(const Arrived&) = delete;

private:
    void addParameter(const tykhost::PublishedValue& value, const tyktree::TagCatalog& catalog) {
        const tykhost::TagEntry* const tag = catalog.byId(value.key.tag);
        const bool block = value.kind == tykhost::TagKind::block;
        parameters.push_back({value.key.tag, tag ? tag->name.c_str() : "", value.key.camId,
                              value.key.pipe, value.key.sofId, block ? 1 : 0,
                              block ? value.block.data : value.bytes.data(),
                              block ? value.block.size : value.bytes.size()});
    }

    void setPicture(const tyk::Buffer& buffer) {
        const tyk::ImageDescriptor& image = *buffer.image;
        const int bytes = nv21Bytes(image.width, image.height);
        if (image.width < 1 || image.height < 1 || bytes < 1) return;
        const size_t capacity = tykhost::bufferCapacity(&buffer);
        picture = {static_cast<const uint8_t*>(image.data),
                   std::min(static_cast<size_t>(bytes), capacity), image.width, image.height,
                   image.width};
        frame.picture = &picture;
        frame.camera = image.camId;
    }
};

ProcessedRecording::ProcessedRecording(const std::string& path,
                                       const std::vector<std::string>& options, int pipeId,
                                       std::string root, const tyktree::TagCatalog& catalog,
                                       const tyktree::PipeEntry& source, std::string replayRoot,
                                       tyktree::FindingSink& findings)
    : processor_(path, options),
      processorPath_(path),
      root_(std::move(root)),
      catalog_(catalog),
      source_(source),
      replayRoot_(std::move(replayRoot)),
      findings_(findings) {
    const std::string folder = pipeFolderPath(kDumpRoot, pipeId);
    makeFolders(root_ + folder);
    makeFolders(root_ + pipeFolderPath(kDumpRoot, kMfnrCopyPipe));
    // Not the manager's object, which is replaying. What init() would prepare is the service's
    // tables, which the replay has prepared, and a list of tags, which each frame brings along.
    recorder_ = std::make_unique<PipelineSimulation>(folder.c_str(), pipeId);
    recorder_->initialised = true;
}

void ProcessedRecording::takeFrame(const FrameRef& frame, const ReplayedFrame& files,
                                   const Delivery& delivery) {
    const Arrived arrived(frame, files, delivery, catalog_, recorder_->pipeId);
    Processed result = processor_.process(arrived.frame);
    if (!result.error.empty()) {
        report(frame, result.error);
    } else if (!result.picture) {
        printNote(tyktree::escaped(frame.path()) +
                  ": the processor handed back no picture; the frame is not recorded");
    } else {
        record(frame, arrived, std::move(result));
    }
}

void ProcessedRecording::record(const FrameRef& frame, const Arrived& arrived, Processed result) {
    const RootChange root(root_, replayRoot_);
    enterTask(*frame.task);
    recorder_->dumpTagList.clear();
    uint64_t bytes = 0;
    for (const tyksim_parameter& parameter : arrived.parameters) {
        const auto set = result.parameters.find(parameter.tag);
        const bool changed = set != result.parameters.end();
        const void* const data = changed ? set->second.data() : parameter.data;
        const size_t size = changed ? set->second.size() : parameter.size;
        tykhost::setLiveValue(parameter.camera, parameter.tag, data, size, parameter.pipe_type);
        recorder_->dumpTagList.emplace_back(
            parameter.name, PipelineSimulation::tagInfo{
                                parameter.tag, parameter.pipe_type, parameter.camera, parameter.sof,
                                parameter.is_block != 0 ? kBlockDump : kFixedSizeDump});
        if (parameter.tag == kMfnrTag) installTuning(static_cast<const uint8_t*>(data), size);
        bytes += size;
    }
    recorder_->dumpParam(arrived.frame.request, arrived.frame.sof, arrived.frame.camera);
    ProcessedPicture& picture = *result.picture;
    recorder_->dumpNV21(picture.bytes.data(), picture.width, picture.height, arrived.frame.sof,
                        arrived.frame.camera);
    bytes += static_cast<uint64_t>(nv21Bytes(picture.width, picture.height));
    expectWritten(arrived.parameters.size() + 1, bytes);
    ++recorded_;
}

/// Every task of the source becomes a task of its own.
void ProcessedRecording::enterTask(const tyktree::TaskEntry& task) {
    if (task_ == &task) return;
    task_ = &task;
    recorder_->taskIndex = task.parsed ? task.parsed->taskIndex : 0;
    recorder_->start();
}

/// Puts the source's tuning copy where the library will look for the file that it copies: a name of
/// the table, in the firmware folder.
void ProcessedRecording::installTuning(const uint8_t* table, size_t size) {
    for (size_t at = 0; at + kMfnrNameBytes <= size; at += kMfnrNameBytes) {
        const auto* const entry = reinterpret_cast<const char*>(table + at);
        const std::string name(entry, strnlen(entry, kMfnrNameBytes));
        if (name.empty()) return;
        for (const MfnrVersion& version : kMfnrVersions) {
            const std::string target = root_ + kFirmwareFolder + name;
            const bool wanted = name.find(version.key) != std::string::npos &&
                                name.find('/') == std::string::npos && !isThere(target);
            for (const tyktree::SideFile& side : source_.tuningCopies) {
                if (!wanted || side.name != version.copyName || !side.regular) continue;
                makeFolders(root_ + kFirmwareFolder);
                cloneFile(source_.path + "/" + side.name, target);
            }
        }
    }
}

/// The library tells nobody about a write that failed; the files tell.
void ProcessedRecording::expectWritten(uint64_t files, uint64_t bytes) const {
    tyktree::FrameListing written;
    const std::string folder = tykhost::hostPath(recorder_->currentFramePath);
    static_cast<void>(written.read(folder));
    uint64_t foundFiles = 0, foundBytes = 0;
    for (const FileEntry& file : written.files()) {
        const bool counts =
            file.kind == FileEntry::Kind::kParameter || file.kind == FileEntry::Kind::kImage;
        if (!counts) continue;
        ++foundFiles;
        foundBytes += file.bytes;
    }
    if (foundFiles == files && foundBytes == bytes) return;
    throw Failure(text(tyktree::escaped(folder), ": expected ", bytes, " bytes in ", files,
                       " files, found ", foundBytes, " in ", foundFiles,
                       ": the system did not take all of it; is there room?"));
}

uint64_t ProcessedRecording::finish() {
    if (catalog_.source() != tyktree::TagCatalog::Source::kDerived) {
        std::string error;
        if (!tykhost::writeTagTable(tyktree::tagTablePath(root_), catalog_.tags(), error)) {
            throw Failure(error);
        }
    }
    const std::string dumpRoot = root_ + kDumpRoot;
    if (!source_.configPath.empty()) {
        cloneFile(source_.configPath, configFilePath(dumpRoot.c_str(), recorder_->pipeId));
    }
    for (const tyktree::SideFile& side : source_.tuningCopies) {
        const std::string target =
            pipeFolderPath(dumpRoot.c_str(), recorder_->pipeId) + "/" + side.name;
        if (side.regular && !isThere(target)) cloneFile(source_.path + "/" + side.name, target);
    }
    return recorded_;
}

void ProcessedRecording::report(const FrameRef& frame, const std::string& reason) {
    findings_.add({tyktree::RuleId::kReplayFailure, frame.path(), frame.place(),
                   "a frame that " + processorPath_ + " processes", "an error", reason, ""});
}

}  // namespace tyksim
