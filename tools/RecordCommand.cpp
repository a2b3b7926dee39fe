// tyksim record: a simulated camera that drives the library the way a pipeline does.
#include "core/PipelineSimulation.h"
#include "host/DeviceRoot.h"
#include "host/ParamService.h"
#include "host/Properties.h"
#include "platform/Properties.h"
#include "tools/CameraSetup.h"
#include "tools/Commands.h"
#include "tools/DumpCheck.h"
#include "tools/Files.h"
#include "tools/FrameSource.h"
#include "tools/LibraryLog.h"
#include "tools/LiveValues.h"
#include "tools/WellKnownTags.h"

#include <climits>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace tyksim {

namespace {

using tykhost::TagEntry;
using tykhost::TagKind;

constexpr int kDumpMode = 0;
constexpr uint32_t kOfTheFrame = UINT32_MAX;
constexpr const char* kDumpProperty = "persist.vendor.cam.isstest";

constexpr const char* kFooter =
    "The tree is made at ROOT/data/vendor/cameraserver/tykdump; ROOT stands for the root of a\n"
    "device's file system. The tag table is kept as ROOT/tags.xml, the dump configuration as\n"
    "pipe<N>_dumpConfig.xml in the tree; both are written when they are missing and kept when "
    "they\n"
    "are there. A burst of photographs starts over when it has ended. A photograph's exposure "
    "time,\n"
    "sensitivity and exposure bias go into the parameters; it is not rotated.\n"
    "\n"
    "Images are NV21 with rows tightly packed. Of an odd size the chroma rows have\n"
    "2 x ceil(width / 2) bytes, and the first (width x height x 3) / 2 bytes of the image are\n"
    "dumped.\n"
    "\n"
    "Examples:\n"
    "  tyksim record /tmp/phone photo1.jpg photo2.jpg --frames 10\n"
    "  tyksim record /tmp/phone --size 1920x1080 --pipe 0 --property persist.vendor.cam.isstest=20";

struct RecordOptions {
    std::string root;
    std::vector<std::string> images;
    int frames = 0;
    std::string size;
    int pipe = 1;
    int camera = 0;
    int firstRequest = 1;
    int firstSof = 1;
    std::string tagsFile;
    std::string configFile;
    std::vector<std::string> properties;
    int logLevel = 1;
};

/// One part of WxH; 0 when it is no number from 1 to `limit`.
int sizePart(const std::string& digits, int limit) {
    if (digits.empty() || digits.size() > 5) return 0;
    if (digits.find_first_not_of("0123456789") != std::string::npos) return 0;
    const int value = std::stoi(digits);
    return value <= limit ? value : 0;
}

FrameSource makeSource(const RecordOptions& options) {
    if (!options.images.empty()) {
        if (!options.size.empty())
            throw WrongUsage("--size is for the test pattern, not for images");
        return FrameSource(options.images);
    }
    const std::string size = options.size.empty() ? "640x480" : options.size;
    const size_t cross = std::min(size.find('x'), size.size());
    const int width = sizePart(size.substr(0, cross), kMaxWidth);
    const int height = cross < size.size() ? sizePart(size.substr(cross + 1), kMaxHeight) : 0;
    if (width > 0 && height > 0) return {width, height};
    throw WrongUsage(
        text("--size: expected WxH from 1x1 to ", kMaxWidth, "x", kMaxHeight, ", found ", size));
}

/// Sets the user's properties, and the one that switches dumping on unless something else did.
void setProperties(const std::vector<std::string>& properties) {
    char value[kPropertyValueSize] = {};
    property_get(kDumpProperty, value, "");
    if (*value == '\0') tykhost::setProperty(kDumpProperty, "1");
    for (const std::string& property : properties) {
        const size_t equals = property.find('=');
        if (equals == 0 || equals == std::string::npos) {
            throw WrongUsage("--property: expected NAME=VALUE, found " + property);
        }
        tykhost::setProperty(property.substr(0, equals), property.substr(equals + 1));
    }
}

/// `folder` from the file system's root, without a slash at its end.
std::string absolute(const std::string& folder) {
    std::string path = std::filesystem::absolute(folder).lexically_normal().string();
    if (path.back() == '/') path.pop_back();
    return path;
}

/// One run of the simulated camera.
class Recording {
public:
    explicit Recording(const RecordOptions& options)
        : options_(options),
          root_(absolute(options.root)),
          source_(makeSource(options)),
          setup_(root_, options.pipe, options.tagsFile, options.configFile),
          log_(options.logLevel) {}

