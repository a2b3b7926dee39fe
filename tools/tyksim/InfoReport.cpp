#include "tools/tyksim/InfoReport.h"

#include "tools/console/Console.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/json/Json.h"
#include "tree/read/Escape.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <utility>

namespace tyksim {

namespace {

using tyktree::FrameEntry;
using tyktree::FrameRef;
using tyktree::TaskEntry;
using tyktree::TaskStatistics;

constexpr const char* kTaskIndent = "          ";

std::string geometries(const TaskStatistics& statistics) {
    std::string words;
    for (const auto& [size, count] : statistics.geometries()) {
        words += words.empty() ? "" : ", ";
        words += fmt::format("{}x{}", size.width, size.height);
        if (statistics.geometries().size() > 1) words += fmt::format(" ({})", count);
    }
    return words.empty() ? "no image" : words;
}

/// The ids that `idOf` returns for the frames, as ranges.
template <typename IdOf>
std::string ids(const std::vector<FrameRef>& frames, IdOf idOf) {
    std::vector<int64_t> numbers;
    for (const FrameRef& frame : frames) {
        if (frame.frame->wellNamed) numbers.push_back(idOf(frame.frame->parsed));
    }
    std::sort(numbers.begin(), numbers.end());
    return rangesText(rangesOf(numbers));
}

std::string dateOf(const TaskEntry& task) {
    if (!task.parsed) return "no date";
    std::string date = tyktree::isoTime(task.parsed->stamp);
    std::replace(date.begin(), date.end(), 'T', ' ');
    return date;
}

/// The task with only the selected frames, for their pauses and gaps.
TaskEntry reducedTask(const PickedTask& task) {
    TaskEntry reduced = *task.task;
    reduced.frames.clear();
    for (const FrameRef& frame : task.frames) reduced.frames.push_back(*frame.frame);
    return reduced;
}

Table tagTable(const TaskStatistics& statistics) {
    Table table{{"tag"},
                {"camera", Align::kRight},
                {"pipe type", Align::kRight},
                {"dump type", Align::kRight},
                {"frames", Align::kRight},
                {"size", Align::kRight},
                {"bytes", Align::kRight}};
    for (const tyktree::ParameterColumn& column : statistics.columns()) {
        const uint64_t least = column.sizes.empty() ? 0 : column.sizes.begin()->first;
        const uint64_t most = column.sizes.empty() ? 0 : column.sizes.rbegin()->first;
        table.addRow({tyktree::escaped(column.tagName), fmt::to_string(column.camId),
                      fmt::to_string(column.pipe), fmt::to_string(column.dumpType),
                      fmt::to_string(column.count),
                      least == most ? fmt::to_string(least) : fmt::format("{}..{}", least, most),
                      fmt::to_string(column.bytes)});
    }
    return table;
}

/// The frames of one task, one per row.
class FrameTable {
public:
    void add(const ListedFrame& listed) {
        const FrameEntry& frame = *listed.frame.frame;
        const bool named = frame.wellNamed;
        table_.addRow(
            {fmt::to_string(frame.position),
             named ? tyktree::isoTime(frame.parsed.stamp).substr(kTimeOfDay)
                   : tyktree::escaped(frame.name),
             sinceBefore(frame), named ? fmt::to_string(frame.parsed.requestId) : "",
             named ? fmt::to_string(frame.parsed.sofId) : "",
             listed.image ? fmt::format("{}x{}", listed.image->width, listed.image->height) : "-",
             fmt::to_string(listed.files), fmt::to_string(listed.bytes)});
        before_ = &frame;
    }

    void print(const std::string& indent) const { table_.print(indent); }

private:
    static constexpr size_t kTimeOfDay = 6;  ///< position in isoTime(), after month and day

    /// Milliseconds since the frame of the row before, if both names have a time.
    std::string sinceBefore(const FrameEntry& frame) const {
        if (!before_ || !before_->wellNamed || !frame.wellNamed) return "";
        return fmt::to_string(
            tyktree::millisecondsBetween(before_->parsed.stamp, frame.parsed.stamp));
    }

    Table table_{{"frame", Align::kRight}, {"time"},
                 {"+ms", Align::kRight},   {"request", Align::kRight},
                 {"sof", Align::kRight},   {"image", Align::kRight},
                 {"files", Align::kRight}, {"bytes", Align::kRight}};
    const FrameEntry* before_ = nullptr;
};

class TextInfo : public InfoReport {
public:
    explicit TextInfo(std::string by) : by_(std::move(by)) {}

    void beginTree(const std::string& path) override { printResult(tyktree::escaped(path)); }

    void beginPipe(const tyktree::PipeEntry& pipe) override {
        printResult(pipe.id ? fmt::format("pipe {}", *pipe.id) : "pipe of unknown id");
    }

    void beginTask(const TaskEntry& /*task*/) override { frames_ = FrameTable(); }

    void addFrame(const ListedFrame& frame) override {
        if (by_ == "frame") frames_.add(frame);
    }

    void endTask(const PickedTask& task, const TaskStatistics& statistics) override {
        const tyktree::Timeline timeline = tyktree::timelineOf(reducedTask(task));
        printTask(task, statistics, timeline);
        printOddities(timeline, task, statistics);
        if (by_ == "frame") frames_.print("    ");
        if (by_ == "tag") tagTable(statistics).print("    ");
    }

    void endPipe(const tyktree::PipeEntry& pipe) override {
        for (const tyktree::SideFile& copy : pipe.tuningCopies) {
            printResult(fmt::format("  tuning copy {}, {}", tyktree::escaped(copy.name),
                                    humanBytes(copy.bytes)));
        }
    }

