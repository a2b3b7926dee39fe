// tyksim replay: replays a dump tree through the library and verifies the values that arrive.
#include "tools/console/Failures.h"
#include "tools/console/FindingPrinter.h"
#include "tools/console/Interruption.h"
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Units.h"
#include "tools/files/OutputPath.h"
#include "tools/playback/ProcessedRecording.h"
#include "tools/playback/ReplaySession.h"
#include "tools/processor/Processor.h"
#include "tools/tyksim/Reading.h"
#include "tree/check/TaskStatistics.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;

constexpr const char* kFooter = R"(
TREE is a device root (as made by record), a dump root (with pipe_N), a pipe, task or frame folder.
replay does not write into it. The tag table is --tags, else the tags.xml of record in the root, else
a table derived from the files' names and sizes.

  --entry frame   replays every frame through the frame entry: all parameter files, and the image
                  unless --no-images is given
  --entry folder  replays every frame folder through the folder entry: the parameter files except
                  the scene record's, then the fixed values of tags 8208 and 8198, the scene record
                  from iSceneInfo.xml and the two raw blocks, and the tuning file's entry; no image.
                  An edited value in iSceneInfo.xml is replayed, and --verify reports it with the
                  dumped and the arrived value

Errors and warnings of the tree (as in `tyksim check`), failures that the library reports and frames
that it abandons are findings. With --verify, every value and image that does not arrive exactly as in
its file is a finding too.

--set NAME=VALUE sets a value in every frame before its replay, like `tyksim copy --set`, but writes
no tree; --verify then compares with the new values.

--with PROCESSOR -o OUT replaces the pipeline by your own processing: every frame's picture and
parameters go through the processor, and its results are recorded into OUT under the same request and
sof ids. PROCESSOR is a file in Python with a function process(frame), which the program of --python
runs (docs/python.md), or a shared object with the interface of the installed header
tyksim_processor.h. The processor gets --option TEXT, which for Python is NAME=VALUE.
The processor runs in a process of its own: a crash ends the run with status 1, and OUT is not made.
Every frame is verified first, as with --verify; a frame that does not arrive exactly as in its files
is a finding and is not processed.

Exit status: 0 clean, 1 failed, 2 wrong usage, 3 finished with findings.

Examples:
  tyksim replay /tmp/phone --verify
  tyksim replay pulled/pipe_1 --entry folder --show-scene --frames 3
  tyksim replay /tmp/phone --set total_gain=100..800 --entry folder --verify
  tyksim replay /tmp/phone --with ./libdenoise.so --option strength=0.7 -o /tmp/denoised
)";

struct ReplayOptions {
    std::string tree;
    TreeOptions selection;
    SessionOptions session;
    bool noImages = false;
    bool showScene = false;
    std::vector<std::string> settings;
    std::string processor;
    std::vector<std::string> processorOptions;
    std::string python = "python3";
    std::string output;
    bool force = false;
};

/// The pipe of all frames. Throws WrongUsage if they belong to several.
void choosePipe(const std::vector<FrameRef>& frames, const TreeOptions& selection,
                SessionOptions& session) {
    std::set<int> pipes;
    for (const FrameRef& frame : frames) {
        if (frame.pipe->id) pipes.insert(*frame.pipe->id);
    }
    if (pipes.size() > 1) {
        std::string choices;
        for (const int pipe : pipes)
            choices += fmt::format("{}{}", choices.empty() ? "" : ", ", pipe);
        throw WrongUsage("the tree has several pipes; choose one with --pipe: " + choices);
    }
    session.pipe = pipes.empty() ? selection.pipe.value_or(1) : *pipes.begin();
}

/// A table from the names and sizes in the selected frames. Reports frames that cannot be listed.
tyktree::TagCatalog deriveTags(const std::vector<FrameRef>& frames, Reading& reading) {
    std::map<const tyktree::TaskEntry*, tyktree::TaskStatistics> tasks;
    tyktree::FrameListing listing;
    for (const FrameRef& frame : frames) {
        auto& statistics = tasks.try_emplace(frame.task, frame.task->frames.size()).first->second;
        if (const tyktags::Status& listed = listing.read(frame.path()); !listed.ok()) {
            reading.problem(fmt::format(
                "{}: expected a frame folder with tags, found one that cannot be listed: {}",
                tyktree::escaped(frame.path()), listed.problem().reason));
        }
        statistics.add(frame.frame->position, listing);
    }
    std::vector<const tyktree::TaskStatistics*> all;
    all.reserve(tasks.size());
    for (const auto& [task, statistics] : tasks) all.push_back(&statistics);
    return tyktree::deriveCatalog(all);
}

