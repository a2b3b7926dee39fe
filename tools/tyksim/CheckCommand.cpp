// tyksim check: checks whether a tree is complete and can be replayed, and checks dump
// configurations.
#include "tools/console/Failures.h"
#include "tools/console/Interruption.h"
#include "tools/console/Jobs.h"
#include "tools/tyksim/CheckReport.h"
#include "tools/tyksim/Reading.h"
#include "tree/check/TreeCheck.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::TagCatalog;

constexpr const char* kFooter = R"(
TREE is a device root, a dump root, a pipe folder, a task folder or a frame folder. The rules that
--rules lists compare it with itself, with the task's other frames, with the dump configuration
beside it and with the tag table. The check reads names and sizes, and the contents of the scene
record's files and the dump configuration; --deep reads all files.

TREE may also be a dump configuration, a file. Check it before you push it to a device, which does
not report mistakes; the check also prints the cost of one frame.

An error means that a replay loses or changes data, a warning that data are probably missing; a note
is for information. They begin with !, ~ and -.

Exit status: 0 no finding that --fail-on counts, 1 a tree or file could not be read, 2 wrong usage,
3 findings.

Examples:
  tyksim check /tmp/phone
  tyksim check pulled/tykdump --fail-on error --deep
  tyksim check pipe1_dumpConfig.xml --tags tags.xml
  tyksim check trees/* --json > findings.jsonl
)";

struct CheckVerbOptions {
    ReadingOptions reading;
    bool deep = false;
    bool rules = false;
    std::string failOn = "note";
};

/// The check of one tree.
ExitStatus checkOne(const CheckVerbOptions& options, const OpenedTree& tree, JsonDocument* json) {
    const std::unique_ptr<CheckReport> report = makeCheckReport(json);
    report->begin(tree.index.path().path);
    Progress progress;
    tyktree::CheckOptions check;
    check.deep = options.deep;
    check.execution = executionOn(options.reading.tree.jobs);
    check.progress = [&progress](uint64_t done, uint64_t of) {
        progress.count("checked", done, of, "frames");
    };
    const tyktree::CheckTotals totals =
        checkTree(tree.index, tree.selection, tree.catalog, check, *report);
    throwIfInterrupted("checked " + totalsText(totals));
    report->endTree(tree.index.path().given, totals, tree.catalog, options.deep);
    return statusOf(report->counts(), options.failOn);
}

ExitStatus checkConfiguration(const CheckVerbOptions& options, const std::string& path,
                              Reading& reading) {
    TagCatalog catalog;
    const std::string& tags = options.reading.tree.tagsFile;
    if (!tags.empty()) {
        catalog = orFail(TagCatalog::readGiven(tags));
        reading.problems(catalog);
    }
    const std::unique_ptr<CheckReport> report = makeCheckReport(reading.json());
    report->begin(path);
    report->endConfiguration(path, checkConfig(path, catalog, *report), catalog);
    return statusOf(report->counts(), options.failOn);
}

constexpr const char* kSchema = "tyksim.check";

ExitStatus checkConfigurationFile(const CheckVerbOptions& options, const std::string& path) {
    return readOne(options.reading.json ? kSchema : nullptr,
                   [&](Reading& reading) { return checkConfiguration(options, path, reading); });
}

/// Problems of the index are among the findings.
ExitStatus checkTreeFolder(const CheckVerbOptions& options, const std::string& path) {
    ReadingOptions one = options.reading;
    one.trees = {path};
    return readTrees(
        one, kSchema,
        [&options](const OpenedTree& tree, Reading& reading) {
            return checkOne(options, tree, reading.json());
        },
        Need::kNothing, IndexProblems::kReportedByCheck);
}

/// Whether `path` exists and is not a folder or a link to one.
bool isNoFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

ExitStatus check(const CheckVerbOptions& options) {
    if (options.rules) {
        reportRules(options.reading.json);
        return ExitStatus::kClean;
    }
    if (options.reading.trees.empty())
        throw WrongUsage("expected TREE, found none (see `tyksim check --help`)");
    ExitStatus status = ExitStatus::kClean;
    for (const std::string& given : options.reading.trees) {
        status = worse(status, isNoFolder(given) ? checkConfigurationFile(options, given)
                                                 : checkTreeFolder(options, given));
    }
    return status;
}

}  // namespace

Action defineCheck(VerbOptions& verb) {
    const auto options = std::make_shared<CheckVerbOptions>();
    addReadingOptions(verb, options->reading);
    verb.existing("TREE").required(false).description(
        "Trees, parts of trees, or dump configurations");
    verb.flag("--deep", options->deep, "Read all files: unreadable ones, images of one value");
    addFailOn(verb, options->failOn);
    verb.flag("--rules", options->rules, "List the rules and end");
    verb.footer(kFooter);
    return [options] { return check(*options); };
}

}  // namespace tyksim
