// tyksim replay: drives the library through a dump tree and looks at what arrives.
#include "core/PipelineSimulation.h"
#include "host/BufferPool.h"
#include "host/DeviceRoot.h"
#include "host/ParamService.h"
#include "tools/CameraSetup.h"
#include "tools/Commands.h"
#include "tools/DerivedTags.h"
#include "tools/Files.h"
#include "tools/FrameFiles.h"
#include "tools/FrameVerifier.h"
#include "tools/LibraryLog.h"
#include "tools/SceneCheck.h"
#include "tools/TemporaryRoot.h"
#include "tools/TreeFinder.h"
#include "tools/WellKnownTags.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

constexpr int kReplayMode = 1;
constexpr size_t kFramesInUse = 11;  ///< frames whose blocks a pipeline may still be using

constexpr const char* kFooter =
    "TREE is the root of a device (as record leaves it), a dump root (holds pipe_N), a pipe "
    "folder\n"
    "or a task folder. Nothing is written into it. The tag table is --tags, else the tags.xml "
    "that\n"
    "record left in the root, else one is derived from the file names.\n"
    "\n"
    "--entry frame   replays every frame through the frame entry: all parameter files, and the\n"
    "                image unless --no-images is given\n"
    "--entry folder  replays every frame folder through the folder entry: the parameter files but\n"
    "                the scene record's, then the fixed values of tags 8208 and 8198, the scene\n"
    "                record as iSceneInfo.xml and the two raw blocks give it, and the tuning "
    "file's\n"
    "                entry; no image. A value that was edited in iSceneInfo.xml counts, and\n"
    "                --verify names it with the value dumped and the value that arrived\n"
    "\n"
    "Names that lack pieces, folders without files, images of the wrong size and frames that the\n"
    "library abandons are findings; with --verify, every byte that does not arrive is.\n"
    "\n"
    "Examples:\n"
    "  tyksim replay /tmp/phone --verify\n"
    "  tyksim replay pulled/pipe_1 --entry folder --show-scene";

struct ReplayOptions {
    std::string tree;
    std::optional<int> pipe;
    std::string tagsFile;
    Entry entry = Entry::frame;
    std::optional<int> camera;
    bool noImages = false;
    bool verify = false;
    bool showScene = false;
    int logLevel = 1;
};

/// How often the most frequent tag occurs among a frame's files.
size_t mostOfOneTag(const FrameFolder& frame) {
    std::map<uint32_t, size_t> counts;
    size_t most = 0;
    for (const FrameFile& file : frame.files) {
        if (file.kind == FrameFile::Kind::parameter) {
            most = std::max(most, ++counts[file.tag.tag]);
        }
    }
    return most;
}

/// One replay of a tree.
class Replay {
public:
    explicit Replay(const ReplayOptions& options)
        : options_(options),
          images_(options.entry == Entry::frame && !options.noImages),
          tree_(findTree(options.tree, options.pipe)),
          log_(options.logLevel) {}

    ExitStatus run() {
        tykhost::setTagTable(chooseTags());
        enterDeviceRoot();
        simulation_ = PipelineSimMgr::getPipeSimInstance(tree_.pipe);
        simulation_->init(kReplayMode);
        simulation_->taskList = tree_.tasks;
        verifier_ =
            std::make_unique<FrameVerifier>(*simulation_, options_.entry, images_, findings_);
        for (const std::string& task : tree_.tasks) replayTask(task);
        simulation_->deinit();
        return report();
    }

private:
    std::vector<tykhost::TagEntry> chooseTags() const {
        const std::string beside = tree_.root.empty() ? "" : tagTablePath(tree_.root);
        const bool found = !beside.empty() && isThere(beside);
        if (!options_.tagsFile.empty() || found) {
            const std::string& path = options_.tagsFile.empty() ? beside : options_.tagsFile;
            std::vector<tykhost::TagEntry> tags = readTags(path);
            printNote("tag table: " + path);
            return tags;
        }
        std::vector<tykhost::TagEntry> tags = deriveTags(tree_);
        printNote(text("tag table: none found; ", tags.size(),
                       " tags derived from the file names (ids are made up, but for well-known "
                       "names)"));
        return tags;
    }

