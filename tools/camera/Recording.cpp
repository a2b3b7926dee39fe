#include "tools/camera/Recording.h"

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
#include "tools/camera/GivenValues.h"
#include "tools/camera/PipeLock.h"
#include "tools/camera/SimulatedParameters.h"
#include "tools/console/Failures.h"
#include "tools/console/FindingPrinter.h"
#include "tools/console/Interruption.h"
#include "tools/console/LibraryLog.h"
#include "tools/console/Units.h"
#include "tools/files/Files.h"
#include "tools/picture/Picture.h"
#include "tree/read/Escape.h"

#include <climits>

#include <algorithm>
#include <fmt/format.h>
#include <set>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

using tyktags::TagEntry;

constexpr int kDumpMode = 0;

/// Sets the user's properties, and switches dumping on unless a property sets it.
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

class Recording {
public:
    Recording(const RecordingRequest& request, FrameSource& source)
        : request_(request),
          source_(source),
          setup_(request.root, request.pipe, request.tagsFile, request.configFile),
          log_(request.logLevel) {
        if (!request.values.empty()) {
            values_ = std::make_unique<GivenValues>(request.values, setup_.tags());
        }
        settleCount();
        requireFirstFrame();
    }

    ExitStatus run() {
        setProperties(request_.properties);
        const std::string folder =
            pipeFolderPath((request_.root + kDumpRoot).c_str(), request_.pipe);
        makeFolders(folder);
        const PipeLock lock(folder);
        setup_.install();
        tykhost::setDeviceRoot(request_.root);
        tykhost::setTagTable(setup_.tags());
        simulation_ = PipelineSimMgr::getPipeSimInstance(request_.pipe);
        simulation_->init(kDumpMode);
        prepareDumpList();
        FrameClock clock(request_.rate ? request_.rate : source_.rate());
        begin();
        recordFrames(clock);
        simulation_->stop();
        simulation_->deinit();
        return report();
    }

private:
    using DumpEntry = std::pair<std::string, PipelineSimulation::tagInfo>;

    /// Sets the largest number of frames to record.
    void settleCount() {
        wanted_ = request_.frames;
        if (values_) {
            const auto rows = static_cast<int>(std::min<size_t>(values_->rowCount(), INT_MAX));
            if (wanted_ && *wanted_ > rows) {
                throw WrongUsage(
                    fmt::format("--frames: expected at most {}, the rows of {}, found {}", rows,
                                values_->path(), *wanted_));
            }
            if (!wanted_) wanted_ = rows;
        }
        if (!wanted_) wanted_ = source_.usualCount();
        const int largest = INT_MAX - wanted_.value_or(1);
        if (request_.firstRequest <= largest && request_.firstSof <= largest) return;
        throw WrongUsage(
            fmt::format("--first-request, --first-sof: expected at most {} for {}", largest,
                        counted(static_cast<uint64_t>(wanted_.value_or(1)), "frame", "frames")));
    }

    /// The largest number of frames whose ids fit the library's numbers.
    int limit() const {
        return wanted_.value_or(INT_MAX - std::max(request_.firstRequest, request_.firstSof));
    }

    /// Reads the first picture; without one nothing is recorded.
    void requireFirstFrame() {
        picture_ = source_.next();
        if (picture_) return;
        throwIfInterrupted("nothing was recorded");
        const std::vector<tyktags::Problem> problems = source_.takeProblems();
        if (!problems.empty()) fail(problems.front());
        throw Failure("the input has no picture");
    }

    /// Prepares the library's dump list.
    void prepareDumpList() {
        if (simulation_->dumpTagList.empty()) {
            printNote(simulation_->configPath + ": configures no tag; only images are recorded");
        }
        reportIgnoredColumns();
        for (const DumpEntry& entry : simulation_->dumpTagList) {
            if (entry.second.tag != kMfnrTag) continue;
            setup_.installTuningFiles();
            return;
        }
    }

    /// Reports columns whose values are not dumped.
    void reportIgnoredColumns() const {
        if (!values_) return;
        const std::set<uint32_t> dumped = dumpedIds();
        std::vector<std::string> left;
        for (const auto& [tag, columns] : values_->tags()) {
            if (dumped.count(tag) == 0) left.insert(left.end(), columns.begin(), columns.end());
        }
        if (!left.empty()) {
            printNote(
                fmt::format("{}: not recorded, because the dump configuration leaves out "
                            "their tags: {}",
                            values_->path(), fmt::join(left, ", ")));
        }
        if (!values_->passedOver().empty()) {
            printNote(fmt::format("{}: ignored, because they are not names of fields: {}",
                                  values_->path(), fmt::join(values_->passedOver(), ", ")));
        }
    }

