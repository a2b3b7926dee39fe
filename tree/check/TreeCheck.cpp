#include "tree/check/TreeCheck.h"

#include "tags/KnownTags.h"
#include "tree/check/TableCheck.h"
#include "tree/check/TaskCheck.h"
#include "tree/read/FolderReader.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <unistd.h>
#include <utility>

namespace tyktree {

namespace {

using Kind = TreePath::Kind;

class TreeChecker {
public:
    TreeChecker(const TreeIndex& index, const FrameSelection& selection, const TagCatalog& catalog,
                const CheckOptions& options, FindingSink& sink)
        : index_(index), selection_(selection), catalog_(catalog), options_(options), sink_(sink) {}

    CheckTotals check();

private:
    void add(RuleId rule, const std::string& path, std::optional<int> pipe, std::string expected,
             std::string found, std::string reason = "") {
        sink_.add(makeFinding(rule, {pipe, 0, 0},
                              {path, std::move(expected), std::move(found), std::move(reason)}));
    }

    void giveIndexProblems();
    void readConfig(const PipeEntry& pipe, DumpConfigFile& config);
    void checkPipe(const PipeEntry& pipe);
    void checkFrames(const PipeEntry& pipe, const TaskEntry& task, const DumpConfigFile& config);
    void takeFrame(TaskSummary& summary, const FrameEntry& frame, const FrameJob& job,
                   std::map<int, Geometry>& geometries);
    void noteTuning(const TaskStatistics& statistics);
    void noteFields(const TaskStatistics& statistics);
    void giveOpaqueTags();
    void checkTuningCopy(const std::string& path, std::optional<int> pipe, bool regular,
                         uint64_t bytes);
    void checkTuningCopies();

