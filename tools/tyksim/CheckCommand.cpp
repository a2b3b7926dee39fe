// tyksim check: is a tree whole and replayable, and does a dump configuration do what it says.
#include "tools/console/Failures.h"
#include "tools/console/FindingPrinter.h"
#include "tools/console/Interruption.h"
#include "tools/console/Jobs.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/json/TreeJson.h"
#include "tools/tyksim/Reading.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/Escape.h"

#include <fmt/format.h>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

using tyktree::Finding;
using tyktree::FindingCounts;
using tyktree::Severity;
using tyktree::TagCatalog;

constexpr const char* kFooter = R"(
TREE is a device root, a dump root, a pipe folder, a task folder or a frame folder, and is held
against the rules that --rules lists: what is in it, what the task's other frames have, what the
dump configuration beside it names, and what the tag table says. Names and sizes are looked at, of
contents only the scene record's files and the dump configuration; --deep reads all files.

TREE may also be a dump configuration, a file: it is checked before it is pushed to a device, where
its mistakes are silent, and the cost of one frame is said.

An error is what a replay loses or changes, a warning what is likely missing, a note anything else
worth knowing. They begin with !, ~ and -.

Exit status: 0 nothing found that --fail-on counts, 1 a tree or file could not be read, 2 wrong
usage, 3 findings.

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

    Severity leastSeverity() const {
        for (const Severity severity : {Severity::kError, Severity::kWarning}) {
            if (failOn == nameOf(severity)) return severity;
        }
        return Severity::kNote;
    }
};

const char* shapeOf(Severity severity) {
    switch (severity) {
        case Severity::kError:
            return "!";
        case Severity::kWarning:
            return "~";
        case Severity::kNote:
            break;
    }
    return "-";
}

/// Gives findings out as they come, and counts them.
class Output : public tyktree::FindingSink {
public:
    explicit Output(JsonDocument* json) : json_(json) {}

    void add(const Finding& finding) override {
        counts.count(severityOf(finding));
        if (json_) {
            json_->item(toJson(finding));
        } else {
            print(finding);
        }
    }

    FindingCounts counts;

private:
    /// A rule's own hint is said once, with its first finding.
    void print(const Finding& finding) {
        const tyktree::Rule& rule = ruleOf(finding.rule);
        printResult(fmt::format("{} {}: {}", shapeOf(rule.severity), rule.name, toLine(finding)));
        const bool first = hinted_.insert(finding.rule).second;
        if (!finding.hint.empty()) {
            printResult("    " + tyktree::escaped(finding.hint));
        } else if (first && !rule.hint.empty()) {
            printResult("    " + std::string(rule.hint));
        }
    }

    JsonDocument* const json_;
    std::set<tyktree::RuleId> hinted_;
};

Json countsJson(const FindingCounts& counts) {
    return {{"error", counts.errors}, {"warning", counts.warnings}, {"note", counts.notes}};
}

ExitStatus statusOf(const FindingCounts& counts, const CheckVerbOptions& options) {
    return counts.any(options.leastSeverity()) ? ExitStatus::kFindings : ExitStatus::kClean;
}

std::string tableText(const TagCatalog& catalog) {
    if (catalog.path().empty()) {
        return "without a tag table: tags unknown to the device were not looked for";
    }
    return "tag table " + tyktree::escaped(catalog.path());
}

std::string totalsText(const tyktree::CheckTotals& totals) {
    return fmt::format("{} in {}, {}, {}", counted(totals.frames, "frame", "frames"),
                       counted(totals.tasks, "task", "tasks"),
                       counted(totals.files, "file", "files"), humanBytes(totals.bytes));
}

Json totalsJson(const tyktree::CheckTotals& totals) {
    return {{"pipes", totals.pipes},
            {"tasks", totals.tasks},
            {"frames", totals.frames},
            {"files", totals.files},
            {"bytes", totals.bytes}};
}

/// The check of one tree.
ExitStatus checkOne(const CheckVerbOptions& options, const OpenedTree& tree, JsonDocument* json) {
    Output output(json);
    if (json) {
        Json path = Json::object();
        addText(path, "path", tree.index.path().path);
        json->members(path);
        json->beginList("findings");
    }
    Progress progress;
    tyktree::CheckOptions check;
    check.deep = options.deep;
    check.execution = executionOn(options.reading.tree.jobs);
    check.progress = [&progress](uint64_t done, uint64_t of) {
        progress.count("checked", done, of, "frames");
    };
    const tyktree::CheckTotals totals =
        checkTree(tree.index, options.reading.tree.selection(), tree.catalog, check, output);
    throwIfInterrupted("looked at " + totalsText(totals));
    if (json) {
        json->endList();
        json->member("counts", countsJson(output.counts));
        json->member("looked_at", totalsJson(totals));
        json->member("deep", options.deep);
        return statusOf(output.counts, options);
    }
    const std::string judged =
        output.counts.total() == 0 && totals.frames > 0 ? "clean" : countsText(output.counts);
    printResult(fmt::format("{}: {}: {}; {}; {}", tyktree::escaped(tree.index.path().given), judged,
                            totalsText(totals), tableText(tree.catalog),
                            options.deep ? "contents read" : "contents not read (--deep does)"));
    return statusOf(output.counts, options);
}

