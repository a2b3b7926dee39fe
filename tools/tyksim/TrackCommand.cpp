// tyksim track: shows values from frame to frame.
#include "tools/console/Jobs.h"
#include "tools/files/Files.h"
#include "tools/files/OutputPath.h"
#include "tools/picture/Plot.h"
#include "tools/tyksim/Reading.h"
#include "tools/tyksim/TrackReport.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameValues.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;

constexpr const char* kFooter = R"(
NAME is TAG, TAG.field, TAG.field[2], a field of the scene record (total_gain, exp_time, cur_ev,
sx, cap_info/normal_num ...) or a measure of the image (image.mean, image.u.std, image.noise,
image[X,Y,W,H].clipped.high, image.flicker ...; docs/measures.md lists them). With -n or --all every
argument is a tree. Without them, the first argument is the tree and the others are names.

--all adds every scene field and every field of the tag table to the names. --rows prints one JSON
object per frame and line: path, pipe, task, frame, request, sof and time, then the names, null
where a frame has no value. --csv prints the exact bytes of texts, on a terminal with control
characters escaped. `tyksim record --values` takes both.

For a tag without known fields the CRC-32 and the size are shown. A scene field has the value that a
folder replay publishes: that of iSceneInfo.xml, or of the raw blocks if the XML leaves it to them.
Without iSceneInfo.xml it has the value of the parameter file.

Exit status: 0 everything was read, 1 the tree cannot be read, 2 wrong usage, 3 a value could not be
read (see standard error; its cell stays empty).