    /// The library makes its pipe's folder where it does not find it, so it gets a root in which
    /// there is one.
    void enterDeviceRoot() {
        if (!tree_.rootGiven) temporaryRoot_.emplace(tree_);
        tykhost::setDeviceRoot(tree_.rootGiven ? tree_.root : temporaryRoot_->path());
    }

    void replayTask(const std::string& task) {
        simulation_->start();
        keepFrames(task);
        const int count = simulation_->getFrameSize();
        for (int frame = 0; frame < count; ++frame) {
            progress_.show(text("replaying frame ", frame + 1, " of ", count, " in ", task));
            replayFrame(task, simulation_->frameList[static_cast<size_t>(frame)]);
        }
        simulation_->stop();
    }

    /// Takes folders that are not frames out of the library's list: tasks next to frames that were
    /// dumped without one, and what people put there.
    void keepFrames(const std::string& task) {
        std::vector<std::string>& names = simulation_->frameList;
        const auto end = std::stable_partition(names.begin(), names.end(), isFrameName);
        for (auto name = end; name != names.end(); ++name) {
            if (!isTaskName(*name))
                printNote(task + "/" + *name + ": not a frame's folder, left out");
        }
        names.erase(end, names.end());
    }

    void replayFrame(const std::string& task, const std::string& name) {
        const FrameFolder frame = listFrameFolder(*simulation_, task, name);
        inspectFrame(frame, options_.entry, images_, findings_);
        tykhost::clearPublished();
        // What the records add to the files of one tag: two values at most.
        tykhost::setHistoryLimit(mostOfOneTag(frame) + 2);
        const uint64_t handedOut = tykhost::bufferPoolCounts().handedOut;
        log_.takeFailures();
        const int index = simulation_->frameIndex;
        load(frame);
        Delivery delivery{tykhost::publishedValues(), newBuffers(handedOut)};
        const bool queued = simulation_->frameIndex != index;
        if (queued) {
            ++replayed_;
            if (options_.verify) verifier_->verify(frame, delivery);
            if (options_.showScene) showScene(frame, delivery);
        } else {
            reportAbandoned(frame, delivery);
            simulation_->frameIndex = index + 1;
        }
        count(frame);
        giveBack(delivery.images, queued ? simulation_->frameQueue.back().image : nullptr);
        retireFrames();
    }

    void load(const FrameFolder& frame) {
        if (options_.entry == Entry::folder) {
            PipelineSimulation::loadParam(tree_.pipe, frame.path, options_.camera.value_or(0));
        } else if (images_) {
            tyk::Buffer* image = nullptr;
            simulation_->loadParamAndImage(0, image);
        } else {
            simulation_->loadParam(0);
        }
    }

    /// The buffers that the pool handed out since its count was `handedOut`: the youngest that are
    /// out, since the library returns none of them.
    static std::vector<tyk::Buffer*> newBuffers(uint64_t handedOut) {
        std::vector<tyk::Buffer*> buffers = tykhost::buffersOut();
        const uint64_t count = tykhost::bufferPoolCounts().handedOut - handedOut;
        const auto kept = static_cast<size_t>(std::min<uint64_t>(count, buffers.size()));
        buffers.erase(buffers.begin(), buffers.end() - static_cast<std::ptrdiff_t>(kept));
        return buffers;
    }

    /// Returns the buffers that no queued frame will return: those of side files, and all of a
    /// frame that was abandoned.
    void giveBack(const std::vector<tyk::Buffer*>& buffers, const tyk::Buffer* queued) {
        for (tyk::Buffer* const buffer : buffers) {
            if (buffer == queued) continue;
            simulation_->bufferManager->returnBuffer(buffer, tyk::kReplayBufferUsage, false);
        }
    }

    /// Lets go of the oldest frames, as the image entry does on its own; without it their blocks
    /// would stay until the end of the replay.
    void retireFrames() {
        if (images_) return;
        while (simulation_->frameQueue.size() > kFramesInUse) simulation_->frameQueue.pop();
    }

    void reportAbandoned(const FrameFolder& frame, const Delivery& delivery) {
        ++abandoned_;
        const std::string failures = log_.takeFailures();
        const std::string reason = failures.empty() ? missingBuffer(frame, delivery.images.size())
                                                    : failures + impossibleFile(frame);
        findings_.add(text(frame.path, ": abandoned by the library: ", reason));
    }

