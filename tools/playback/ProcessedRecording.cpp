#include "tools/playback/ProcessedRecording.h"

#include "core/TreeNames.h"
#include "host/DeviceRoot.h"
#include "records/MfnrTuning.h"
#include "tools/camera/DumpCheck.h"
#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/files/CloneFile.h"
#include "tools/files/Files.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FileEntry;
using tyktree::FrameRef;

/// Sets the device's root, and restores it for the replay.
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

/// Ends the run if a frame is not recorded completely.
class FirstFindingEnds : public tyktree::FindingSink {
public:
    /// The recording is in `root`, which messages show as `shownRoot`.
    FirstFindingEnds(const std::string& root, const std::string& shownRoot)
        : root_(root), shownRoot_(shownRoot) {}

    [[noreturn]] void add(const tyktree::Finding& finding) override {
        tyktree::Finding shown = finding;
        if (shown.path.rfind(root_, 0) == 0) shown.path.replace(0, root_.size(), shownRoot_);
        throw Failure(toLine(shown));
    }

private:
    const std::string& root_;
    const std::string& shownRoot_;
};

/// The key of a value in a frame: tag, camera, pipe type.
using ValueKey = std::tuple<uint32_t, uint32_t, int32_t>;

ValueKey keyOf(const PipelineSimulation::tagInfo& entry) {
    return {entry.tag, entry.camId, entry.pipe};
}

/// The buffer of the frame's image; null if it has none.
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

/// A frame in the form of the processor's interface.
struct ProcessedRecording::Arrived {
    tyksim_frame frame{};
    tyksim_picture picture{};
    std::vector<tyksim_parameter> parameters;

    Arrived(const FrameRef& ref, const ReplayedFrame& files, const Delivery& delivery,
            const tyktree::TagCatalog& catalog, int pipe, const uint8_t* pixels) {
        const tyktree::FrameFolderName& name = ref.frame->parsed;
        frame.request = name.requestId;
        frame.sof = name.sofId;
        frame.pipe = pipe;
        frame.task = ref.task->position;
        frame.position = ref.frame->position;
        for (const tykhost::PublishedValue& value : delivery.values) addParameter(value, catalog);
        if (!parameters.empty()) frame.camera = static_cast<int32_t>(parameters[0].camera);
        if (const tyk::Buffer* const buffer = imageBuffer(files, delivery)) {
            setPicture(*buffer->image, pixels);
        }
        frame.parameters = parameters.data();
        frame.parameter_count = parameters.size();
    }
    Arrived(const Arrived&) = delete;
    Arrived& operator=(const Arrived&) = delete;

private:
    void addParameter(const tykhost::PublishedValue& value, const tyktree::TagCatalog& catalog) {
        const tyktags::TagEntry* const tag = catalog.byId(value.key.tag);
        const bool block = value.kind == tyktags::TagKind::block;
        parameters.push_back({value.key.tag, tag ? tag->name.c_str() : "", value.key.camId,
                              value.key.pipe, value.key.sofId, block ? 1 : 0,
                              block ? value.block.data : value.bytes.data(),
                              block ? value.block.size : value.bytes.size()});
    }

    void setPicture(const tyk::ImageDescriptor& image, const uint8_t* pixels) {
        const int bytes = nv21Bytes(image.width, image.height);
        if (image.width < 1 || image.height < 1 || bytes < 1) return;
        picture = {pixels, static_cast<size_t>(bytes), image.width, image.height, image.width};
        frame.picture = &picture;
        frame.camera = image.camId;
    }
};

ProcessedRecording::ProcessedRecording(Processor& processor, int pipeId, std::string root,
                                       std::string shownRoot, const tyktree::TagCatalog& catalog,
                                       const tyktree::PipeEntry& source, std::string replayRoot,
                                       tyktree::FindingSink& findings)
    : processor_(processor),
      root_(std::move(root)),
      shownRoot_(std::move(shownRoot)),
      catalog_(catalog),
      source_(source),
      replayRoot_(std::move(replayRoot)),
      findings_(findings),
      tuning_(replayRoot_ + pipeFolderPath(kDumpRoot, kMfnrCopyPipe), root_) {
    const std::string folder = pipeFolderPath(kDumpRoot, pipeId);
    makeFolders(root_ + folder);
    makeFolders(root_ + pipeFolderPath(kDumpRoot, kMfnrCopyPipe));
    // The manager's object is used for the replay, so this makes another one. It needs no init():
    // the replay has prepared the service's tables, and each frame sets the list of tags.
    recorder_ = std::make_unique<PipelineSimulation>(folder.c_str(), pipeId);
    recorder_->initialised = true;
}

