#include "tools/playback/ReplaySession.h"

#include "core/FrameQueue.h"
#include "host/BufferPool.h"
#include "host/DeviceRoot.h"
#include "tools/console/Console.h"
#include "tools/console/Interruption.h"
#include "tools/console/Units.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <cerrno>
#include <fmt/format.h>
#include <map>
#include <set>
#include <utility>

namespace tyksim {

namespace {

using tyktree::EntryType;
using tyktree::FileEntry;
using tyktree::FrameRef;
using tyktree::RuleId;

constexpr int kReplayMode = 1;

/// Whether the library takes an entry of a frame folder for a file. It tests one bit of the entry's
/// type, which folders and sockets have.
bool isTaken(const FileEntry& file) {
    const bool own = !file.link && file.typeKnown;
    return !own || (file.type != EntryType::kFolder && file.type != EntryType::kSocket);
}

std::vector<const FileEntry*> takenFiles(const tyktree::FrameListing& listing) {
    std::vector<const FileEntry*> files;
    for (const FileEntry& file : listing.files()) {
        if (isTaken(file)) files.push_back(&file);
    }
    std::sort(files.begin(), files.end(),
              [](const FileEntry* a, const FileEntry* b) { return a->order < b->order; });
    return files;
}

/// The number of files of a frame's most frequent tag.
size_t mostOfOneTag(const ReplayedFrame& frame) {
    std::map<std::string_view, size_t> counts;
    size_t most = 0;
    for (const FileEntry* const file : frame.files) {
        if (file->kind != FileEntry::Kind::kParameter) continue;
        most = std::max(most, ++counts[file->parameter.tagName]);
    }
    return most;
}

/// The camera of the frame's files; that of the first file if there are several.
int cameraOf(const ReplayedFrame& frame) {
    for (const FileEntry* const file : frame.files) {
        if (file->kind == FileEntry::Kind::kParameter) return file->parameter.camId;
        if (file->kind == FileEntry::Kind::kImage) return file->image.camId;
    }
    return 0;
}

bool hasScene(const ReplayedFrame& frame) {
    return std::any_of(frame.files.begin(), frame.files.end(), [](const FileEntry* file) {
        return file->kind == FileEntry::Kind::kSceneXml ||
               file->kind == FileEntry::Kind::kSceneBlock ||
               (file->kind == FileEntry::Kind::kParameter &&
                file->parameter.tagName == kSceneTagName);
    });
}

/// The first file that the library cannot replay, because its log lines do not name the file.
std::string impossibleFile(const ReplayedFrame& frame) {
    for (const FileEntry* const file : frame.files) {
        if (file->kind != FileEntry::Kind::kParameter) continue;
        std::string what;
        if (!file->regular()) {
            what = "not a regular file";
        } else if (!file->readable) {
            what = systemReason(EACCES);
        } else if (hasImpossibleSize(*file)) {
            what = fmt::format("{} bytes", file->bytes);
        } else {
            continue;
        }
        return fmt::format(" ({}: {})", file->name, what);
    }
    return "";
}

/// The first file without a buffer, because the library does not log a failure of the pool.
std::string missingBuffer(const ReplayedFrame& frame, size_t buffers) {
    for (const FileEntry* const file : frame.files) {
        if (file->kind == FileEntry::Kind::kParameter || buffers-- > 0) continue;
        return fmt::format("the pool has no buffer for {}", file->name);
    }
    return "no reason given";
}

}  // namespace

ReplaySession::ReplaySession(const SessionOptions& options, const tyktree::TreePath& tree,
                             const std::vector<FrameRef>& frames,
                             const tyktree::TagCatalog& catalog, const Edits& edits,
                             tyktree::FindingSink& findings)
    : options_(options),
      frames_(frames),
      findings_(findings),
      root_(tree, *frames.front().pipe, options.pipe),
      log_(options.logLevel) {
    if (!edits.empty()) overlay_.emplace(root_.path(), edits);
    tykhost::setTagTable(catalog.tags());
    tykhost::setDeviceRoot(root_.path());
    simulation_ = PipelineSimMgr::getPipeSimInstance(options.pipe);
    simulation_->init(kReplayMode);
    verifier_.emplace(*simulation_, catalog, options.entry, options.images, findings);
}

ReplaySession::~ReplaySession() {
    simulation_->deinit();
}

void ReplaySession::run(FrameTaker* taker) {
    for (int loop = 0; loop < options_.loops; ++loop) {
        for (size_t first = 0; first < frames_.size();) {
            size_t last = first;
            while (last < frames_.size() && frames_[last].task == frames_[first].task) ++last;
            replayTask(first, last, taker);
            first = last;
        }
    }
    totals_.promised = verifier_->promised();
    totals_.verified = verifier_->verified();
    totals_.verifiedBytes = verifier_->verifiedBytes();
}

void ReplaySession::replayTask(size_t first, size_t last, FrameTaker* taker) {
    simulation_->taskList = {frames_[first].task->path};
    simulation_->taskIndex = 0;
    simulation_->start();
    chooseFrames(first, last);
    ++totals_.tasks;
    Progress progress;
    for (size_t index = first; index < last; ++index) {
        try {
            throwIfInterrupted();
            replayFrame(index, taker);
        } catch (const Interrupted& interrupted) {
            throw Interrupted(interrupted.signal(),
                              "replayed " + counted(totals_.replayed, "frame", "frames"));
        }
        progress.count("replayed", index - first + 1, last - first, "frames");
    }
    simulation_->stop();
}

/// Reduces the library's list to the selected frames. A frame that the library did not list,
/// because the file system reports no entry types, is a finding and is replayed too.
void ReplaySession::chooseFrames(size_t first, size_t last) {
    const std::set<std::string> listed(simulation_->frameList.begin(),
                                       simulation_->frameList.end());
    simulation_->frameList.clear();
    for (size_t index = first; index < last; ++index) {
        const FrameRef& frame = frames_[index];
        if (listed.count(frame.frame->name) == 0) {
            report(RuleId::kReplayLost, frame.path(), frame.place(),
                   "a frame that the library lists", "none in its listing", "");
        }
        simulation_->frameList.push_back(frame.frame->name);
    }
}

void ReplaySession::replayFrame(size_t index, FrameTaker* taker) {
    const FrameRef& ref = frames_[index];
    const std::string task = simulation_->currentTask;
    std::string folder = ref.path();
    if (overlay_) {
        for (const std::string& problem : overlay_->lay(ref, {index, frames_.size()}).problems) {
            report(RuleId::kReplayFailure, folder, ref.place(), "values to be set", "none",
                   problem);
        }
        simulation_->currentTask = overlay_->task();
        folder = simulation_->currentTask + "/" + ref.frame->name;
    }
    if (const tyktags::Status& listed = listing_.read(folder); !listed.ok()) {
        report(RuleId::kReplayLost, ref.path(), ref.place(), "a frame folder that can be listed",
               "one that cannot be listed to its end", listed.problem().reason);
    }
    const ReplayedFrame frame{listing_, takenFiles(listing_), ref.path(), ref.place()};
    tykhost::clearPublished();
    // The side records add at most two values to the files of a tag.
    tykhost::setHistoryLimit(mostOfOneTag(frame) + 2);
    const uint64_t handedOut = tykhost::bufferPoolCounts().handedOut;
    log_.takeFailures();
    const int before = simulation_->frameIndex;
    load(frame);
    const Delivery delivery{tykhost::publishedValues(), newBuffers(handedOut)};
    const bool queued = simulation_->frameIndex != before;
    reportFailures(frame, delivery, queued);
    if (queued) {
        ++totals_.replayed;
        const auto imageRoom = [taker](uint64_t bytes) {
            return taker ? taker->imageRoom(bytes) : nullptr;
        };
        const bool whole = !options_.verify || verifier_->verify(frame, delivery, imageRoom);
        if (taker) taker->takeFrame(ref, frame, delivery, whole);
    } else {
        ++totals_.abandoned;
        simulation_->frameIndex = before + 1;
    }
    totals_.files += listing_.files().size();
    totals_.bytes += listing_.bytes();
    giveBack(delivery.images, queued ? simulation_->frameQueue.back().image : nullptr);
    retireFrames();
    simulation_->currentTask = task;
}

void ReplaySession::load(const ReplayedFrame& frame) {
    if (options_.entry == Entry::folder) {
        const int camera = options_.camera ? *options_.camera : cameraOf(frame);
        PipelineSimulation::loadParam(options_.pipe, frame.listing.path(), camera);
    } else if (options_.images) {
        tyk::Buffer* image = nullptr;
        simulation_->loadParamAndImage(0, image);
    } else {
        simulation_->loadParam(0);
    }
}

/// The buffers that the pool handed out since its count was `handedOut`. They are the newest ones
/// that are out, because the library has not returned any of them.
std::vector<tyk::Buffer*> ReplaySession::newBuffers(uint64_t handedOut) const {
    std::vector<tyk::Buffer*> buffers = tykhost::buffersOut();
    const uint64_t count = tykhost::bufferPoolCounts().handedOut - handedOut;
    const auto kept = static_cast<size_t>(std::min<uint64_t>(count, buffers.size()));
    buffers.erase(buffers.begin(), buffers.end() - static_cast<std::ptrdiff_t>(kept));
    return buffers;
}

/// Returns the buffers that no queued frame will return: those of side files, and all buffers of an
/// abandoned frame.
void ReplaySession::giveBack(const std::vector<tyk::Buffer*>& buffers, const tyk::Buffer* queued) {
    for (tyk::Buffer* const buffer : buffers) {
        if (buffer == queued) continue;
        simulation_->bufferManager->returnBuffer(buffer, tyk::kReplayBufferUsage, false);
    }
}

/// Retires the oldest frames, as the image entry does itself. Otherwise their blocks would stay
/// until the end of the replay.
void ReplaySession::retireFrames() {
    if (options_.entry == Entry::frame && options_.images) return;
    while (simulation_->frameQueue.size() > kFramesInUse) simulation_->frameQueue.pop();
}

void ReplaySession::reportFailures(const ReplayedFrame& frame, const Delivery& delivery,
                                   bool queued) {
    const std::string failures = log_.takeFailures();
    if (!queued) {
        report(RuleId::kReplayAbandoned, frame.shownPath, frame.place, "a frame to replay",
               "one that the library abandons",
               failures.empty() ? missingBuffer(frame, delivery.images.size())
                                : failures + impossibleFile(frame));
        return;
    }
    // The folder entry reads a scene record in every frame; in a frame without one its failure does
    // not count.
    const bool onlyScene = options_.entry == Entry::folder && !hasScene(frame) &&
                           failures.find("; ") == std::string::npos &&
                           failures.rfind("loadISceneInfo", 0) == 0;
    if (failures.empty() || onlyScene) return;
    report(RuleId::kReplayFailure, frame.shownPath, frame.place, "no failure in the library",
           "one or more", failures + impossibleFile(frame));
}

void ReplaySession::report(RuleId rule, const std::string& path, const tyktree::FramePlace& place,
                           const std::string& expected, const std::string& found,
                           const std::string& reason) {
    findings_.add(makeFinding(rule, place, {path, expected, found, reason}));
}

}  // namespace tyksim
