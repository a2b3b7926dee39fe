// tyksim info: what is in a tree.
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/tyksim/Reading.h"
#include "tree/check/TaskStatistics.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameListing.h"
#include "tree/read/Timeline.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameEntry;
using tyktree::FrameRef;
using tyktree::TaskEntry;

constexpr const char* kFooter = R"(
TREE is a device root, a dump root, a pipe folder, a task folder or a frame folder. Only folders are
looked at: no parameter file and no image is opened. Dates are the device's local time.

Exit status: 0 everything was listed, 1 a tree could not be read, 2 wrong usage, 3 part of a tree
could not be listed (said on standard error).

Examples:
  tyksim info /tmp/phone
  tyksim info pulled/tykdump --by tag
  tyksim info trees/* --json > trees.jsonl
)";

struct InfoOptions {
    ReadingOptions reading;
    std::string by;
};

/// One frame as far as its folder's listing tells.
struct FrameFacts {
    tyktree::Geometry image;
    size_t files = 0;
    uint64_t bytes = 0;
    int error = 0;
};

/// The frames of one task that were picked.
struct TaskFrames {
    const TaskEntry* task;
    std::vector<FrameRef> frames;
};

std::vector<TaskFrames> byTask(const std::vector<FrameRef>& frames) {
    std::vector<TaskFrames> tasks;
    for (const FrameRef& frame : frames) {
        if (tasks.empty() || tasks.back().task != frame.task) tasks.push_back({frame.task, {}});
        tasks.back().frames.push_back(frame);
    }
    return tasks;
}

FrameFacts factsOf(const tyktree::FrameListing& listing) {
    FrameFacts facts;
    facts.files = listing.files().size();
    facts.bytes = listing.bytes();
    facts.error = listing.error();
    if (const tyktree::FileEntry* const image = listing.image()) {
        facts.image = {image->image.width, image->image.height};
    }
    return facts;
}

/// Lists the frames of a task on all cores; `take` gets the facts in order.
template <typename Take>
tyktree::TaskStatistics listFrames(const TaskFrames& task, int jobs, Take take) {
    tyktree::TaskStatistics statistics(task.task->frames.size());
    forEachOnJobs<tyktree::FrameListing>(
        task.frames.size(), jobs,
        [&](tyktree::FrameListing& listing, size_t index) {
            static_cast<void>(listing.read(task.frames[index].path()));
        },
        [&](const tyktree::FrameListing& listing, size_t index) {
            const FrameRef& frame = task.frames[index];
            statistics.add(frame.frame->position, listing);
            take(frame, factsOf(listing));
        });
    return statistics;
}

std::string geometries(const tyktree::TaskStatistics& statistics) {
    std::string text;
    for (const auto& [size, count] : statistics.geometries()) {
        text += text.empty() ? "" : ", ";
        text += fmt::format("{}x{}", size.width, size.height);
        if (statistics.geometries().size() > 1) text += fmt::format(" ({})", count);
    }
    return text.empty() ? "no image" : text;
}

/// The ids that `idOf` takes from the frames' names, as ranges.
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

/// A task of the part that was picked, so that pauses and gaps are those of what is shown.
TaskEntry pickedTask(const TaskFrames& task) {
    TaskEntry picked = *task.task;
    picked.frames.clear();
    for (const FrameRef& frame : task.frames) picked.frames.push_back(*frame.frame);
    return picked;
}

/// One tree's information.
class Info {
public:
    Info(const InfoOptions& options, const OpenedTree& tree, Reading& reading)
        : options_(options), tree_(tree), reading_(reading), json_(reading.json()) {}

    ExitStatus run() {
        if (json_) {
            addPath(tree_.index.path().path);
            json_->beginList("pipes");
        } else {
            printResult(tyktree::escaped(tree_.index.path().path));
        }
        const std::vector<TaskFrames> tasks = byTask(tree_.frames);
        for (const tyktree::PipeEntry& pipe : tree_.index.pipes()) showPipe(pipe, tasks);
        if (json_) {
            json_->endList();
            json_->member("frames", frames_);
            json_->member("files", files_);
            json_->member("bytes", bytes_);
        } else {
            printTotals();
        }
        return ExitStatus::kClean;
    }

private:
    void addPath(const std::string& path) {
        Json members = Json::object();
        addText(members, "path", path);
        json_->members(members);
    }

    void showPipe(const tyktree::PipeEntry& pipe, const std::vector<TaskFrames>& tasks) {
        const auto ofPipe = [&pipe](const TaskFrames& task) {
            return task.frames.front().pipe == &pipe;
        };
        if (std::none_of(tasks.begin(), tasks.end(), ofPipe)) return;
        beginPipe(pipe);
        for (const TaskFrames& task : tasks) {
            if (ofPipe(task)) showTask(task);
        }
        if (!json_) {
            for (const tyktree::SideFile& copy : pipe.tuningCopies) {
                printResult(fmt::format("  tuning copy {}, {}", tyktree::escaped(copy.name),
                                        humanBytes(copy.bytes)));
            }
            return;
        }
        json_->endList();
        json_->beginList("tuning_copies");
        for (const tyktree::SideFile& copy : pipe.tuningCopies) {
            Json item = Json::object();
            addText(item, "name", copy.name);
            item["bytes"] = copy.bytes;
            json_->item(item);
        }
        json_->endList();
        json_->endObject();
    }

    void beginPipe(const tyktree::PipeEntry& pipe) {
        if (!json_) {
            printResult(pipe.id ? fmt::format("pipe {}", *pipe.id) : "pipe of unknown id");
            return;
        }
        json_->beginObject();
        json_->member("pipe", pipe.id ? Json(*pipe.id) : Json());
        json_->beginList("tasks");
    }

    void showTask(const TaskFrames& task) {
        if (json_) {
            beginJsonTask(*task.task);
        }
        Table frameTable = frameColumns();
        const FrameEntry* before = nullptr;
        const tyktree::TaskStatistics statistics = listFrames(
            task, options_.reading.tree.jobs, [&](const FrameRef& frame, const FrameFacts& facts) {
                showFrame(frame, facts, before, frameTable);
                before = frame.frame;
            });
        frames_ += task.frames.size();
        files_ += statistics.files();
        bytes_ += statistics.bytes();
        if (json_) {
            json_->endList();
            addTags(statistics);
            json_->endObject();
            return;
        }
        printTask(task, statistics);
        if (options_.by == "frame") frameTable.print("    ");
        if (options_.by == "tag") tagTable(statistics).print("    ");
    }

    void beginJsonTask(const TaskEntry& task) {
        json_->beginObject();
        addPath(task.path);
        json_->member("task", task.position);
        json_->member("recorded",
                      task.parsed ? Json(tyktree::isoTime(task.parsed->stamp)) : Json());
        json_->beginList("frames");
    }

    static Table frameColumns() {
        Table table;
        table.addColumn("frame", Table::Align::kRight);
        table.addColumn("time", Table::Align::kLeft);
        table.addColumn("+ms", Table::Align::kRight);
        table.addColumn("request", Table::Align::kRight);
        table.addColumn("sof", Table::Align::kRight);
        table.addColumn("image", Table::Align::kRight);
        table.addColumn("files", Table::Align::kRight);
        table.addColumn("bytes", Table::Align::kRight);
        return table;
    }

    void showFrame(const FrameRef& frame, const FrameFacts& facts, const FrameEntry* before,
                   Table& table) {
        if (facts.error != 0) {
            reading_.problem(tyktree::escaped(frame.path()) +
                             ": cannot be listed: " + systemReason(facts.error));
        }
        if (json_) {
            json_->item(frameItem(frame, facts));
        } else if (options_.by == "frame") {
            table.addRow(frameRow(*frame.frame, facts, before));
        }
    }

    static Json frameItem(const FrameRef& frame, const FrameFacts& facts) {
        const FrameEntry& entry = *frame.frame;
        Json item = Json::object();
        item["frame"] = entry.position;
        item["request"] = entry.wellNamed ? Json(entry.parsed.requestId) : Json();
        item["sof"] = entry.wellNamed ? Json(entry.parsed.sofId) : Json();
        addText(item, "path", frame.path());
        item["time"] = entry.wellNamed ? Json(tyktree::isoTime(entry.parsed.stamp)) : Json();
        item["width"] = facts.image.width;
        item["height"] = facts.image.height;
        item["files"] = facts.files;
        item["bytes"] = facts.bytes;
        return item;
    }

    static std::vector<std::string> frameRow(const FrameEntry& frame, const FrameFacts& facts,
                                             const FrameEntry* before) {
        std::vector<std::string> row{std::to_string(frame.position), "", "", "", ""};
        if (frame.wellNamed) {
            row[1] = tyktree::isoTime(frame.parsed.stamp).substr(6);
            row[3] = std::to_string(frame.parsed.requestId);
            row[4] = std::to_string(frame.parsed.sofId);
        } else {
            row[1] = tyktree::escaped(frame.name);
        }
        if (frame.wellNamed && before && before->wellNamed) {
            row[2] = std::to_string(
                tyktree::millisecondsBetween(before->parsed.stamp, frame.parsed.stamp));
        }
        row.push_back(facts.image.width > 0
                          ? fmt::format("{}x{}", facts.image.width, facts.image.height)
                          : "-");
        row.push_back(std::to_string(facts.files));
        row.push_back(std::to_string(facts.bytes));
        return row;
    }

    /// The task in a few lines.
    void printTask(const TaskFrames& task, const tyktree::TaskStatistics& statistics) const {
        const TaskEntry picked = pickedTask(task);
        const tyktree::Timeline timeline = tyktree::timelineOf(picked);
        std::string line = fmt::format("  task {}  {}  {}", task.task->position, dateOf(*task.task),
                                       counted(task.frames.size(), "frame", "frames"));
        if (task.frames.size() > 1) line += " in " + humanTime(timeline.duration);
        line += fmt::format("  {}  {}  {}", geometries(statistics),
                            counted(statistics.columns().size(), "parameter", "parameters"),
                            humanBytes(statistics.bytes()));
        printResult(line);
        if (options_.by == "task") {
            printResult("          " + tyktree::escaped(task.task->path));
        }
        std::string idLine = "          requests " +
                             ids(task.frames, [](const auto& name) { return name.requestId; }) +
                             "  sofs " +
                             ids(task.frames, [](const auto& name) { return name.sofId; });
        printResult(idLine);
        printOddities(timeline, task, statistics);
    }

    static void printOddities(const tyktree::Timeline& timeline, const TaskFrames& task,
                              const tyktree::TaskStatistics& statistics) {
        const std::string indent = "          ";
        if (!timeline.missingSofs.empty()) {
            printResult(indent + "sofs missing: " + rangesText(timeline.missingSofs));
        }
        if (!timeline.repeatedRequests.empty()) {
            std::vector<int64_t> requests(timeline.repeatedRequests.begin(),
                                          timeline.repeatedRequests.end());
            printResult(indent + "requests repeated: " + rangesText(rangesOf(requests)));
        }
        // Twice the usual is what a frame that was left out makes.
        if (timeline.pauseBefore > 0 && timeline.longestPause >= 2 * timeline.usualInterval + 2) {
            printResult(fmt::format("{}longest pause: {} before frame {} (usually {})", indent,
                                    humanTime(timeline.longestPause), timeline.pauseBefore,
                                    humanTime(timeline.usualInterval)));
        }
        const auto images = static_cast<size_t>(
            std::count(statistics.images().begin(), statistics.images().end(), true));
        if (images > 0 && images < task.frames.size()) {
            printResult(fmt::format("{}{} without an image", indent,
                                    counted(task.frames.size() - images, "frame", "frames")));
        }
    }

    static Table tagTable(const tyktree::TaskStatistics& statistics) {
        Table table;
        table.addColumn("tag", Table::Align::kLeft);
        table.addColumn("camera", Table::Align::kRight);
        table.addColumn("pipe type", Table::Align::kRight);
        table.addColumn("dump type", Table::Align::kRight);
        table.addColumn("frames", Table::Align::kRight);
        table.addColumn("size", Table::Align::kRight);
        table.addColumn("bytes", Table::Align::kRight);
        for (const tyktree::Column& column : statistics.columns()) {
            const uint64_t least = column.sizes.empty() ? 0 : column.sizes.begin()->first;
            const uint64_t most = column.sizes.empty() ? 0 : column.sizes.rbegin()->first;
            table.addRow(
                {tyktree::escaped(column.tagName), std::to_string(column.camId),
                 std::to_string(column.pipe), std::to_string(column.dumpType),
                 std::to_string(column.count),
                 least == most ? std::to_string(least) : fmt::format("{}..{}", least, most),
                 std::to_string(column.bytes)});
        }
        return table;
    }

    void addTags(const tyktree::TaskStatistics& statistics) {
        json_->beginList("tags");
        for (const tyktree::Column& column : statistics.columns()) {
            Json item = Json::object();
            addText(item, "tag", column.tagName);
            item["camera"] = column.camId;
            item["pipe_type"] = column.pipe;
            item["dump_type"] = column.dumpType;
            item["frames"] = column.count;
            item["bytes"] = column.bytes;
            json_->item(item);
        }
        json_->endList();
    }

    void printTotals() const {
        if (frames_ == 0) {
            printResult("no frames");
            return;
        }
        printResult(fmt::format("{}, {}, {}", counted(frames_, "frame", "frames"),
                                counted(files_, "file", "files"), humanBytes(bytes_)));
    }

    const InfoOptions& options_;
    const OpenedTree& tree_;
    Reading& reading_;
    JsonDocument* const json_;
    uint64_t frames_ = 0;
    uint64_t files_ = 0;
    uint64_t bytes_ = 0;
};

}  // namespace

Action defineInfo(CLI::App& verb) {
    const auto options = std::make_shared<InfoOptions>();
    addReadingOptions(verb, options->reading);
    verb.add_option("--by", options->by, "List what there is by task, frame or tag")
        ->check(oneOf({"task", "frame", "tag"}));
    verb.footer(kFooter);
    return [options] {
        return readTrees(
            options->reading, "tyksim.info",
            [&options](const OpenedTree& tree, Reading& reading) {
                return Info(*options, tree, reading).run();
            },
            Need::kNothing);
    };
}

}  // namespace tyksim