    /// The library's lines do not name the file; the first of an impossible size is the one.
    static std::string impossibleFile(const FrameFolder& frame) {
        for (const FrameFile& file : frame.files) {
            if (file.kind != FrameFile::Kind::parameter || !hasImpossibleSize(file)) continue;
            return text(" (", file.name, ": ", file.size, " bytes)");
        }
        return "";
    }

    /// The library is silent when the pool has no buffer; the first file without one tells.
    static std::string missingBuffer(const FrameFolder& frame, size_t buffers) {
        for (const FrameFile& file : frame.files) {
            if (file.kind == FrameFile::Kind::parameter || buffers-- > 0) continue;
            return text("the pool has no buffer for ", file.name);
        }
        return "no reason given";
    }

    static void showScene(const FrameFolder& frame, const Delivery& delivery) {
        const tykhost::PublishedValue* scene = nullptr;
        for (const tykhost::PublishedValue& value : delivery.values) {
            if (value.key.tag == kSceneTag && value.bytes.size() == kSceneRecordBytes) {
                scene = &value;
            }
        }
        if (!scene) {
            printResult("scene record of " + frame.name + ": none arrived");
            return;
        }
        printResult(text("scene record of ", frame.name, " (camera ", scene->key.camId, ", sof ",
                         scene->key.sofId, "):"));
        for (const std::string& line : describeSceneRecord(scene->bytes)) {
            printResult("  " + line);
        }
    }

    void count(const FrameFolder& frame) {
        for (const FrameFile& file : frame.files) {
            ++files_;
            bytes_ += file.size;
        }
    }

    ExitStatus report() const {
        printResult(text("tasks: ", tree_.tasks.size(), " of pipe ", tree_.pipe));
        printResult(text("frames: ", replayed_, " replayed, ", abandoned_, " abandoned"));
        printResult(text("files: ", files_, ", ", bytes_, " bytes"));
        if (options_.verify) {
            printResult(text("verified: ", verifier_->comparedFiles(), " values and images, ",
                             verifier_->comparedBytes(), " bytes"));
        }
        printResult(text("findings: ", findings_.count()));
        return findings_.status();
    }

    const ReplayOptions& options_;
    const bool images_;
    Tree tree_;
    LibraryLog log_;
    Findings findings_;
    Progress progress_;
    std::optional<TemporaryRoot> temporaryRoot_;
    PipelineSimulation* simulation_ = nullptr;
    std::unique_ptr<FrameVerifier> verifier_;
    uint64_t replayed_ = 0;
    uint64_t abandoned_ = 0;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

}  // namespace

Action defineReplay(CLI::App& verb) {
    const auto options = std::make_shared<ReplayOptions>();
    verb.add_option("TREE", options->tree, "Device root, dump root, pipe folder or task folder")
        ->required();
    verb.add_option("--pipe", options->pipe,
                    "Pipe id: picks one of several, or names one that the folder does not (then "
                    "1 is the default)");
    verb.add_option("--tags", options->tagsFile, "Tag table")->type_name("FILE");
    verb.add_option_function<std::string>(
            "--entry",
            [options](const std::string& name) {
                options->entry = name == "folder" ? Entry::folder : Entry::frame;
            },
            "The library's entry to replay through, see below (default: frame)")
        ->check(CLI::IsMember({"frame", "folder"}))
        ->type_name("NAME");
    verb.add_option("--camera", options->camera, "Camera id of --entry folder (default: 0)")
        ->check(CLI::Range(0, 255));
    verb.add_flag("--no-images", options->noImages, "Replay parameters only");
    verb.add_flag("--verify", options->verify, "Compare what arrives with the tree's files");
    verb.add_flag("--show-scene", options->showScene,
                  "Print the named fields of every scene record that arrives");
    addLogLevel(verb, options->logLevel);
    verb.footer(kFooter);
    return [options] {
        if (options->camera && options->entry == Entry::frame) {
            throw WrongUsage("--camera: expected --entry folder with it");
        }
        return Replay(*options).run();
    };
}

}  // namespace tyksim
