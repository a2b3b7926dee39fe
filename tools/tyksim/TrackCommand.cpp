// tyksim track: values from frame to frame.
#include "tools/console/Jobs.h"
#include "tools/files/OutputPath.h"
#include "tools/picture/Plot.h"
#include "tools/tyksim/Reading.h"
#include "tools/tyksim/TrackReport.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameValues.h"

#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;

constexpr const char* kFooter = R"(
NAME is TAG, TAG.field, TAG.field[2] or a field of the scene record (total_gain, exp_time, cur_ev,
sx, cap_info/normal_num ...). Of a tag without known fields the CRC-32 and the size are shown. A
scene field is what a folder replay brings: what iSceneInfo.xml says or leaves to the raw blocks.
Where there is no iSceneInfo.xml, it is what the parameter file holds.

Exit status: 0 all was read, 1 the tree cannot be read, 2 wrong usage, 3 a value could not be read
(said on standard error; its place stays empty).

Examples:
  tyksim track /tmp/phone total_gain exp_time
  tyksim track pulled/tykdump KELV_TAG_WB_GAINS.gains[1] --tags tags.xml --changes
  tyksim track /tmp/phone cur_ev --svg ev.svg
)";

struct TrackOptions {
    std::string tree;
    std::vector<std::string> names;
    TreeOptions selection;
    bool json = false;
    bool csv = false;
    bool changes = false;
    std::string svg;
    bool force = false;
};

class Track {
public:
    Track(const TrackOptions& options, const OpenedTree& tree, Reading& reading)
        : options_(options),
          tree_(tree),
          reading_(reading),
          names_(resolvedNames(options, tree)),
          report_(makeTrackReport(reading.json(), options.csv, names_)) {}

    ExitStatus run() {
        if (options_.svg == kStandardOutput) {
            throw WrongUsage("--svg -: standard output has the values; name a file");
        }
        std::optional<ResultFile> drawing;
        if (!options_.svg.empty()) {
            drawing.emplace(OutputRequest{options_.svg, foldersOf({&tree_}), options_.force},
                            Ending::kSeal);
        }
        for (const tyktree::ValueName& name : names_) plot_.addLine(name.name);
        report_->begin();
        forEachOnJobs<FrameRow>(
            tree_.frames.size(), options_.selection.jobs,
            [this] { return tyktree::FrameValueReader(names_); },
            [this](tyktree::FrameValueReader& reader, FrameRow& row, size_t index) {
                row = reader.read(tree_.frames[index].path());
            },
            [this](const FrameRow& row, size_t index) { take(tree_.frames[index], row); });
        report_->end();
        if (drawing) {
            plot_.write(*drawing);
            drawing->commit();
        }
        noteRepeated();
        return ExitStatus::kClean;
    }

private:
    static std::vector<tyktree::ValueName> resolvedNames(const TrackOptions& options,
                                                         const OpenedTree& tree) {
        const std::vector<std::string> tagNames = tagNamesOf(tree);
        std::vector<tyktree::ValueName> names;
        for (const std::string& name : options.names) {
            const auto resolved = resolveName(name, tree.catalog, tagNames);
            if (!resolved.ok()) throw WrongUsage(toLine(resolved.problem()));
            names.push_back(resolved.value());
        }
        return names;
    }

    void take(const FrameRef& frame, const FrameRow& row) {
        reportProblems(frame, row);
        plot(frame, row);
        const FrameRow* const before = task_ == frame.task ? &last_ : nullptr;
        if (options_.changes && before && row == *before) return;
        report_->addRow(frame, row, before);
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
            "some frames have several files of one tag (cameras, pipe types); the first by "
            "sof id, camera and pipe type is shown");
    }

    const TrackOptions& options_;
    const OpenedTree& tree_;
    Reading& reading_;
    const std::vector<tyktree::ValueName> names_;
    const std::unique_ptr<TrackReport> report_;
    Plot plot_;
    const tyktree::TaskEntry* task_ = nullptr;  ///< of the last row
    FrameRow last_;
    bool repeated_ = false;
};

}  // namespace

Action defineTrack(VerbOptions& verb) {
    const auto options = std::make_shared<TrackOptions>();
    verb.option("TREE", options->tree, "A tree, or part of one").required();
    verb.option("NAME", options->names, "What to follow").required();
    addTreeOptions(verb, options->selection);
    const Option jsonFlag = verb.flag("--json", options->json, "One JSON document, on one line");
    verb.flag("--csv", options->csv, "Comma-separated values").excludes(jsonFlag);
    verb.flag("--changes", options->changes, "Only the frames where something moves");
    verb.option("--svg", options->svg, "Draw the values into this file").valueName("FILE");
    addForce(verb, options->force);
    verb.footer(kFooter);
    return [options] {
        return runReading(options->json ? "tyksim.track" : nullptr, [&options](Reading& reading) {
            const OpenedTree tree(reading, options->tree, options->selection);
            return Track(*options, tree, reading).run();
        });
    };
}

}  // namespace tyksim
