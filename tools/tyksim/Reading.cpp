#include "tools/tyksim/Reading.h"

#include "tools/console/Failures.h"
#include "tools/console/Interruption.h"
#include "tools/console/Units.h"
#include "tools/json/Json.h"
#include "tools/tyksim/FramesWhere.h"
#include "tree/check/Finding.h"
#include "tree/read/Escape.h"
#include "tree/read/TagNames.h"

#include <algorithm>
#include <exception>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>

namespace tyksim {

namespace {

using tyktree::FrameSelection;
using tyktree::TreeIndex;

/// The range from the least to the greatest of some numbers, in the form of --frames.
class Span {
public:
    void add(int64_t number) {
        least_ = std::min(least_, number);
        most_ = std::max(most_, number);
    }
    bool empty() const { return least_ > most_; }
    std::string text() const {
        return least_ == most_ ? fmt::to_string(least_) : fmt::format("{}..{}", least_, most_);
    }

private:
    int64_t least_ = std::numeric_limits<int64_t>::max();
    int64_t most_ = std::numeric_limits<int64_t>::min();
};

std::string pipeText(const tyktree::PipeEntry& pipe) {
    return pipe.id ? fmt::format("pipe {}", *pipe.id) : "a folder outside pipes";
}

/// The existing tasks, for a --task that matches none.
std::string tasksText(const TreeIndex& index) {
    std::string words;
    for (const tyktree::PipeEntry& pipe : index.pipes()) {
        Span tasks;
        for (const tyktree::TaskEntry& task : pipe.tasks) tasks.add(task.position);
        if (tasks.empty()) continue;
        words += fmt::format("{}--task {} in {}", words.empty() ? "" : ", ", tasks.text(),
                             pipeText(pipe));
    }
    return words;
}

/// The existing pipes, tasks and frames, as options that select all of them.
std::string whatThereIs(const TreeIndex& index, const FrameSelection& selection) {
    Span positions, requests, sofs;
    size_t count = 0;
    bool anyTask = false;
    for (const tyktree::PipeEntry& pipe : index.pipes()) {
        for (const tyktree::TaskEntry& task : pipe.tasks) {
            if (!selection.picks(pipe, task)) continue;
            anyTask = true;
            count += task.frames.size();
            for (const tyktree::FrameEntry& frame : task.frames) {
                positions.add(frame.position);
                if (!frame.wellNamed) continue;
                requests.add(frame.parsed.requestId);
                sofs.add(frame.parsed.sofId);
            }
        }
    }
    if (!anyTask) return tasksText(index);
    std::string words = counted(count, "frame", "frames");
    if (!positions.empty()) words += ": --frames " + positions.text();
    if (!requests.empty()) words += ", --requests " + requests.text();
    if (!sofs.empty()) words += ", --sofs " + sofs.text();
    return words;
}

/// A problem of the named tree, with its path in quotation marks.
tyktags::Problem quoted(tyktags::Problem problem) {
    problem.path = "'" + problem.path + "'";
    return problem;
}

TreeIndex readIndex(const std::string& given, const TreeOptions& options) {
    const auto path = tyktree::resolveTree(given);
    if (!path.ok()) fail(quoted(path.problem()));
    auto index = TreeIndex::read(path.value(), options.pipe);
    if (!index.ok()) throw PicksNothing(lineOf(quoted(index.problem())));
    return std::move(index.value());
}

/// Reports the index's problems of at least this severity in the selected part.
void reportProblems(Reading& reading, const TreeIndex& index, const FrameSelection& selection,
                    tyktree::Severity least) {
    for (const tyktree::TreeProblem& problem : index.problems()) {
        const bool isReported = severityOf(findingOf(problem)) >= least;
        if (isReported && picks(index, selection, problem.place)) reading.problem(lineOf(problem));
    }
}

}  // namespace

void Reading::problem(const std::string& line) {
    ++problems_;
    if (json_) json_->error(line);
    printNote(line);
}

void Reading::problems(const tyktree::TagCatalog& catalog) {
    for (const tyktags::Problem& missed : catalog.missed()) {
        problem(tyktree::escaped(toLine(missed)));
    }
}

ExitStatus runReading(const char* schema, const std::function<ExitStatus(Reading&)>& verb) {
    std::unique_ptr<JsonDocument> json;
    if (schema) json = std::make_unique<JsonDocument>(schema, 1);
    const auto note = [&json](const std::string& reason) {
        if (json) json->error(reason);
    };
    Reading reading(json.get());
    try {
        const ExitStatus status = verb(reading);
        if (json) json->end();
        return reading.problems_ > 0 ? worse(status, ExitStatus::kFindings) : status;
    } catch (const Interrupted& interrupted) {
        note("stopped" + (interrupted.state().empty() ? "" : ": " + interrupted.state()));
        throw;
    } catch (const std::exception& error) {
        note(error.what());
        throw;
    }
}

ExitStatus readOne(const char* schema, const std::function<ExitStatus(Reading&)>& verb) {
    try {
        return runReading(schema, verb);
    } catch (const PicksNothing& error) {
        printUsage(error);
        return ExitStatus::kWrongUsage;
    } catch (const WrongUsage&) {
        throw;
    } catch (const std::exception& error) {
        printNote(error.what());
        return ExitStatus::kFailed;
    }
}

ExitStatus worse(ExitStatus a, ExitStatus b) {
    for (const ExitStatus status :
         {ExitStatus::kFailed, ExitStatus::kWrongUsage, ExitStatus::kFindings}) {
        if (a == status || b == status) return status;
    }
    return ExitStatus::kClean;
}

OpenedTree::OpenedTree(Reading& reading, const std::string& given, const TreeOptions& options,
                       Need need, IndexProblems problems)
    : index(readIndex(given, options)),
      catalog(orFail(tyktree::TagCatalog::find(index, options.tagsFile))),
      measures(options.assumed) {
    reading.problems(catalog);
    selection = options.selection();
    std::optional<tyktree::Condition> condition;
    if (options.where) condition = parseWhere(*options.where);
    frames = select(index, selection);
    const bool anyFrame = index.frameCount() > 0;
    const std::string name = tyktree::escaped(given);
    if (!anyFrame && need == Need::kFrames) {
        // Skipped entries may be the reason why there are no frames.
        reportProblems(reading, index, selection, tyktree::Severity::kWarning);
        throw Failure(name + ": expected frames, found none");
    }
    const bool picksNothing = frames.empty() && anyFrame;
    if (problems == IndexProblems::kReportedHere || picksNothing) {
        reportProblems(reading, index, selection, tyktree::Severity::kError);
    }
    if (picksNothing) {
        throw PicksNothing(name + ": the selection picks no frame; found " +
                           whatThereIs(index, selection));
    }
    if (condition && !frames.empty()) keepWhere(*options.where, *condition, options.jobs, reading);
}

void OpenedTree::keepWhere(const std::string& expression, const tyktree::Condition& condition,
                           int jobs, Reading& reading) {
    const size_t looked = frames.size();
    FramesHeld held = framesWhere(*this, expression, condition, jobs, reading);
    frames = std::move(held.frames);
    measures.remember(std::move(held.measures));
    if (frames.empty()) {
        throw PicksNothing(fmt::format("{}: --where holds for none of {}",
                                       tyktree::escaped(index.path().given),
                                       counted(looked, "frame", "frames")));
    }
    std::vector<const tyktree::FrameEntry*> entries;
    entries.reserve(frames.size());
    for (const tyktree::FrameRef& frame : frames) entries.push_back(frame.frame);
    selection.keepOnly(std::move(entries));
}

std::vector<std::string> foldersOf(std::initializer_list<const OpenedTree*> trees) {
    std::vector<std::string> folders;
    for (const OpenedTree* const tree : trees) {
        const std::vector<std::string> more = tyktree::foldersOf(tree->index);
        folders.insert(folders.end(), more.begin(), more.end());
    }
    return folders;
}

std::vector<std::string> tagNamesOf(const OpenedTree& tree) {
    return tyktree::tagNamesIn(tree.frames);
}

std::vector<tyktree::ValueName> resolveNames(const OpenedTree& tree,
                                             const tyktree::TagCatalog& catalog,
                                             const std::vector<std::string>& names,
                                             const std::string& prefix) {
    const std::vector<std::string> tagNames = tagNamesOf(tree);
    std::vector<tyktree::ValueName> resolved;
    for (const std::string& name : names) {
        auto value = resolveName(name, catalog, tagNames, &tree.measures);
        if (!value.ok()) throw PicksNothing(prefix + toLine(value.problem()));
        resolved.push_back(std::move(value.value()));
    }
    return resolved;
}

void addReadingOptions(VerbOptions& verb, ReadingOptions& options) {
    verb.option("TREE", options.trees, "Trees, or parts of trees").required();
    addTreeOptions(verb, options.tree);
    verb.flag("--json", options.json, "One JSON document per tree, on one line");
}

ExitStatus readTrees(const ReadingOptions& options, const char* schema, const ReadTree& read,
                     Need need, IndexProblems problems) {
    ExitStatus status = ExitStatus::kClean;
    for (const std::string& given : options.trees) {
        const auto verb = [&](Reading& reading) {
            const OpenedTree tree(reading, given, options.tree, need, problems);
            return read(tree, reading);
        };
        status = worse(status, readOne(options.json ? schema : nullptr, verb));
    }
    return status;
}

}  // namespace tyksim