std::vector<std::string> tagNames(const tyktree::TagCatalog& catalog) {
    std::vector<std::string> names;
    for (const tyktags::TagEntry& tag : catalog.tags()) names.push_back(tag.name);
    return names;
}

/// Prints the scene record of every frame.
class SceneShower : public FrameTaker {
public:
    void takeFrame(const FrameRef& frame, const ReplayedFrame&, const Delivery& delivery,
                   bool) override {
        const tykhost::PublishedValue* scene = nullptr;
        for (const tykhost::PublishedValue& value : delivery.values) {
            const bool whole = value.bytes.size() == static_cast<size_t>(kSceneRecordBytes);
            if (value.key.tag == kSceneTag && whole) scene = &value;
        }
        const std::string name = tyktree::escaped(frame.frame->name);
        if (!scene) {
            printResult("scene record of " + name + ": none arrived");
            return;
        }
        tyktree::SceneRecord record;
        std::copy(scene->bytes.begin(), scene->bytes.end(), record.bytes.begin());
        printResult(fmt::format("scene record of {} (camera {}, sof {}):", name, scene->key.camId,
                                scene->key.sofId));
        for (const ::SceneField& field : kSceneFields) {
            printResult(fmt::format("  {} = {}", field.path, tyktree::sceneText(field, record)));
        }
    }
};

class Replay {
public:
    /// `processor` is null for a replay alone.
    Replay(const ReplayOptions& options, Reading& reading, Processor* processor)
        : options_(options),
          processor_(processor),
          session_(options.session),
          tree_(reading, options.tree, options.selection, Need::kFrames,
                IndexProblems::kReportedByCheck),
          catalog_(tree_.catalog) {
        choosePipe(tree_.frames, options.selection, session_);
        reportTags(reading);
        edits_ = Edits(options.settings, catalog_, tagNames(catalog_));
        edits_.requireFiles(tree_.frames, [](const tyktree::FileEntry&) { return true; });
    }

    ExitStatus run() { return options_.processor.empty() ? replay() : record(); }

private:
    ExitStatus replay() {
        checkTree();
        SceneShower shower;
        ReplaySession session(session_, tree_.index.path(), tree_.frames, catalog_, edits_,
                              findings_);
        session.run(options_.showScene ? &shower : nullptr);
        report(session.totals());
        printResult(fmt::format("findings: {}", findings_.count()));
        return findings_.status();
    }

    ExitStatus record() {
        OutputFolder out({options_.output, foldersOf({&tree_}), options_.force});
        processor_->open(options_.processorOptions, writtenTable(out.path()));
        checkTree();
        ReplaySession session(session_, tree_.index.path(), tree_.frames, catalog_, edits_,
                              findings_);
        ProcessedRecording recording(*processor_, session_.pipe, out.path(), options_.output,
                                     catalog_, *tree_.frames.front().pipe, session.root(),
                                     findings_);
        session.run(&recording);
        recording.finish();
        closeProcessor();
        if (recording.recorded() > 0) out.commit();
        report(session.totals());
        report(recording);
        printResult(fmt::format("findings: {}", findings_.count()));
        return recording.recorded() == 0 ? ExitStatus::kFindings : findings_.status();
    }

    /// Writes the recording's tag table, which the processor gets too, and returns its path; "" if
    /// there is no table.
    std::string writtenTable(const std::string& root) const {
        if (catalog_.source() == tyktree::TagCatalog::Source::kDerived) return "";
        std::string path = tyktree::tagTablePath(root);
        orFail(tyktags::writeTagTable(path, catalog_.tags()));
        return path;
    }

    /// A failure here does not affect the recorded frames.
    void closeProcessor() {
        const std::string problem = processor_->close();
        if (problem.empty()) return;
        findings_.add(makeFinding(tyktree::RuleId::kReplayFailure, {},
                                  {processor_->path(), "a processor that closes and ends in order",
                                   "one that did not", problem}));
    }

    void reportTags(Reading& reading) {
        if (catalog_.source() == tyktree::TagCatalog::Source::kNone) {
            catalog_ = deriveTags(tree_.frames, reading);
            printNote(
                fmt::format("tag table: none found; {} tags derived from the files' names and "
                            "sizes (ids are made up, except those of well-known names)",
                            catalog_.tags().size()));
        } else {
            printNote("tag table: " + tyktree::escaped(catalog_.path()));
        }
    }

    /// Reports errors and warnings of the tree itself. Notes do not affect a replay.
    void checkTree() {
        struct Sink : tyktree::FindingSink {
            FindingPrinter& to;
            explicit Sink(FindingPrinter& printer) : to(printer) {}
            void add(const tyktree::Finding& finding) override {
                if (severityOf(finding) != tyktree::Severity::kNote) to.add(finding);
            }
        } sink(findings_);
        tyktree::CheckOptions check;
        check.execution = executionOn(options_.selection.jobs);
        tyktree::FrameSelection selection = tree_.selection;
        if (tree_.frames.front().pipe->id) selection.pipe = session_.pipe;
        tyktree::checkTree(tree_.index, selection, tree_.catalog, check, sink);
        throwIfInterrupted();
    }