    void endTree(const InfoTotals& totals) override {
        if (totals.frames == 0) {
            printResult("no frames");
            return;
        }
        printResult(fmt::format("{}, {}, {}", counted(totals.frames, "frame", "frames"),
                                counted(totals.files, "file", "files"), humanBytes(totals.bytes)));
    }

private:
    /// Prints the task in a few lines.
    void printTask(const PickedTask& task, const TaskStatistics& statistics,
                   const tyktree::Timeline& timeline) const {
        std::string line = fmt::format("  task {}  {}  {}", task.task->position, dateOf(*task.task),
                                       counted(task.frames.size(), "frame", "frames"));
        if (task.frames.size() > 1) line += " in " + humanTime(timeline.duration);
        line += fmt::format("  {}  {}  {}", geometries(statistics),
                            counted(statistics.columns().size(), "parameter", "parameters"),
                            humanBytes(statistics.bytes()));
        printResult(line);
        if (by_ == "task") printResult(kTaskIndent + tyktree::escaped(task.task->path));
        printResult(fmt::format("{}requests {}  sofs {}", kTaskIndent,
                                ids(task.frames, [](const auto& name) { return name.requestId; }),
                                ids(task.frames, [](const auto& name) { return name.sofId; })));
    }

    static void printOddities(const tyktree::Timeline& timeline, const PickedTask& task,
                              const TaskStatistics& statistics) {
        if (!timeline.missingSofs.empty()) {
            printResult(
                fmt::format("{}sofs missing: {}", kTaskIndent, rangesText(timeline.missingSofs)));
        }
        if (!timeline.repeatedRequests.empty()) {
            const std::vector<int64_t> requests(timeline.repeatedRequests.begin(),
                                                timeline.repeatedRequests.end());
            printResult(fmt::format("{}requests repeated: {}", kTaskIndent,
                                    rangesText(rangesOf(requests))));
        }
        // A missing frame gives a pause of twice the usual interval.
        if (timeline.pauseBefore > 0 && timeline.longestPause >= 2 * timeline.usualInterval + 2) {
            printResult(fmt::format("{}longest pause: {} before frame {} (usually {})", kTaskIndent,
                                    humanTime(timeline.longestPause), timeline.pauseBefore,
                                    humanTime(timeline.usualInterval)));
        }
        const auto images = static_cast<size_t>(
            std::count(statistics.images().begin(), statistics.images().end(), true));
        if (images > 0 && images < task.frames.size()) {
            printResult(fmt::format("{}{} without an image", kTaskIndent,
                                    counted(task.frames.size() - images, "frame", "frames")));
        }
    }

    const std::string by_;
    FrameTable frames_;  ///< of the current task
};

class JsonInfo : public InfoReport {
public:
    explicit JsonInfo(JsonDocument& json) : json_(json) {}

    void beginTree(const std::string& path) override {
        addPath(path);
        json_.beginList("pipes");
    }

    void beginPipe(const tyktree::PipeEntry& pipe) override {
        json_.beginObject();
        json_.member("pipe", pipe.id ? Json(*pipe.id) : Json());
        json_.beginList("tasks");
    }

    void beginTask(const TaskEntry& task) override {
        json_.beginObject();
        addPath(task.path);
        json_.member("task", task.position);
        json_.member("recorded", task.parsed ? Json(tyktree::isoTime(task.parsed->stamp)) : Json());
        json_.beginList("frames");
    }

    void addFrame(const ListedFrame& listed) override {
        const FrameEntry& entry = *listed.frame.frame;
        Json item = Json::object();
        item["frame"] = entry.position;
        item["request"] = entry.wellNamed ? Json(entry.parsed.requestId) : Json();
        item["sof"] = entry.wellNamed ? Json(entry.parsed.sofId) : Json();
        addText(item, "path", listed.frame.path());
        item["time"] = entry.wellNamed ? Json(tyktree::isoTime(entry.parsed.stamp)) : Json();
        item["width"] = listed.image ? Json(listed.image->width) : Json();
        item["height"] = listed.image ? Json(listed.image->height) : Json();
        item["files"] = listed.files;
        item["bytes"] = listed.bytes;
        json_.item(item);
    }

    void endTask(const PickedTask& /*task*/, const TaskStatistics& statistics) override {
        json_.endList();
        json_.beginList("tags");
        for (const tyktree::ParameterColumn& column : statistics.columns()) {
            Json item = Json::object();
            addText(item, "tag", column.tagName);
            item["camera"] = column.camId;
            item["pipe_type"] = column.pipe;
            item["dump_type"] = column.dumpType;
            item["frames"] = column.count;
            item["bytes"] = column.bytes;
            json_.item(item);
        }
        json_.endList();
        json_.endObject();
    }

    void endPipe(const tyktree::PipeEntry& pipe) override {
        json_.endList();
        json_.beginList("tuning_copies");
        for (const tyktree::SideFile& copy : pipe.tuningCopies) {
            Json item = Json::object();
            addText(item, "name", copy.name);
            item["bytes"] = copy.bytes;
            json_.item(item);
        }
        json_.endList();
        json_.endObject();
    }

    void endTree(const InfoTotals& totals) override {
        json_.endList();
        json_.member("frames", totals.frames);
        json_.member("files", totals.files);
        json_.member("bytes", totals.bytes);
    }

private:
    void addPath(const std::string& path) {
        Json members = Json::object();
        addText(members, "path", path);
        json_.members(members);
    }

    JsonDocument& json_;
};

}  // namespace

std::unique_ptr<InfoReport> makeInfoReport(JsonDocument* json, const std::string& by) {
    if (json) return std::make_unique<JsonInfo>(*json);
    return std::make_unique<TextInfo>(by);
}

}  // namespace tyksim
