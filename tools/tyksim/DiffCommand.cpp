// tyksim diff: compares two frames, tasks or trees.
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/diff/DiffReport.h"
#include "tools/diff/TuningDifference.h"
#include "tools/files/CloneFile.h"
#include "tools/files/OutputPath.h"
#include "tools/picture/CaptureFacts.h"
#include "tools/tyksim/Reading.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

constexpr const char* kFooter = R"(
A and B are frame folders, tasks or trees. Tasks match by the name of their folder, or by their order
if no task has the name of the other side's. Frames match by their request id or, with --match order,
by their order among the selected ones. --pipe, --task, --frames ... select on both sides.

A summary over all frames comes first, then the worst frames: those with the largest difference
between their images, then those with the most different values. Sizes and values appear as
A's -> B's. The planes of images are compared sample by sample; the PSNR is in dB, and "pixels" counts
samples that differ by more than --tolerance. Images without such a sample count as equal. --order
and --stride tell how samples are stored, as for 'tyksim export'; --matrix and --range do not affect
the comparison of the stored samples.

Files match by the content of their names: the tag, camera and kind of a parameter, the camera of an
image. diff also reports other differences between the names, in the sof id or in the spelling of a
number (064 for 64 replays the same), and another order of frames. It does not compare the names and
times of tasks and frames.

--ignore NAME ignores a tag, TAG.field, a field of the scene record, 'image', or the sof ids in names
of files ('sof'); it may be given more than once. --heat-map writes a PNG for every frame with
different images: grey for equal pixels, red through yellow to white for different ones, blue where
one of the files ends.

Exit status: 0 equal, 1 failed, 2 wrong usage, 3 different or not completely read.

Examples:
  tyksim diff before after
  tyksim diff before after --tolerance 2 --ignore KELV_TAG_GYRO_SAMPLES --heat-map where
  tyksim diff task_a task_b --match order --ignore sof --json
)";

struct Options {
    std::string a;
    std::string b;
    TreeOptions tree;
    MatchBy match = MatchBy::kRequest;
    int tolerance = 0;
    std::vector<std::string> ignored;
    std::string heatMaps;
    size_t worst = 10;
    bool json = false;
    bool force = false;
};

// Words that --ignore takes besides the names of values.
constexpr const char* kImageName = "image";
constexpr const char* kSofName = "sof";

/// Draws the differences of images. One thread at a time uses an object.
class HeatMapWriter {
public:
    void write(const FramePair& frames, const ImageDifference& image, int tolerance,
               const std::string& folder) {
        PictureFile a(image.pathA, image.layout);
        PictureFile b(image.pathB, image.layout);
        a.requireSamples();
        b.requireSamples();
        const Picture pictureA = a.whole();
        const size_t pixels =
            static_cast<size_t>(pictureA.width()) * static_cast<size_t>(pictureA.height());
        uint8_t* const map = map_.reserve(pixels);
        const SampleCounts both = image.layout.samplesIn(std::min(a.bytes(), b.bytes()));
        drawHeatMap(pictureA, b.whole(), both, tolerance, map);
        const Plane plane{map, pictureA.width(), pictureA.width(), pictureA.height()};
        writeNewFile(folder + "/" + pictureName(*frames.a, image.camera, image.index) + ".png",
                     png_.encode(plane, heatPalette(), {}));
    }

private:
    SampleBuffer map_;
    PngEncoder png_;
};

/// The objects of one thread.
struct Worker {
    Worker(const DiffRules& rules, const tyktree::TagCatalog& catalog) : comparer(rules, catalog) {}

    FrameComparer comparer;
    HeatMapWriter heatMaps;
};

DiffRules rulesOf(const Options& options, const OpenedTree& a, const OpenedTree& b) {
    DiffRules rules;
    rules.assumed = options.tree.assumed;
    rules.tolerance = options.tolerance;
    std::vector<std::string> names = tagNamesOf(a);
    const std::vector<std::string> more = tagNamesOf(b);
    names.insert(names.end(), more.begin(), more.end());
    for (const std::string& name : options.ignored) {
        if (name == kImageName) {
            rules.ignoreImages = true;
        } else if (name == kSofName) {
            rules.ignoreSofs = true;
        } else {
            const auto ignored = resolveName(name, commonTable(a.catalog, b.catalog), names);
            if (!ignored.ok()) throw WrongUsage(toLine(ignored.problem()));
            rules.ignored.push_back(ignored.value());
        }
    }
    return rules;
}