    /// Begins the task and checks for its folder, because the library only logs a failure.
    void begin() {
        const std::string description = source_.description();
        if (!description.empty()) printNote(description);
        simulation_->start();
        task_ = tykhost::hostPath(simulation_->currentTask);
        if (isFolder(task_)) return;
        throw Failure(fmt::format("{}: cannot make the folder: {}", tyktree::escaped(task_),
                                  reasonFor(task_ + "/frame", 1)));
    }

    std::set<uint32_t> dumpedIds() const {
        std::set<uint32_t> ids;
        for (const DumpEntry& entry : simulation_->dumpTagList) ids.insert(entry.second.tag);
        return ids;
    }

    /// The tags to dump; the values of other tags are not needed.
    std::vector<TagEntry> dumpedTags() const {
        const std::set<uint32_t> ids = dumpedIds();
        std::vector<TagEntry> tags;
        for (const TagEntry& tag : setup_.tags()) {
            if (ids.count(tag.id) > 0) tags.push_back(tag);
        }
        return tags;
    }

    /// The cameras whose values are dumped: that of the frames and those in the configuration.
    std::set<uint32_t> cameras() const {
        std::set<uint32_t> cameras{static_cast<uint32_t>(request_.camera)};
        for (const DumpEntry& entry : simulation_->dumpTagList) {
            if (entry.second.camId != kOfTheFrame) cameras.insert(entry.second.camId);
        }
        return cameras;
    }

    void recordFrames(FrameClock& clock) {
        SimulatedParameters parameters(dumpedTags(), cameras());
        const auto sizeOf = [&parameters](const PipelineSimulation::tagInfo& entry) {
            return parameters.size(entry.tag);
        };
        DumpCheck check(*simulation_, sizeOf, findings_);
        Progress progress;
        while (picture_ && interruption() == 0) {
            recordFrame(*picture_, clock, parameters, check);
            ++taken_;
            progress.count("recorded", static_cast<uint64_t>(taken_),
                           static_cast<uint64_t>(wanted_.value_or(0)), "frames");
            picture_ = taken_ < limit() ? source_.next() : nullptr;
            takeInputProblems();
        }
        files_ = check.files();
        bytes_ = check.bytes();
    }

    void takeInputProblems() {
        for (tyktags::Problem& problem : source_.takeProblems()) {
            findings_.add(makeFinding(tyktree::RuleId::kRecordInput,
                                      {request_.pipe, 0, static_cast<uint32_t>(taken_) + 1},
                                      std::move(problem)));
        }
    }

    void recordFrame(const Photo& photo, FrameClock& clock, SimulatedParameters& parameters,
                     DumpCheck& check) {
        // The interface takes a pointer to writable pixels but only reads them.
        PipelineSimulation::imageInfo frame{const_cast<uint8_t*>(photo.image.bytes.data()),
                                            request_.firstRequest + taken_,
                                            request_.firstSof + taken_,
                                            request_.camera,
                                            request_.pipe,
                                            photo.image.width,
                                            photo.image.height,
                                            0};
        reportOddSide(photo.image);
        const ExifFacts facts = overlaid(request_.given, photo.facts);
        if (values_) values_->choose(static_cast<size_t>(taken_));
        parameters.set(makeSimulatedFrame(taken_, frame.width, frame.height, facts), values_.get());
        // Only its folder shows that a frame was dumped.
        simulation_->currentFramePath.clear();
        clock.beginFrame();
        PipelineSimulation::dumpIfneed(frame);
        clock.endFrame();
        const auto position = static_cast<uint32_t>(taken_) + 1;
        const std::string failures = log_.takeFailures();
        if (!failures.empty()) {
            const std::string& path = simulation_->currentFramePath;
            findings_.add(makeFinding(
                tyktree::RuleId::kRecordFailure, {request_.pipe, 0, position},
                {path.empty() ? task_ : tykhost::hostPath(path), "no failure in the library",
                 fmt::format("one or more for request {}", frame.reqId), failures}));
        }
        if (simulation_->currentFramePath.empty()) return;
        ++recorded_;
        noteSimulated(facts);
        check.checkFrame(frame, position);
    }