Examples:
  tyksim track /tmp/phone total_gain exp_time
  tyksim track pulled/tykdump KELV_TAG_WB_GAINS.gains[1] --tags tags.xml --changes
  tyksim track /tmp/phone cur_ev --svg ev.svg
  tyksim track trees/* -n image.mean image.noise total_gain --rows > frames.jsonl
)";

struct TrackOptions {
    ReadingOptions reading;
    std::vector<std::string> names;
    bool namesBehindTree = false;  ///< without -n and --all
    bool all = false;
    bool csv = false;
    bool rows = false;
    bool changes = false;
    std::string svg;
    bool force = false;
};

TrackForm formOf(const TrackOptions& options) {
    if (options.reading.json) return TrackForm::kDocument;
    if (options.rows) return TrackForm::kRows;
    return options.csv ? TrackForm::kCsv : TrackForm::kText;
}

/// Separates names from trees among the positional arguments.
void takeNames(TrackOptions& options) {
    std::vector<std::string>& words = options.reading.trees;
    if (options.names.empty() && !options.all) {
        options.names.assign(words.begin() + 1, words.end());
        options.namesBehindTree = true;
        words.resize(1);
        if (options.names.empty()) {
            throw WrongUsage("expected NAME, found none (see `tyksim track --help`)");
        }
    }
    if (options.svg == kStandardOutput) {
        throw WrongUsage("--svg -: standard output has the values; name a file");
    }
    if (!options.svg.empty() && words.size() > 1) {
        throw WrongUsage(fmt::format("--svg: expected one tree, found {}", words.size()));
    }
}

/// Follows the values of one tree.
class Track {
public:
    Track(const TrackOptions& options, TrackReport& report, const OpenedTree& tree,
          Reading& reading)
        : options_(options),
          tree_(tree),
          reading_(reading),
          names_(namesOf(options, tree)),
          report_(report) {}

    ExitStatus run() {
        std::optional<ResultFile> drawing;
        if (!options_.svg.empty()) {
            drawing.emplace(OutputRequest{options_.svg, foldersOf({&tree_}), options_.force},
                            Ending::kSeal);
        }
        for (const tyktree::ValueName& name : names_) plot_.addLine(name.name);
        const tyktree::TreePath& path = tree_.index.path();
        const TrackedTree tracked{path.given, path.path, names_, reading_.json()};
        report_.begin(tracked);
        forEachOnJobs<FrameRow>(
            tree_.frames.size(), options_.reading.tree.jobs,
            [this] { return tyktree::FrameValueReader(names_); },
            [this](tyktree::FrameValueReader& reader, FrameRow& row, size_t index) {
                row = reader.read(tree_.frames[index]);
            },
            [this](const FrameRow& row, size_t index) { take(tree_.frames[index], row); });
        report_.end();
        if (drawing) {
            plot_.write(*drawing);
            drawing->commit();
        }
        noteRepeated();
        return ExitStatus::kClean;
    }

private:
    static std::vector<tyktree::ValueName> namesOf(const TrackOptions& options,
                                                   const OpenedTree& tree) {
        std::vector<std::string> names = options.names;
        if (options.all) {
            const std::vector<std::string> all = tyktree::fieldNames(tree.catalog);
            names.insert(names.end(), all.begin(), all.end());
            std::set<std::string> known;
            const auto again = [&known](const std::string& name) {
                return !known.insert(name).second;
            };
            names.erase(std::remove_if(names.begin(), names.end(), again), names.end());
        }
        try {
            return resolveNames(tree, tree.catalog, names);
        } catch (const PicksNothing& unknown) {
            throw PicksNothing(unknown.what() + adviceOnTrees(options));
        }
    }

    /// Advice if an argument that counts as a name is a folder.
    static std::string adviceOnTrees(const TrackOptions& options) {
        const auto folder = std::find_if(options.names.begin(), options.names.end(), isFolder);
        if (folder == options.names.end()) return "";
        return fmt::format("; {} is a folder: {}", shellWord(*folder),
                           options.namesBehindTree
                               ? "with several trees, put -n in front of the names"
                               : "put the trees in front of -n");
    }

    void take(const FrameRef& frame, const FrameRow& row) {
        reportProblems(frame, row);
        plot(frame, row);
        const FrameRow* const before = task_ == frame.task ? &last_ : nullptr;
        if (options_.changes && before && row == *before) return;
        report_.addRow(frame, row, before);
        task_ = frame.task;
        last_ = row;
    }

    void reportProblems(const FrameRef& frame, const FrameRow& row) {
        for (size_t i = 0; i < row.size(); ++i) {
            repeated_ = repeated_ || row[i].several;
            if (row[i].problem.empty()) continue;
            reading_.problem(fmt::format("{}: {}: {}", tyktree::escaped(frame.path()),
                                         tyktree::escaped(names_[i].name),
                                         tyktree::escaped(row[i].problem)));
        }
    }

    void plot(const FrameRef& frame, const FrameRow& row) {
        if (options_.svg.empty()) return;
        std::vector<std::optional<double>> points;
        for (const tyktree::FrameValue& value : row) {
            std::optional<double> point;
            if (!value.values.empty()) point = tyktags::toNumber(value.values.front());
            points.push_back(point);
        }
        plot_.addPoint(frame.task->position, points);
    }

    void noteRepeated() const {
        if (!repeated_) return;
        printNote(
            "some frames have several files of one tag (cameras, pipe types) or several images; "
            "the "
            "first by sof id, camera and pipe type is shown");
    }

    const TrackOptions& options_;
    const OpenedTree& tree_;
    Reading& reading_;
    const std::vector<tyktree::ValueName> names_;
    TrackReport& report_;
    Plot plot_;
    const tyktree::TaskEntry* task_ = nullptr;  ///< of the last row
    FrameRow last_;
    bool repeated_ = false;
};

}  // namespace

Action defineTrack(VerbOptions& verb) {
    const auto options = std::make_shared<TrackOptions>();
    addReadingOptions(verb, options->reading);
    verb.existing("TREE").description(
        "Trees, or parts of trees; without -n and --all a tree and the names to follow");
    verb.option("-n,--name", options->names, "Value to follow").valueName("NAME");
    verb.flag("--all", options->all, "Follow all scene fields and all fields of the tag table");
    addColourRule(verb, options->reading.tree.assumed);
    const Option jsonFlag = verb.existing("--json");
    const Option csvFlag =
        verb.flag("--csv", options->csv, "Comma-separated values").excludes(jsonFlag);
    verb.flag("--rows", options->rows, "A flat JSON object per frame, one per line")
        .excludes(jsonFlag)
        .excludes(csvFlag);
    verb.flag("--changes", options->changes, "Only the frames in which a value changes");
    verb.option("--svg", options->svg, "Draw the values into this file").valueName("FILE");
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        takeNames(*options);
        const auto report = makeTrackReport(formOf(*options), options->reading.trees.size() > 1);
        return readTrees(options->reading, "tyksim.track",
                         [&](const OpenedTree& tree, Reading& reading) {
                             return Track(*options, *report, tree, reading).run();
                         });
    };
}

}  // namespace tyksim