std::string costText(const tyktree::ConfigCost& cost) {
    std::string line = fmt::format("one frame: {}, {}", counted(cost.files, "file", "files"),
                                   humanBytes(cost.bytes));
    if (cost.blocks > 0) {
        line += fmt::format(" with {} of the usual size", counted(cost.blocks, "block", "blocks"));
    }
    if (cost.scene) line += ", the scene record's among them";
    line += "; the image comes on top";
    if (cost.tuning) line += ", and the tuning copy is rewritten";
    return line;
}

ExitStatus checkConfiguration(const CheckVerbOptions& options, const std::string& path,
                              JsonDocument* json) {
    TagCatalog catalog;
    const std::string& tags = options.reading.tree.tagsFile;
    if (!tags.empty()) {
        catalog = orFail(TagCatalog::readGiven(tags));
    }
    Output output(json);
    if (json) {
        Json name = Json::object();
        addText(name, "path", path);
        json->members(name);
        json->beginList("findings");
    }
    const tyktree::ConfigCost cost = checkConfig(path, catalog, output);
    if (json) {
        json->endList();
        json->member("counts", countsJson(output.counts));
        json->member("cost", {{"files", cost.files},
                              {"bytes", cost.bytes},
                              {"blocks", cost.blocks},
                              {"scene", cost.scene},
                              {"tuning", cost.tuning}});
        return statusOf(output.counts, options);
    }
    printResult(fmt::format("{}: {}; {}", tyktree::escaped(path),
                            output.counts.total() == 0 ? "clean" : countsText(output.counts),
                            catalog.path().empty()
                                ? "without --tags: names, kinds and sizes were not looked at"
                                : tableText(catalog)));
    if (!catalog.path().empty()) printResult(costText(cost));
    return statusOf(output.counts, options);
}

constexpr const char* kSchema = "tyksim.check";

ExitStatus checkConfigurationFile(const CheckVerbOptions& options, const std::string& path) {
    return readOne(options.reading.json ? kSchema : nullptr, [&](Reading& reading) {
        return checkConfiguration(options, path, reading.json());
    });
}

/// What the index could not read is among the findings.
ExitStatus checkTreeFolder(const CheckVerbOptions& options, const std::string& path) {
    ReadingOptions one = options.reading;
    one.trees = {path};
    return readTrees(
        one, kSchema,
        [&options](const OpenedTree& tree, Reading& reading) {
            return checkOne(options, tree, reading.json());
        },
        Need::kNothing, IndexProblems::kSaidByCheck);
}

/// Whether a name is a file's, a link to one or anything else that is there and no folder.
bool isNoFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

ExitStatus listRules(bool asJson) {
    if (asJson) {
        JsonDocument json("tyksim.rules", 1);
        json.beginList("rules");
        for (const tyktree::Rule& rule : tyktree::rules()) {
            json.item({{"rule", rule.name},
                       {"severity", nameOf(rule.severity)},
                       {"summary", rule.summary},
                       {"hint", rule.hint}});
        }
        json.end();
        return ExitStatus::kClean;
    }
    Table table;
    table.addColumn("rule", Table::Align::kLeft);
    table.addColumn("severity", Table::Align::kLeft);
    table.addColumn("what it says", Table::Align::kLeft);
    for (const tyktree::Rule& rule : tyktree::rules()) {
        table.addRow({std::string(rule.name), std::string(nameOf(rule.severity)),
                      std::string(rule.summary)});
    }
    table.print();
    return ExitStatus::kClean;
}

ExitStatus check(const CheckVerbOptions& options) {
    if (options.rules) return listRules(options.reading.json);
    if (options.reading.trees.empty())
        throw WrongUsage("expected TREE, found none (`tyksim check --help` says more)");
    ExitStatus status = ExitStatus::kClean;
    for (const std::string& given : options.reading.trees) {
        status = worse(status, isNoFolder(given) ? checkConfigurationFile(options, given)
                                                 : checkTreeFolder(options, given));
    }
    return status;
}

}  // namespace

Action defineCheck(CLI::App& verb) {
    const auto options = std::make_shared<CheckVerbOptions>();
    addReadingOptions(verb, options->reading);
    verb.get_option("TREE")->required(false)->description(
        "Trees, parts of trees, or dump configurations");
    verb.add_flag("--deep", options->deep, "Read all files: unreadable ones, images of one value");
    verb.add_option("--fail-on", options->failOn, "Least severity that makes the exit status 3")
        ->check(oneOf({"error", "warning", "note"}))
        ->capture_default_str();
    verb.add_flag("--rules", options->rules, "List the rules and end");
    verb.footer(kFooter);
    return [options] { return check(*options); };
}

}  // namespace tyksim