    /// Reports an odd width or height, once per recording.
    void reportOddSide(const Nv21Image& image) {
        const PictureLayout layout{image.width, image.height};
        const size_t left = layout.bytes() - layout.dumpedBytes();
        if (reportedOddSide_ || left == 0) return;
        reportedOddSide_ = true;
        printNote(
            fmt::format("a picture of {}x{} has an odd side: a dump leaves out the last {} of its "
                        "chroma",
                        image.width, image.height, counted(left, "byte", "bytes")));
    }

    void noteSimulated(const ExifFacts& facts) {
        if (!facts.exposureNs) ++simulatedExposure_;
        if (!facts.iso) ++simulatedIso_;
        if (!facts.biasEv) ++simulatedBias_;
    }

    ExitStatus report() {
        findings_.finish();
        const bool interrupted = interruption() != 0;
        const int total = interrupted ? wanted_.value_or(taken_) : taken_;
        printResult(fmt::format("frames: {} dumped of {}", recorded_, total));
        printResult(fmt::format("files: {} complete, {} bytes", files_, bytes_));
        // Without frames there is only the folder that start() made.
        if (recorded_ == 0) rmdir(task_.c_str());
        throwIfInterrupted(fmt::format("recorded {}{} in {}", counted(recorded_, "frame", "frames"),
                                       wanted_ ? fmt::format(" of {}", *wanted_) : "",
                                       tyktree::escaped(task_)));
        reportEarlyEnd();
        if (recorded_ == 0) {
            if (findings_.count() > 0) return ExitStatus::kFailed;
            printResult(
                fmt::format("nothing to replay: the property {} asks for no frame of pipe {}",
                            kDumpProperty, request_.pipe));
            return ExitStatus::kClean;
        }
        reportSimulated();
        if (files_ == 0) {
            throw Failure(tyktree::escaped(task_) + ": no file of any frame could be written");
        }
        printResult("task: " + tyktree::escaped(task_));
        printResult(fmt::format("replay with: tyksim replay {} --pipe {}",
                                shellWord(request_.root.empty() ? "/" : request_.root),
                                request_.pipe));
        return findings_.count() > 0 ? ExitStatus::kFindings : ExitStatus::kClean;
    }

    void reportEarlyEnd() const {
        if (!wanted_ || taken_ == *wanted_) return;
        const std::string asked = request_.frames
                                      ? fmt::format("--frames asks for {}", *wanted_)
                                      : fmt::format("{} has {} rows", values_->path(), *wanted_);
        printNote(fmt::format("the pictures ended after {}; {}",
                              counted(static_cast<uint64_t>(taken_), "frame", "frames"), asked));
    }

    void reportSimulated() const {
        std::string line;
        const auto add = [&line](uint64_t count, const char* what, const char* option) {
            if (count == 0) return;
            line += fmt::format("{}{} in {} ({} sets it)", line.empty() ? "" : ", ", what,
                                counted(count, "frame", "frames"), option);
        };
        add(simulatedExposure_, "exposure time", "--exposure");
        add(simulatedIso_, "ISO", "--iso");
        add(simulatedBias_, "exposure bias", "--ev");
        line = line.empty() ? "all parameters except the exposure's"
                            : line + "; all other parameters in all frames";
        if (values_) line += fmt::format("; except the values of {}", values_->path());
        printResult("simulated: " + line);
    }

    const RecordingRequest& request_;
    FrameSource& source_;
    CameraSetup setup_;
    std::unique_ptr<GivenValues> values_;
    LibraryLog log_;
    FindingSummary findings_;
    PipelineSimulation* simulation_ = nullptr;
    std::string task_;
    std::optional<int> wanted_;       ///< frames to record; none: all pictures
    const Photo* picture_ = nullptr;  ///< of the next frame
    int taken_ = 0;                   ///< pictures passed to the library
    bool reportedOddSide_ = false;
    uint64_t recorded_ = 0;
    uint64_t simulatedExposure_ = 0;
    uint64_t simulatedIso_ = 0;
    uint64_t simulatedBias_ = 0;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

}  // namespace

ExitStatus record(const RecordingRequest& request, FrameSource& source) {
    return Recording(request, source).run();
}

}  // namespace tyksim