/// One run of the verb.
class Diff {
public:
    Diff(const Options& options, Reading& reading)
        : options_(options),
          reading_(reading),
          report_(makeDiffReport(reading.json(), options.match)),
          a_(reading, options.a, options.tree),
          b_(reading, options.b, options.tree),
          rules_(rulesOf(options, a_, b_)),
          summary_(options.worst) {}

    ExitStatus run() {
        const std::vector<FramePair> pairs = matchFrames(
            {&a_.index.path(), &a_.frames}, {&b_.index.path(), &b_.frames}, options_.match);
        std::optional<OutputFolder> maps;
        if (!options_.heatMaps.empty()) {
            maps.emplace(OutputRequest{options_.heatMaps, foldersOf({&a_, &b_}), options_.force});
        }
        report_->begin(a_.index.path().path, b_.index.path().path);
        compareTuning();
        comparePairs(pairs, maps ? maps->path() : "");
        if (maps) maps->commit();
        report_->end({summary_, tuning_, !reading_.anyProblem(), same()});
        return same() ? ExitStatus::kClean : ExitStatus::kFindings;
    }

private:
    void comparePairs(const std::vector<FramePair>& pairs, const std::string& maps) {
        forEachOnJobs<FrameDifference>(
            pairs.size(), options_.tree.jobs,
            [this] { return Worker(rules_, commonTable(a_.catalog, b_.catalog)); },
            [&](Worker& worker, FrameDifference& difference, size_t index) {
                difference = compare(pairs[index], maps, worker);
            },
            [&](FrameDifference& difference, size_t index) {
                take(pairs[index], std::move(difference));
                progress_.count("compared", index + 1, pairs.size(), "frames");
            });
    }

    FrameDifference compare(const FramePair& pair, const std::string& maps, Worker& worker) const {
        if (!pair.a || !pair.b) return {};
        FrameDifference difference = worker.comparer.compare(pair);
        if (maps.empty()) return difference;
        for (const ImageDifference& image : difference.images) {
            if (!image.samples || !image.samples->problem.empty()) continue;
            try {
                worker.heatMaps.write(pair, image, options_.tolerance, maps);
            } catch (const NoPicture& problem) {
                difference.problems.emplace_back(problem.what());
            }
        }
        return difference;
    }

    void take(const FramePair& pair, FrameDifference difference) {
        for (const std::string& problem : difference.problems) reading_.problem(problem);
        const bool same = pair.a && pair.b && difference.same();
        if (!same) report_->addPair(pair, difference);
        summary_.add(pair, std::move(difference));
    }

    void compareTuning() {
        tuning_ = differentTuning(a_.index, b_.index);
        for (const ContentDifference& copy : tuning_) {
            if (!copy.bytes.problem.empty()) reading_.problem(copy.bytes.problem);
        }
    }

    /// Whether both sides are equal. Unreadable files may differ, so they count as different.
    bool same() const { return summary_.same() && tuning_.empty() && !reading_.anyProblem(); }

    const Options& options_;
    Reading& reading_;
    const std::unique_ptr<DiffReport> report_;
    const OpenedTree a_;
    const OpenedTree b_;
    const DiffRules rules_;
    DiffSummary summary_;
    std::vector<ContentDifference> tuning_;
    Progress progress_;
};

}  // namespace

Action defineDiff(VerbOptions& verb) {
    const auto options = std::make_shared<Options>();
    verb.option("A", options->a, "A frame, a task or a tree").required();
    verb.option("B", options->b, "The other frame, task or tree").required();
    verb.optionFunction(
            "--match",
            [options](const std::string& by) {
                options->match = by == "order" ? MatchBy::kOrder : MatchBy::kRequest;
            },
            "How frames are matched")
        .takes(oneOf({"request", "order"}))
        .defaultText("request");
    verb.option("--tolerance", options->tolerance,
                "Samples that differ by at most N count as equal")
        .takes(wholeNumber(0, 255))
        .valueName("N")
        .showDefault();
    verb.option("--ignore", options->ignored, "Ignore this in the comparison")
        .valueName("NAME")
        .oneValueEach();
    verb.option("--heat-map", options->heatMaps, "Folder to make for pictures of the differences")
        .valueName("DIR");
    verb.option("--worst", options->worst, "Frames to show")
        .takes(wholeNumber(0, 100000))
        .valueName("N")
        .showDefault();
    addColourRule(verb, options->tree.assumed);
    addTreeOptions(verb, options->tree);
    verb.flag("--json", options->json, "One JSON document, on one line");
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        return runReading(options->json ? "tyksim.diff" : nullptr,
                          [&options](Reading& reading) { return Diff(*options, reading).run(); });
    };
}

}  // namespace tyksim