    void report(const SessionTotals& totals) const {
        printResult(fmt::format("tasks: {} of pipe {}", totals.tasks, session_.pipe));
        printResult(
            fmt::format("frames: {} replayed, {} abandoned", totals.replayed, totals.abandoned));
        printResult(fmt::format("files: {}, {} bytes", totals.files, totals.bytes));
        if (!session_.verify) return;
        const bool all = totals.verified == totals.promised;
        printResult(fmt::format("verified: {}{} values and images, {} bytes", totals.verified,
                                all ? std::string() : fmt::format(" of {}", totals.promised),
                                totals.verifiedBytes));
    }

    void report(const ProcessedRecording& recording) const {
        if (recording.withheld() > 0) {
            printResult(fmt::format("not processed: {} that did not arrive as in their files",
                                    counted(recording.withheld(), "frame", "frames")));
        }
        printResult(recording.recorded() == 0
                        ? std::string("recorded: nothing; the folder is not made")
                        : fmt::format("recorded: {} in {}",
                                      counted(recording.recorded(), "frame", "frames"),
                                      tyktree::escaped(options_.output)));
    }

    const ReplayOptions& options_;
    Processor* const processor_;
    SessionOptions session_;
    FindingPrinter findings_;
    OpenedTree tree_;
    tyktree::TagCatalog catalog_;
    Edits edits_;
};

/// Sets the values that depend on other options.
void settle(ReplayOptions& options) {
    options.session.images = options.session.entry == Entry::frame && !options.noImages;
    options.session.verify = options.session.verify || !options.processor.empty();
    if (!options.processor.empty() && options.output.empty()) {
        throw WrongUsage("--with: expected -o OUT for the results, found none");
    }
    if (options.processor.empty() && !options.output.empty()) {
        throw WrongUsage("-o: expected --with PROCESSOR, found none");
    }
    if (!options.processor.empty() && !options.session.images) {
        throw WrongUsage(fmt::format("--with: expected a replay with images, found {}",
                                     options.noImages ? "--no-images" : "--entry folder"));
    }
    if (options.processor.empty() && !options.processorOptions.empty()) {
        throw WrongUsage("--option: expected --with PROCESSOR, found none");
    }
}

}  // namespace

Action defineReplay(VerbOptions& verb) {
    const auto options = std::make_shared<ReplayOptions>();
    verb.option("TREE", options->tree, "A tree, or part of one").required();
    addTreeOptions(verb, options->selection);
    verb.optionFunction(
            "--entry",
            [options](const std::string& entry) {
                options->session.entry = entry == "folder" ? Entry::folder : Entry::frame;
            },
            "Library entry")
        .takes(oneOf({"frame", "folder"}))
        .defaultText("frame");
    verb.option("--camera", options->session.camera, "Camera id of a folder replay")
        .takes(wholeNumber(0, 255))
        .valueName("ID")
        .defaultText("that of each frame's files");
    verb.flag("--no-images", options->noImages, "Replay parameters only");
    verb.flag("--verify", options->session.verify,
              "Compare every value and image that arrives with its file");
    verb.flag("--show-scene", options->showScene, "Print the scene record that arrives");
    verb.option("--loop", options->session.loops, "Replay the frames N times")
        .takes(wholeNumber(1, 1000000))
        .valueName("N")
        .showDefault();
    verb.option("--set", options->settings, "Set a value in every frame")
        .valueName("NAME=VALUE")
        .oneValueEach();
    verb.option("--with", options->processor,
                "Process every frame with this .py file or shared object")
        .valueName("PROCESSOR");
    verb.option("--option", options->processorOptions, "An option of the processor")
        .valueName("TEXT")
        .oneValueEach();
    verb.option("--python", options->python, "Program that runs a processor in Python")
        .valueName("PROGRAM")
        .showDefault();
    verb.option("-o,--output", options->output, "Record the processor's results as a tree")
        .valueName("OUT");
    addForce(verb, options->force);
    addLogLevel(verb, options->session.logLevel);
    verb.footer(kFooter);
    return [options] {
        settle(*options);
        // Its process must start while tyksim has only one thread.
        std::optional<Processor> processor;
        if (!options->processor.empty()) processor.emplace(options->processor, options->python);
        return runReading(nullptr, [&](Reading& reading) {
            return Replay(*options, reading, processor ? &*processor : nullptr).run();
        });
    };
}

}  // namespace tyksim
