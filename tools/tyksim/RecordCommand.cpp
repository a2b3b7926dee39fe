// tyksim record: a simulated camera that drives the library the way a pipeline does.
#include "core/Globals.h"
#include "core/PipelineSimulation.h"
#include "core/TreeNames.h"
#include "dump/DumpProperty.h"
#include "host/DeviceRoot.h"
#include "host/LiveValues.h"
#include "host/Properties.h"
#include "platform/Properties.h"
#include "records/MfnrTuning.h"
#include "tools/camera/CameraSetup.h"
#include "tools/camera/DumpCheck.h"
#include "tools/camera/FrameClock.h"
#include "tools/camera/FrameSource.h"
#include "tools/camera/PipeLock.h"
#include "tools/camera/RecordRoot.h"
#include "tools/camera/SimulatedParameters.h"
#include "tools/console/FindingPrinter.h"
#include "tools/console/Interruption.h"
#include "tools/console/LibraryLog.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Units.h"
#include "tools/files/Files.h"
#include "tools/tyksim/Commands.h"
#include "tree/read/Escape.h"

#include <climits>

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace tyksim {

namespace {

using tyktags::TagEntry;

constexpr int kDumpMode = 0;

constexpr const char* kFooter = R"(
The tree is made at ROOT/data/vendor/cameraserver/tykdump; ROOT stands for the root of a device's
file system. The tag table is kept as ROOT/tags.xml, the dump configuration as pipe<N>_dumpConfig.xml
in the tree; both are written when they are missing and kept when they are there. One recorder at a
time works on a pipe; different pipes may be recorded at once.

A burst of photographs starts over when it has ended. A photograph's exposure time, ISO and exposure
bias go into the parameters, unless --exposure, --iso or --ev give them; it is not rotated. What
neither says, and all of a test pattern's, is simulated, and so are all other parameters; how many
frames that concerns is said at the end.

Images are NV21 with rows tightly packed. Of an odd size the chroma rows have 2 x ceil(width / 2)
bytes, and the first (width x height x 3) / 2 bytes of the image are dumped.

What the library reports as a failure, and files that are not complete, are findings: the first of
each kind is shown with the system's reason, the others are counted. Ctrl-C ends the recording after
the frame at hand; what was recorded stays.

Exit status: 0 recorded, 1 failed, 2 wrong usage, 3 recorded with findings.

Examples:
  tyksim record /tmp/phone photo1.jpg photo2.jpg --frames 10
  tyksim record /tmp/phone photo1.jpg --exposure 1/125 --iso 200 --ev -0.5
  tyksim record /tmp/phone --size 1920x1080 --pipe 0 --property persist.vendor.cam.isstest=20
)";

struct RecordOptions {
    std::string root;
    std::vector<std::string> images;
    int frames = 0;
    std::string size;
    int pipe = 1;
    int camera = 0;
    int firstRequest = 1;
    int firstSof = 1;
    std::string exposure;
    ExifFacts given;  ///< by hand
    std::string tagsFile;
    std::string configFile;
    std::vector<std::string> properties;
    int logLevel = 0;
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
    throw WrongUsage(fmt::format("--size: expected WxH from 1x1 to {}x{}, found {}", kMaxWidth,
                                 kMaxHeight, size));
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

/// One run of the simulated camera.
class Recording {
public:
    explicit Recording(const RecordOptions& options)
        : options_(options),
          root_(recordRoot(options.root, options.images)),
          source_(makeSource(options)),
          setup_(root_, options.pipe, options.tagsFile, options.configFile),
          log_(options.logLevel) {}

    ExitStatus run() {
        setProperties(options_.properties);
        const std::string folder = pipeFolderPath((root_ + kDumpRoot).c_str(), options_.pipe);
        makeFolders(folder);
        const PipeLock lock(folder);
        setup_.install();
        tykhost::setDeviceRoot(root_);
        tykhost::setTagTable(setup_.tags());
        simulation_ = PipelineSimMgr::getPipeSimInstance(options_.pipe);
        simulation_->init(kDumpMode);
        prepareDumpList();
        begin();
        recordFrames();
        simulation_->stop();
        simulation_->deinit();
        return report();
    }

private:
    using DumpEntry = std::pair<std::string, PipelineSimulation::tagInfo>;

    /// Prepares what the library is to dump.
    void prepareDumpList() {
        if (simulation_->dumpTagList.empty()) {
            printNote(simulation_->configPath + ": configures no tag; only images are recorded");
        }
        for (const DumpEntry& entry : simulation_->dumpTagList) {
            if (entry.second.tag != kMfnrTag) continue;
            setup_.installTuningFiles();
            return;
        }
    }

    /// The library only logs that it could not make the task's folder.
    void begin() {
        simulation_->start();
        task_ = tykhost::hostPath(simulation_->currentTask);
        if (isFolder(task_)) return;
        throw Failure(fmt::format("{}: cannot make the folder: {}", tyktree::escaped(task_),
                                  reasonFor(task_ + "/frame", 1)));
    }

    /// The tags that are dumped: others' values would be made for nobody.
    std::vector<TagEntry> dumpedTags() const {
        std::set<uint32_t> ids;
        for (const DumpEntry& entry : simulation_->dumpTagList) ids.insert(entry.second.tag);
        std::vector<TagEntry> tags;
        for (const TagEntry& tag : setup_.tags()) {
            if (ids.count(tag.id) > 0) tags.push_back(tag);
        }
        return tags;
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
        SimulatedParameters values(dumpedTags(), cameras());
        const auto sizeOf = [&values](const PipelineSimulation::tagInfo& entry) {
            return values.size(entry.tag);
        };
        DumpCheck check(*simulation_, sizeOf, findings_);
        Progress progress;
        for (int number = 0; number < options_.frames && interruption() == 0; ++number) {
            recordFrame(number, values, check);
            progress.count("recorded", static_cast<uint64_t>(number) + 1,
                           static_cast<uint64_t>(options_.frames), "frames");
        }
        files_ = check.files();
        bytes_ = check.bytes();
    }

    void recordFrame(int number, SimulatedParameters& values, DumpCheck& check) {
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
        const ExifFacts facts = overlaid(options_.given, photo.facts);
        values.set(makeSimulatedFrame(number, frame.width, frame.height, facts));
        // A frame that is dumped gets a folder, and there is no other sign of it.
        simulation_->currentFramePath.clear();
        clock_.beginFrame();
        PipelineSimulation::dumpIfneed(frame);
        clock_.endFrame();
        const auto position = static_cast<uint32_t>(number) + 1;
        const std::string failures = log_.takeFailures();
        if (!failures.empty()) {
            const std::string& path = simulation_->currentFramePath;
            findings_.add(makeFinding(
                tyktree::RuleId::kRecordFailure, {options_.pipe, 0, position},
                {path.empty() ? task_ : tykhost::hostPath(path), "no failure in the library",
                 fmt::format("one or more for request {}", frame.reqId), failures}));
        }
        if (simulation_->currentFramePath.empty()) return;
        ++recorded_;
        noteSimulated(facts);
        check.checkFrame(frame, position);
    }

    void noteSimulated(const ExifFacts& facts) {
        if (!facts.exposureNs) ++simulatedExposure_;
        if (!facts.iso) ++simulatedIso_;
        if (!facts.biasEv) ++simulatedBias_;
    }

    ExitStatus report() {
        findings_.finish();
        printResult(fmt::format("frames: {} dumped of {}", recorded_, options_.frames));
        printResult(fmt::format("files: {} complete, {} bytes", files_, bytes_));
        // Nothing but the folder that start() made is there to see.
        if (recorded_ == 0) rmdir(task_.c_str());
        throwIfInterrupted(fmt::format("recorded {} of {} in {}",
                                       counted(recorded_, "frame", "frames"), options_.frames,
                                       tyktree::escaped(task_)));
        if (recorded_ == 0) {
            if (findings_.count() > 0) return ExitStatus::kFailed;
            printResult(
                fmt::format("nothing to replay: the property {} asks for no frame of pipe {}",
                            kDumpProperty, options_.pipe));
            return ExitStatus::kClean;
        }
        reportSimulated();
        if (files_ == 0) {
            throw Failure(tyktree::escaped(task_) + ": no file of any frame could be written");
        }
        printResult("task: " + tyktree::escaped(task_));
        printResult(fmt::format("replay with: tyksim replay {} --pipe {}",
                                shellWord(root_.empty() ? "/" : root_), options_.pipe));
        return findings_.count() > 0 ? ExitStatus::kFindings : ExitStatus::kClean;
    }

    void reportSimulated() const {
        std::string line;
        const auto add = [&line](uint64_t count, const char* what, const char* option) {
            if (count == 0) return;
            line += fmt::format("{}{} in {} ({} gives it)", line.empty() ? "" : ", ", what,
                                counted(count, "frame", "frames"), option);
        };
        add(simulatedExposure_, "exposure time", "--exposure");
        add(simulatedIso_, "ISO", "--iso");
        add(simulatedBias_, "exposure bias", "--ev");
        printResult("simulated: " + (line.empty() ? std::string("all parameters but the exposure's")
                                                  : line + "; all other parameters in all frames"));
    }

    const RecordOptions& options_;
    std::string root_;
    FrameSource source_;
    CameraSetup setup_;
    LibraryLog log_;
    FindingSummary findings_;
    PipelineSimulation* simulation_ = nullptr;
    std::string task_;
    FrameClock clock_;
    uint64_t recorded_ = 0;
    uint64_t simulatedExposure_ = 0;
    uint64_t simulatedIso_ = 0;
    uint64_t simulatedBias_ = 0;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

/// An exposure time in seconds, "1/125" or "0.008", as nanoseconds.
uint64_t parseExposure(const std::string& given) {
    const size_t slash = given.find('/');
    std::optional<double> seconds = numberFrom(given.substr(0, slash));
    if (seconds && slash != std::string::npos) {
        const double divisor = numberFrom(given.substr(slash + 1)).value_or(0);
        seconds = divisor > 0 ? std::optional(*seconds / divisor) : std::nullopt;
    }
    constexpr double kNanoseconds = 1e9;
    constexpr double kMost = 9e9;  // seconds; the nanoseconds fit 63 bits
    if (seconds && *seconds >= 1 / kNanoseconds && *seconds <= kMost) {
        return static_cast<uint64_t>(std::llround(*seconds * kNanoseconds));
    }
    throw WrongUsage("--exposure: expected seconds such as 1/125 or 0.008, found " + given);
}

/// Settles what depends on other options.
void settle(RecordOptions& options) {
    if (!options.exposure.empty()) options.given.exposureNs = parseExposure(options.exposure);
    if (options.frames == 0) {
        options.frames = options.images.empty() ? 5 : static_cast<int>(options.images.size());
    }
    const int largest = INT_MAX - options.frames;
    if (options.firstRequest <= largest && options.firstSof <= largest) return;
    throw WrongUsage(fmt::format("--first-request, --first-sof: expected at most {} for {} frames",
                                 largest, options.frames));
}

void addFrameOptions(VerbOptions& verb, RecordOptions& options) {
    verb.option("--frames", options.frames, "Frames to record")
        .takes(wholeNumber(1, 100000000))
        .valueName("N")
        .defaultText("one per image, or 5");
    verb.option("--size", options.size,
                fmt::format("Size of the test pattern, up to {}x{}", kMaxWidth, kMaxHeight))
        .valueName("WxH")
        .defaultText("640x480");
    verb.option("--pipe", options.pipe, "Pipe id")
        .takes(wholeNumber(0, INT_MAX))
        .valueName("ID")
        .showDefault();
    verb.option("--camera", options.camera, "Camera id")
        .takes(wholeNumber(0, 255))
        .valueName("ID")
        .showDefault();
    verb.option("--first-request", options.firstRequest, "Request id of the first frame")
        .takes(wholeNumber(0, INT_MAX))
        .valueName("ID")
        .showDefault();
    verb.option("--first-sof", options.firstSof, "Sof id of the first frame")
        .takes(wholeNumber(0, INT_MAX))
        .valueName("ID")
        .showDefault();
    verb.option("--exposure", options.exposure, "Exposure time of every frame")
        .valueName("SECONDS")
        .defaultText("the photograph's, or simulated");
    verb.option("--iso", options.given.iso, "ISO of every frame")
        .takes(wholeNumber(1, UINT_MAX))
        .valueName("N")
        .defaultText("likewise");
    verb.option("--ev", options.given.biasEv, "Exposure bias")
        .takes(realNumber(-100, 100))
        .valueName("EV")
        .defaultText("likewise");
}

}  // namespace

Action defineRecord(VerbOptions& verb) {
    const auto options = std::make_shared<RecordOptions>();
    verb.option("ROOT", options->root, "Folder that stands for the device's root; made if needed")
        .required();
    verb.option("IMAGE", options->images, "JPEG photographs; none: a moving test pattern");
    addFrameOptions(verb, *options);
    verb.option("--tags", options->tagsFile, "Tag table to use from now on; copied to ROOT")
        .valueName("FILE");
    verb.option("--config", options->configFile,
                "Dump configuration to use from now on; copied into the tree")
        .valueName("FILE");
    verb.option("--property", options->properties,
                "Sets a system property; may be given more than once")
        .valueName("NAME=VALUE")
        .defaultText(fmt::format("{}=1", kDumpProperty))
        .oneValueEach();
    addLogLevel(verb, options->logLevel);
    verb.footer(kFooter);
    return [options] {
        settle(*options);
        return Recording(*options).run();
    };
}

}  // namespace tyksim
