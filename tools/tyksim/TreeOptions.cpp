#include "tools/tyksim/TreeOptions.h"

#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"

#include <climits>

#include <fmt/format.h>
#include <limits>
#include <utility>

namespace tyksim {

namespace {

constexpr int64_t kFirstPosition = 1;
constexpr int64_t kAnyNumber = std::numeric_limits<int64_t>::min();

tyktree::NumberRanges parseRanges(const char* option, const std::optional<std::string>& words,
                                  int64_t least) {
    if (!words) return {};
    auto ranges = tyktree::NumberRanges::parse(*words, least);
    if (ranges.ok()) return std::move(ranges.value());
    throw WrongUsage(fmt::format("{}: {}", option, toLine(ranges.problem())));
}

}  // namespace

tyktree::FrameSelection TreeOptions::selection() const {
    tyktree::FrameSelection selection;
    selection.pipe = pipe;
    selection.task = task;
    selection.frames = parseRanges("--frames", frames, kFirstPosition);
    selection.requests = parseRanges("--requests", requests, kAnyNumber);
    selection.sofs = parseRanges("--sofs", sofs, kAnyNumber);
    return selection;
}

void addTreeOptions(VerbOptions& verb, TreeOptions& options) {
    verb.option("--pipe", options.pipe, "Only this pipe, by its id")
        .takes(wholeNumber(INT_MIN, INT_MAX))
        .valueName("ID");
    verb.option("--task", options.task, "Only this task of a pipe, counted from 1")
        .takes(wholeNumber(1, UINT_MAX))
        .valueName("N");
    verb.option("--frames", options.frames, "Only these frames of a task: 3..9,12, from 1")
        .valueName("RANGES");
    verb.option("--requests", options.requests, "Only frames with these request ids")
        .valueName("RANGES");
    verb.option("--sofs", options.sofs, "Only frames with these sof ids").valueName("RANGES");
    verb.option("--where", options.where,
                "Only frames for which this holds, such as 'total_gain>4000 and image.mean<50'")
        .valueName("EXPRESSION");
    addImageLayout(verb, options.assumed);
    verb.option("--tags", options.tagsFile, "Tag table")
        .valueName("FILE")
        .defaultText("tags.xml in the device root, if there is one");
    options.jobs = availableJobs();
    verb.option("--jobs", options.jobs, "Threads")
        .takes(wholeNumber(1, 1024))
        .valueName("N")
        .defaultText("one per core");
}

void addForce(VerbOptions& verb, bool& force) {
    verb.flag("--force", force, "Replace an unchanged earlier output, or an empty file or folder");
}

}  // namespace tyksim
