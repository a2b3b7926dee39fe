// tyksim tags: tag tables themselves.
#include "tags/TagTable.h"
#include "tools/console/Failures.h"
#include "tools/console/OptionChecks.h"
#include "tools/tyksim/CheckReport.h"
#include "tools/tyksim/Reading.h"
#include "tools/tyksim/TagsReport.h"
#include "tree/check/TableCheck.h"
#include "tree/read/Escape.h"

#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace tyksim {

namespace {

using tyktree::TagCatalog;

constexpr const char* kFooter = R"(
show lists the tags of a table, or with a TAG one tag with its fields and enums. WHAT is the TAG and a
tree, in any order; the table is that of --tags, or else the one beside the tree.

check tests tables; WHAT are the files. It reports everything for which other verbs refuse a table, and
what may be a mistake: fields that share bytes, bytes in no field, tags without fields, enums that no
field uses or whose numbers do not fit. `tyksim check --rules` lists the rules.

Exit status: 0 nothing found that --fail-on counts, 1 a file could not be read, 2 wrong usage or no such
tag, 3 findings, or parts of a table that a later version of tyksim knows.

Examples:
  tyksim tags show /tmp/phone
  tyksim tags show KELV_TAG_WB_GAINS --tags /tmp/phone/tags.xml --json
  tyksim tags check /tmp/phone/tags.xml --fail-on warning
)";

constexpr size_t kMostProblems = 1000;  ///< of one table

struct TagsOptions {
    std::string action;
    std::vector<std::string> words;
    std::string tagsFile;
    std::string failOn = "note";
    bool json = false;
};

bool isFolder(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// What `show` is asked for.
struct Shown {
    std::optional<std::string> tag;
    std::optional<std::string> tree;
};

Shown shownOf(const TagsOptions& options) {
    Shown shown;
    for (const std::string& word : options.words) {
        std::optional<std::string>& place = isFolder(word) && !shown.tree ? shown.tree : shown.tag;
        if (place) {
            throw WrongUsage(
                fmt::format("tags show: expected a TAG and a tree, found {} as well; no "
                            "folder has this name",
                            tyktree::escaped(word)));
        }
        place = word;
    }
    return shown;
}

void showTable(const TagCatalog& catalog, const Shown& shown, JsonDocument* json) {
    if (catalog.path().empty()) {
        throw Failure(fmt::format(
            "{}: expected a tag table beside the tree, found none; --tags FILE names one",
            tyktree::escaped(shown.tree.value_or(""))));
    }
    showTags(catalog, shown.tag, json);
}

ExitStatus show(const TagsOptions& options) {
    const Shown shown = shownOf(options);
    if (!shown.tree && options.tagsFile.empty()) {
        const std::string found =
            shown.tag ? tyktree::escaped(*shown.tag) + ", which is no folder" : "neither";
        throw WrongUsage("tags show: expected a tree or --tags FILE, found " + found);
    }
    return runReading(options.json ? "tyksim.tags.show" : nullptr, [&](Reading& reading) {
        if (shown.tree) {
            TreeOptions tree;
            tree.tagsFile = options.tagsFile;
            showTable(OpenedTree(reading, *shown.tree, tree, Need::kNothing).catalog, shown,
                      reading.json());
        } else {
            const TagCatalog catalog = orFail(TagCatalog::readGiven(options.tagsFile));
            reading.problems(catalog);
            showTable(catalog, shown, reading.json());
        }
        return ExitStatus::kClean;
    });
}

ExitStatus checkOne(const TagsOptions& options, const std::string& path, Reading& reading) {
    const tyktags::TagTable table =
        tyktags::examineTagTable(path, tyktags::TableSource::fileOrPipe, kMostProblems);
    if (!table.isRead) fail(table.problems.front());
    const std::unique_ptr<CheckReport> report = makeCheckReport(reading.json());
    report->begin(path);
    checkTable(table, path, *report);
    report->endTable(path, table);
    return statusOf(report->counts(), options.failOn);
}

ExitStatus check(const TagsOptions& options) {
    if (options.words.empty()) throw WrongUsage("tags check: expected FILE, found none");
    ExitStatus status = ExitStatus::kClean;
    for (const std::string& path : options.words) {
        status = worse(status,
                       readOne(options.json ? "tyksim.tags.check" : nullptr,
                               [&](Reading& reading) { return checkOne(options, path, reading); }));
    }
    return status;
}

struct TagsAction {
    const char* name;
    ExitStatus (*run)(const TagsOptions& options);
};

constexpr TagsAction kActions[] = {{"show", show}, {"check", check}};

ExitStatus run(const TagsOptions& options) {
    for (const TagsAction& action : kActions) {
        if (options.action == action.name) return action.run(options);
    }
    return ExitStatus::kWrongUsage;
}

}  // namespace

Action defineTags(VerbOptions& verb) {
    const auto options = std::make_shared<TagsOptions>();
    std::vector<std::string> actions;
    for (const TagsAction& action : kActions) actions.emplace_back(action.name);
    verb.option("ACTION", options->action, "What to do: show or check")
        .required()
        .takes(oneOf(actions));
    verb.option("WHAT", options->words, "A tag, a tree or tag tables, as below");
    verb.option("--tags", options->tagsFile, "The table to show").valueName("FILE");
    addFailOn(verb, options->failOn);
    verb.flag("--json", options->json, "One JSON document per table, on one line");
    verb.footer(kFooter);
    return [options] { return run(*options); };
}

}  // namespace tyksim