uint8_t* ProcessedRecording::imageRoom(uint64_t bytes) {
    pixels_ = processor_.pictureRoom(bytes);
    return pixels_;
}

void ProcessedRecording::takeFrame(const FrameRef& frame, const ReplayedFrame& files,
                                   const Delivery& delivery, bool whole) {
    const uint8_t* const pixels = std::exchange(pixels_, nullptr);
    if (!whole) {
        ++withheld_;  // the verifier has reported the reason
        return;
    }
    const Arrived arrived(frame, files, delivery, catalog_, recorder_->pipeId, pixels);
    const Processed result = processor_.process(arrived.frame);
    if (!result.error.empty()) {
        report(frame, result.error);
    } else if (!result.picture) {
        printNote(tyktree::escaped(frame.path()) +
                  ": the processor returned no picture; the frame is not recorded");
    } else {
        record(frame, arrived, result);
    }
}

void ProcessedRecording::record(const FrameRef& frame, const Arrived& arrived,
                                const Processed& result) {
    const RootChange root(root_, replayRoot_);
    enterTask(*frame.task);
    recorder_->dumpTagList.clear();
    std::map<ValueKey, uint64_t> sizes;
    for (const tyksim_parameter& parameter : arrived.parameters) {
        const auto set = result.parameters.find(parameter.tag);
        const ProcessedValue value = set == result.parameters.end()
                                         ? ProcessedValue{parameter.data, parameter.size}
                                         : set->second;
        tykhost::setLiveValue(parameter.camera, parameter.tag, value.data, value.size,
                              parameter.pipe_type);
        const PipelineSimulation::tagInfo entry{
            parameter.tag, parameter.pipe_type, parameter.camera, parameter.sof,
            parameter.is_block != 0 ? kBlockDump : kFixedSizeDump};
        recorder_->dumpTagList.emplace_back(parameter.name, entry);
        sizes[keyOf(entry)] = value.size;
        if (parameter.tag == kMfnrTag) tuning_.install(value.data, value.size);
    }
    clock_.beginFrame();
    recorder_->dumpParam(arrived.frame.request, arrived.frame.sof, arrived.frame.camera);
    clock_.endFrame();
    // The interface takes a pointer to writable pixels but only reads them.
    const PipelineSimulation::imageInfo image{const_cast<uint8_t*>(result.picture->bytes),
                                              arrived.frame.request,
                                              arrived.frame.sof,
                                              arrived.frame.camera,
                                              recorder_->pipeId,
                                              result.picture->width,
                                              result.picture->height,
                                              0};
    recorder_->dumpNV21(image.buffer, image.width, image.height, image.sofId, image.camId);
    FirstFindingEnds whole(root_, shownRoot_);
    const auto sizeOf = [&sizes](const PipelineSimulation::tagInfo& entry) {
        return std::optional(sizes[keyOf(entry)]);
    };
    DumpCheck check(*recorder_, sizeOf, whole);
    check.leaveTuningOut();
    check.checkFrame(image, frame.frame->position);
    ++recorded_;
}

/// Makes a task for every task of the source.
void ProcessedRecording::enterTask(const tyktree::TaskEntry& task) {
    if (task_ == &task) return;
    task_ = &task;
    recorder_->taskIndex = task.parsed ? task.parsed->taskIndex : 0;
    recorder_->start();
}

void ProcessedRecording::finish() {
    if (!catalog_.text().empty()) writeFile(tyktree::tagTablePath(root_), catalog_.text());
    const std::string dumpRoot = root_ + kDumpRoot;
    if (!source_.configPath.empty()) {
        cloneFile(source_.configPath, configFilePath(dumpRoot.c_str(), recorder_->pipeId));
    }
    tuning_.finish();
}

void ProcessedRecording::report(const FrameRef& frame, const std::string& reason) {
    findings_.add(makeFinding(
        tyktree::RuleId::kReplayFailure, frame.place(),
        {frame.path(), "a frame that " + processor_.path() + " processes", "an error", reason}));
}

}  // namespace tyksim