    ExitStatus run() {
        setProperties(options_.properties);
        setup_.install();
        tykhost::setDeviceRoot(root_);
        tykhost::setTagTable(setup_.tags());
        simulation_ = PipelineSimMgr::getPipeSimInstance(options_.pipe);
        simulation_->init(kDumpMode);
        checkDumpList();
        simulation_->start();
        task_ = simulation_->currentTask;
        recordFrames();
        simulation_->stop();
        simulation_->deinit();
        return report();
    }

private:
    using DumpEntry = std::pair<std::string, PipelineSimulation::tagInfo>;

    /// Looks at what the library made of the configuration before it works on it.
    void checkDumpList() {
        if (simulation_->dumpTagList.empty()) {
            printNote(simulation_->configPath + ": configures no tag; only images are recorded");
        }
        bool tuning = false;
        for (const DumpEntry& entry : simulation_->dumpTagList) {
            checkDumpEntry(entry);
            tuning = tuning || entry.second.tag == kMfnrTag;
        }
        if (tuning) setup_.installTuningFiles();
    }

    /// An entry whose dump type is not its tag's kind is refused: the library would take the bytes
    /// of the value for the address of a block.
    void checkDumpEntry(const DumpEntry& entry) {
        const auto& [name, info] = entry;
        const std::string path = tykhost::hostPath(simulation_->configPath);
        if (info.tag == 0) {
            printNote(text(path, ": tag \"", name, "\" is not in the tag table and is not dumped"));
            return;
        }
        const auto known =
            std::find_if(setup_.tags().begin(), setup_.tags().end(),
                         [id = info.tag](const TagEntry& tag) { return tag.id == id; });
        const int expected = known->kind == TagKind::block ? 1 : 0;
        const bool dumped = info.dumpType == 0 || info.dumpType == 1;
        if (!dumped || info.dumpType == expected) return;
        throw Failure(text(path, ": tag ", name, ": expected dump type ", expected, " for a ",
                           expected == 1 ? "block" : "fixed-size", " tag, found ", info.dumpType));
    }

    /// The cameras whose values are dumped: the frames' own and those that the configuration names.
    std::set<uint32_t> cameras() const {
        std::set<uint32_t> cameras{static_cast<uint32_t>(options_.camera)};
        for (const DumpEntry& entry : simulation_->dumpTagList) {
            if (entry.second.camId != kOfTheFrame) cameras.insert(entry.second.camId);
        }
        return cameras;
    }

    void recordFrames() {
        LiveValues values(setup_.tags(), cameras());
        DumpCheck check(*simulation_, values, findings_);
        Progress progress;
        for (int number = 0; number < options_.frames; ++number) {
            progress.show(text("recording frame ", number + 1, " of ", options_.frames));
            recordFrame(number, values, check);
        }
        files_ = check.files();
        bytes_ = check.bytes();
    }

