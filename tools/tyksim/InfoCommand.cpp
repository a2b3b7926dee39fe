// tyksim info: shows the contents of a tree.
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/tyksim/InfoReport.h"
#include "tools/tyksim/Reading.h"
#include "tree/check/TaskStatistics.h"
#include "tree/read/Escape.h"
#include "tree/read/FrameListing.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

namespace tyksim {

namespace {

using tyktree::FrameRef;

constexpr const char* kFooter = R"(
TREE is a device root, a dump root, a pipe folder, a task folder or a frame folder. info lists folders
and opens no parameter file and no image, except for the values in --where. Dates are the device's
local time.

Exit status: 0 everything was listed, 1 a tree could not be read, 2 wrong usage, 3 part of a tree
could not be listed (see standard error).

Examples:
  tyksim info /tmp/phone
  tyksim info pulled/tykdump --by tag
  tyksim info trees/* --json > trees.jsonl
)";

struct InfoOptions {
    ReadingOptions reading;
    std::string by;
};

std::vector<PickedTask> byTask(const std::vector<FrameRef>& frames) {
    std::vector<PickedTask> tasks;
    for (const FrameRef& frame : frames) {
        if (tasks.empty() || tasks.back().task != frame.task) tasks.push_back({frame.task, {}});
        tasks.back().frames.push_back(frame);
    }
    return tasks;
}

ListedFrame listedFrame(const FrameRef& frame, const tyktree::FrameListing& listing) {
    ListedFrame listed{frame, {}, listing.files().size(), listing.bytes()};
    if (const tyktree::FileEntry* const image = listing.image()) {
        listed.image = tyktree::Geometry{image->image.width, image->image.height};
    }
    return listed;
}

/// Lists one tree's frames and passes their contents to a report.
class Info {
public:
    Info(const InfoOptions& options, const OpenedTree& tree, Reading& reading)
        : options_(options),
          tree_(tree),
          reading_(reading),
          report_(makeInfoReport(reading.json(), options.by)) {}

    ExitStatus run() {
        report_->beginTree(tree_.index.path().path);
        const std::vector<PickedTask> tasks = byTask(tree_.frames);
        for (const tyktree::PipeEntry& pipe : tree_.index.pipes()) listPipe(pipe, tasks);
        report_->endTree(totals_);
        return ExitStatus::kClean;
    }

private:
    void listPipe(const tyktree::PipeEntry& pipe, const std::vector<PickedTask>& tasks) {
        const auto ofPipe = [&pipe](const PickedTask& task) {
            return task.frames.front().pipe == &pipe;
        };
        if (std::none_of(tasks.begin(), tasks.end(), ofPipe)) return;
        report_->beginPipe(pipe);
        for (const PickedTask& task : tasks) {
            if (ofPipe(task)) listTask(task);
        }
        report_->endPipe(pipe);
    }

    void listTask(const PickedTask& task) {
        report_->beginTask(*task.task);
        tyktree::TaskStatistics statistics(task.task->frames.size());
        forEachOnJobs<tyktree::FrameListing>(
            task.frames.size(), options_.reading.tree.jobs,
            [&](tyktree::FrameListing& listing, size_t index) {
                static_cast<void>(listing.read(task.frames[index].path()));
            },
            [&](const tyktree::FrameListing& listing, size_t index) {
                const FrameRef& frame = task.frames[index];
                statistics.add(frame.frame->position, listing);
                if (!listing.status().ok()) reportUnlisted(listing.status().problem());
                report_->addFrame(listedFrame(frame, listing));
            });
        totals_.frames += task.frames.size();
        totals_.files += statistics.files();
        totals_.bytes += statistics.bytes();
        report_->endTask(task, statistics);
    }

    void reportUnlisted(const tyktags::Problem& problem) {
        reading_.problem(fmt::format("{}: cannot be listed: {}", tyktree::escaped(problem.path),
                                     problem.reason));
    }

    const InfoOptions& options_;
    const OpenedTree& tree_;
    Reading& reading_;
    const std::unique_ptr<InfoReport> report_;
    InfoTotals totals_;
};

}  // namespace

Action defineInfo(VerbOptions& verb) {
    const auto options = std::make_shared<InfoOptions>();
    addReadingOptions(verb, options->reading);
    verb.option("--by", options->by, "List the contents by task, frame or tag")
        .takes(oneOf({"task", "frame", "tag"}));
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