    const TreeIndex& index_;
    const FrameSelection& selection_;
    const TagCatalog& catalog_;
    const CheckOptions& options_;
    FindingSink& sink_;
    CheckTotals totals_;
    uint64_t frameCount_ = 0;
    std::map<std::string, const tyktags::TagEntry*> opaque_;  ///< tags without fields, by name
    bool tuningDumped_ = false;   ///< a frame has the table of tuning files
    bool tuningChecked_ = false;  ///< the copies were checked
    bool stopped_ = false;
};

void TreeChecker::giveIndexProblems() {
    for (const TreeProblem& problem : index_.problems()) {
        if (picks(index_, selection_, problem.place)) sink_.add(findingOf(problem));
    }
}

void TreeChecker::readConfig(const PipeEntry& pipe, DumpConfigFile& config) {
    const Kind kind = index_.path().kind;
    if (pipe.configPath.empty()) {
        const bool whole = kind == Kind::kDeviceRoot || kind == Kind::kDumpRoot;
        if (whole && pipe.id && !pipe.tasks.empty()) {
            add(RuleId::kConfigMissing, configFilePath(index_.path().dumpRoot.c_str(), *pipe.id),
                pipe.id, "a dump configuration", "none");
        }
        return;
    }
    readDumpConfig(pipe.configPath, config);
    checkConfig(config, pipe.configPath, *pipe.id, catalog_, sink_);
}

void TreeChecker::checkPipe(const PipeEntry& pipe) {
    const bool picked =
        std::any_of(pipe.tasks.begin(), pipe.tasks.end(),
                    [&](const TaskEntry& task) { return selection_.picks(pipe, task); });
    if (!picked) return;
    ++totals_.pipes;
    DumpConfigFile config;
    readConfig(pipe, config);
    for (const TaskEntry& task : pipe.tasks) {
        if (selection_.picks(pipe, task) && !stopped_) checkFrames(pipe, task, config);
    }
    for (const SideFile& copy : pipe.tuningCopies) {
        checkTuningCopy(pipe.path + "/" + copy.name, pipe.id, copy.regular, copy.bytes);
    }
    tuningChecked_ = tuningChecked_ || (pipe.id == kMfnrCopyPipe && !pipe.tuningCopies.empty());
}

void TreeChecker::checkTuningCopy(const std::string& path, std::optional<int> pipe, bool regular,
                                  uint64_t bytes) {
    if (!regular) {
        add(RuleId::kFileKind, path, pipe, "a copy of a tuning file", "no regular file");
    } else if (::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) {
        add(RuleId::kFileUnreadable, path, pipe, "a copy of a tuning file", "none",
            tyktags::systemReason(errno));
    } else if (bytes == 0) {
        add(RuleId::kTuningCopyEmpty, path, pipe, "a copy of a tuning file", "no bytes");
    }
}

void TreeChecker::checkFrames(const PipeEntry& pipe, const TaskEntry& task,
                              const DumpConfigFile& config) {
    TaskContext context{pipe, task, options_, config.expectsImages(), {}};
    for (const ConfigEntry& entry : config.entries) {
        if (entry.sofId != kFramesOwn) context.sofFilters.insert(entry.sofId);
    }
    std::vector<const FrameEntry*> frames;
    for (const FrameEntry& frame : task.frames) {
        if (selection_.picks(frame)) frames.push_back(&frame);
    }
    ++totals_.tasks;
    if (frames.empty()) return;

    const bool whole = frames.back() == &task.frames.back() && index_.path().kind != Kind::kFrame;
    TaskStatistics statistics(task.frames.back().position);
    TaskSummary summary{context, catalog_, config.entries, frames, statistics, {}, nullptr};
    summary.unseen.resize(task.frames.back().position);
    std::map<int, Geometry> geometries;  // the latest of each camera
    FrameJob last;
    stopped_ = !forEachInOrder<FrameJob>(
        frames.size(), options_.execution,
        [&](FrameJob& job, size_t i) { checkFrame(context, *frames[i], job); },
        [&](FrameJob& job, size_t i) {
            takeFrame(summary, *frames[i], job, geometries);
            if (whole && i + 1 == frames.size()) {
                last = std::move(job);
            } else {
                for (const Finding& finding : job.findings.list) sink_.add(finding);
            }
        });
    totals_.files += statistics.files();
    totals_.bytes += statistics.bytes();
    noteTuning(statistics);
    noteFields(statistics);
    if (stopped_) return;
    if (whole) summary.last = &last;
    checkTask(summary, sink_);
}

/// Takes a frame's results in order, for the checks that need the earlier frames.
void TreeChecker::takeFrame(TaskSummary& summary, const FrameEntry& frame, const FrameJob& job,
                            std::map<int, Geometry>& geometries) {
    const FrameListing& listing = job.listing;
    ++totals_.frames;
    if (!listing.status().ok() || listing.files().empty())
        summary.unseen[frame.position - 1] = true;
    summary.statistics.add(frame.position, listing);
    if (options_.progress) options_.progress(totals_.frames, frameCount_);
    const FileEntry* const image = listing.image();
    if (!image || namedImageBytes(image->image) == 0) return;
    const Geometry size{image->image.width, image->image.height};
    const auto [last, isNew] = geometries.emplace(image->image.camId, size);
    if (isNew || last->second == size) return;
    const auto text = [](const Geometry& geometry) {
        return std::to_string(geometry.width) + "x" + std::to_string(geometry.height);
    };
    sink_.add(makeFinding(
        RuleId::kImageSizeVaries, summary.context.placeOf(frame),
        {listing.pathOf(*image), text(last->second) + " as in the frame before", text(size)}));
    last->second = size;
}

/// Notes whether the task's frames have the table of tuning files.
void TreeChecker::noteTuning(const TaskStatistics& statistics) {
    const tyktags::TagEntry* const tag = catalog_.byId(kMfnrTag);
    const auto* const known =
        std::find_if(std::begin(tyktags::kKnownTags), std::end(tyktags::kKnownTags),
                     [](const tyktags::KnownTag& knownTag) { return knownTag.id == kMfnrTag; });
    const std::string name = tag ? tag->name : known->name;
    for (const ParameterColumn& column : statistics.columns()) {
        if (column.tagName == name) tuningDumped_ = true;
    }
}

/// Adds up how many bytes lie in fields. The fields of the scene record need no table.
void TreeChecker::noteFields(const TaskStatistics& statistics) {
    for (const ParameterColumn& column : statistics.columns()) {
        const tyktags::TagEntry* const tag = catalog_.byName(column.tagName);
        if (!tag) continue;
        const std::vector<tyktags::TagField> fields = fieldsOf(*tag);
        if (fields.empty()) opaque_.emplace(tag->name, tag);
        for (const auto& [size, files] : column.sizes) {
            totals_.parameterBytes += size * files;
            totals_.fieldBytes += coveredBytes(fields, size) * files;
        }
    }
}

void TreeChecker::giveOpaqueTags() {
    for (const auto& [name, tag] : opaque_) {
        add(RuleId::kTagOpaque, catalog_.path(), std::nullopt, "fields of " + name,
            "none for its " + std::to_string(tag->size) + " bytes");
    }
}

/// Checks the tuning copy. All pipes share one, in the folder of a pipe that need not have frames.
void TreeChecker::checkTuningCopies() {
    const TreePath& path = index_.path();
    if (!tuningDumped_ || path.dumpRoot.empty()) return;
    const std::string folder = pipeFolderPath(path.dumpRoot.c_str(), kMfnrCopyPipe);
    FolderReader reader(folder);
    std::string_view name;
    unsigned char type = DT_UNKNOWN;
    bool found = false;
    while (reader.next(name, type)) {
        if (type == DT_DIR || !isMfnrCopyName(name)) continue;
        found = true;
        if (tuningChecked_) continue;
        FileEntry copy;
        std::string copyPath = folder;
        copyPath.append("/").append(name);
        // A copy of an unknown type is reported as one that is not a regular file.
        static_cast<void>(reader.examine(copyPath.c_str() + folder.size() + 1, type, copy));
        checkTuningCopy(copyPath, kMfnrCopyPipe, copy.regular(), copy.bytes);
    }
    if (found) return;
    add(RuleId::kTuningCopyMissing, folder, kMfnrCopyPipe, "a copy of the tuning file", "none",
        reader.status().ok() ? "" : reader.status().problem().reason);
}

CheckTotals TreeChecker::check() {
    giveIndexProblems();
    frameCount_ = select(index_, selection_).size();
    for (const PipeEntry& pipe : index_.pipes()) {
        if (!stopped_) checkPipe(pipe);
    }
    if (!stopped_) checkTuningCopies();
    if (!stopped_) giveOpaqueTags();
    return totals_;
}

}  // namespace

CheckTotals checkTree(const TreeIndex& index, const FrameSelection& selection,
                      const TagCatalog& catalog, const CheckOptions& options, FindingSink& sink) {
    return TreeChecker(index, selection, catalog, options, sink).check();
}

}  // namespace tyktree
