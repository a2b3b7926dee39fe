// tyksim track: values from frame to frame.
#include "tools/console/Jobs.h"
#include "tools/files/OutputPath.h"
#include "tools/json/TreeJson.h"
#include "tools/picture/Plot.h"
#include "tools/tyksim/Reading.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameValues.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;
using tyktree::FrameValue;

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

/// A field of a comma-separated file, for a terminal too: control characters are escaped.
std::string csvField(const std::string& given) {
    const std::string text = tyktree::escaped(given);
    if (text.find_first_of(",\"") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

class Track {
public:
    Track(const TrackOptions& options, const OpenedTree& tree, Reading& reading)
        : options_(options), tree_(tree), reading_(reading), json_(reading.json()) {
        const std::vector<std::string> tagNames = tagNamesOf(tree);
        for (const std::string& name : options.names) {
            names_.push_back(tyktree::resolveName(name, tree.catalog, tagNames));
        }
    }

    ExitStatus run() {
        if (options_.svg == kStandardOutput) {
            throw WrongUsage("--svg -: standard output has the values; name a file");
        }
        std::optional<OutputFile> drawing;
        if (!options_.svg.empty()) {
            drawing.emplace(OutputRequest{options_.svg, foldersOf({&tree_}), options_.force},
                            Ending::kSeal);
        }
        begin();
        using Values = std::vector<FrameValue>;
        forEachOnJobs<Values>(
            tree_.frames.size(), options_.selection.jobs,
            [this] { return tyktree::FrameValueReader(names_); },
            [this](tyktree::FrameValueReader& reader, Values& values, size_t index) {
                values = reader.read(tree_.frames[index].path());
            },
            [this](const Values& values, size_t index) { show(tree_.frames[index], values); });
        if (json_) json_->endList();
        if (drawing) {
            plot_.write(*drawing);
            drawing->commit();
        }
        noteRepeated();
        return ExitStatus::kClean;
    }

private:
    /// Columns are as wide as their headings and most numbers are, so that rows can be shown as
    /// they are read.
    static constexpr size_t kValueWidth = 12;

    void begin() {
        for (const tyktree::ValueName& name : names_) plot_.addLine(name.name);
        if (json_) {
            json_->beginList("rows");
            return;
        }
        std::string heading =
            options_.csv ? "pipe,task,frame,request,sof" : "pipe  task  frame  request      sof";
        for (const tyktree::ValueName& name : names_) {
            const std::string shown =
                options_.csv ? csvField(name.name) : tyktree::escaped(name.name);
            heading += options_.csv ? "," + shown : fmt::format("  {:>{}}", shown, widthOf(name));
        }
        printResult(heading);
    }

    static size_t widthOf(const tyktree::ValueName& name) {
        return std::max(kValueWidth, name.name.size());
    }

    void show(const FrameRef& frame, const std::vector<FrameValue>& values) {
        for (size_t i = 0; i < values.size(); ++i) {
            repeated_ = repeated_ || values[i].several;
            if (values[i].problem.empty()) continue;
            reading_.problem(fmt::format("{}: {}: {}", tyktree::escaped(frame.path()),
                                         tyktree::escaped(names_[i].name),
                                         tyktree::escaped(values[i].problem)));
        }
        plot(frame, values);
        const bool first = task_ != frame.task;
        if (options_.changes && !first && values == last_) return;
        if (json_) {
            json_->item(rowItem(frame, values));
        } else if (options_.csv) {
            printResult(csvRow(frame, values));
        } else {
            printResult(textRow(frame, values, !first));
        }
        task_ = frame.task;
        last_ = values;
    }

    void plot(const FrameRef& frame, const std::vector<FrameValue>& values) {
        if (options_.svg.empty()) return;
        std::vector<std::optional<double>> points;
        for (const FrameValue& value : values) {
            std::optional<double> point;
            if (!value.values.empty()) point = tyktree::toNumber(value.values.front());
            points.push_back(point);
        }
        plot_.addPoint(frame.task->position, points);
    }

    Json rowItem(const FrameRef& frame, const std::vector<FrameValue>& values) const {
        Json row = identityOf(frame);
        Json members = Json::object();
        for (size_t i = 0; i < values.size(); ++i) {
            addValue(members, keyOf(names_[i].name), values[i]);
        }
        row["values"] = std::move(members);
        return row;
    }

    static std::vector<std::string> placeOf(const FrameRef& frame) {
        const tyktree::FrameEntry& entry = *frame.frame;
        return {frame.pipe->id ? std::to_string(*frame.pipe->id) : "",
                std::to_string(frame.task->position), std::to_string(entry.position),
                entry.wellNamed ? std::to_string(entry.parsed.requestId) : "",
                entry.wellNamed ? std::to_string(entry.parsed.sofId) : ""};
    }

    static std::string csvRow(const FrameRef& frame, const std::vector<FrameValue>& values) {
        std::string row = fmt::format("{}", fmt::join(placeOf(frame), ","));
        for (const FrameValue& value : values) row += "," + csvField(tyktree::toText(value));
        return row;
    }

    /// A value that moved since the frame before is marked.
    std::string textRow(const FrameRef& frame, const std::vector<FrameValue>& values,
                        bool compare) const {
        const std::vector<std::string> place = placeOf(frame);
        std::string row = fmt::format("{:>4}  {:>4}  {:>5}  {:>7}  {:>7}", place[0], place[1],
                                      place[2], place[3], place[4]);
        for (size_t i = 0; i < values.size(); ++i) {
            const bool moved = compare && !(values[i] == last_[i]);
            const std::string text =
                values[i].absent() ? "-" : tyktree::escaped(tyktree::toText(values[i]));
            row += fmt::format("{}{:>{}}", moved ? " *" : "  ", text, widthOf(names_[i]));
        }
        return row;
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
    JsonDocument* const json_;
    std::vector<tyktree::ValueName> names_;
    Plot plot_;
    const tyktree::TaskEntry* task_ = nullptr;  ///< of the last row
    std::vector<FrameValue> last_;
    bool repeated_ = false;
};

}  // namespace

Action defineTrack(CLI::App& verb) {
    const auto options = std::make_shared<TrackOptions>();
    verb.add_option("TREE", options->tree, "A tree, or part of one")->required();
    verb.add_option("NAME", options->names, "What to follow")->required();
    addTreeOptions(verb, options->selection);
    auto* const jsonFlag = verb.add_flag("--json", options->json, "One JSON document, on one line");
    verb.add_flag("--csv", options->csv, "Comma-separated values")->excludes(jsonFlag);
    verb.add_flag("--changes", options->changes, "Only the frames where something moves");
    verb.add_option("--svg", options->svg, "Draw the values into this file")->type_name("FILE");
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