    void recordFrame(int number, LiveValues& values, DumpCheck& check) {
        const Photo& photo = source_.frame(number);
        // The interface takes the pixels as writable, and only reads them.
        PipelineSimulation::imageInfo frame{const_cast<uint8_t*>(photo.image.bytes.data()),
                                            options_.firstRequest + number,
                                            options_.firstSof + number,
                                            options_.camera,
                                            options_.pipe,
                                            photo.image.width,
                                            photo.image.height,
                                            0};
        values.set(makeFrameFacts(number, frame.width, frame.height, photo.facts));
        // A frame that is dumped gets a folder, and there is no other sign of it.
        simulation_->currentFramePath.clear();
        PipelineSimulation::dumpIfneed(frame);
        const std::string failures = log_.takeFailures();
        if (!failures.empty()) {
            findings_.add(text("request ", frame.reqId, ": the library reports: ", failures));
        }
        if (simulation_->currentFramePath.empty()) return;
        ++recorded_;
        check.checkFrame(frame);
    }

    ExitStatus report() {
        const std::string task = tykhost::hostPath(task_);
        printResult(text("frames: ", recorded_, " dumped of ", options_.frames));
        printResult(text("files: ", files_, " complete, ", bytes_, " bytes"));
        if (recorded_ == 0) {
            // Nothing but the folder that start() made is there to see.
            rmdir(task.c_str());
            if (findings_.count() > 0) return ExitStatus::kFailed;
            printResult(text("nothing to replay: the property ", kDumpProperty,
                             " asks for no frame of pipe ", options_.pipe));
            return ExitStatus::kClean;
        }
        if (files_ == 0) throw Failure(task + ": no file of any frame could be written");
        printResult("task: " + task);
        printResult(
            text("replay with: tyksim replay ", shellWord(root_), " --pipe ", options_.pipe));
        return findings_.status();
    }

    const RecordOptions& options_;
    std::string root_;
    FrameSource source_;
    CameraSetup setup_;
    LibraryLog log_;
    Findings findings_;
    PipelineSimulation* simulation_ = nullptr;
    std::string task_;  ///< the device's name for it
    int recorded_ = 0;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

/// Settles what depends on other options.
void settle(RecordOptions& options) {
    if (options.frames == 0) {
        options.frames = options.images.empty() ? 5 : static_cast<int>(options.images.size());
    }
    const int largest = INT_MAX - options.frames;
    if (options.firstRequest <= largest && options.firstSof <= largest) return;
    throw WrongUsage(text("--first-request, --first-sof: expected at most ", largest, " for ",
                          options.frames, " frames"));
}

}  // namespace

Action defineRecord(CLI::App& verb) {
    const auto options = std::make_shared<RecordOptions>();
    verb.add_option("ROOT", options->root,
                    "Folder that stands for the device's root; made if needed")
        ->required();
    verb.add_option("IMAGE", options->images, "JPEG photographs; none: a moving test pattern");
    verb.add_option("--frames", options->frames, "Frames to record (default: one per image, or 5)")
        ->check(CLI::Range(1, 100000000));
    verb.add_option("--size", options->size,
                    text("Size of the test pattern, up to ", kMaxWidth, "x", kMaxHeight,
                         " (default: 640x480)"))
        ->type_name("WxH");
    verb.add_option("--pipe", options->pipe, "Pipe id")
        ->check(CLI::Range(0, INT_MAX))
        ->capture_default_str();
    verb.add_option("--camera", options->camera, "Camera id")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
    verb.add_option("--first-request", options->firstRequest, "Request id of the first frame")
        ->check(CLI::Range(0, INT_MAX))
        ->capture_default_str();
    verb.add_option("--first-sof", options->firstSof, "Sof id of the first frame")
        ->check(CLI::Range(0, INT_MAX))
        ->capture_default_str();
    verb.add_option("--tags", options->tagsFile, "Tag table to use from now on; copied to ROOT")
        ->type_name("FILE");
    verb.add_option("--config", options->configFile,
                    "Dump configuration to use from now on; copied into the tree")
        ->type_name("FILE");
    verb.add_option("--property", options->properties,
                    text("Sets a system property; may be given more than once (default: ",
                         kDumpProperty, "=1)"))
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    addLogLevel(verb, options->logLevel);
    verb.footer(kFooter);
    return [options] {
        settle(*options);
        return Recording(*options).run();
    };
}

}  // namespace tyksim
