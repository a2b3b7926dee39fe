// tyksim tags: shows and checks tag tables, and imports fields into them.
#include "tags/NearestNames.h"
#include "tags/TagTable.h"
#include "tools/console/Failures.h"
#include "tools/console/OptionChecks.h"
#include "tools/files/Files.h"
#include "tools/tyksim/CheckReport.h"
#include "tools/tyksim/Reading.h"
#include "tools/tyksim/TagsReport.h"
#include "tools/tyksim/TypeImport.h"
#include "tree/check/TableCheck.h"
#include "tree/read/Escape.h"

#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

namespace {

using tyktree::TagCatalog;

constexpr const char* kFooter = R"(
show lists the tags of a table or, with a TAG, one tag with its fields and enums. WHAT is a TAG, a tree
or both, in any order. The table is that of --tags, else the one beside the tree.

check tests tables; each WHAT is a table's file. It reports every reason for which other verbs refuse a
table, and possible mistakes: fields that share bytes, bytes in no field, tags without fields, enums that
no field uses or whose numbers do not fit. `tyksim check --rules` lists the rules.

import writes the fields of tags into the table of --into, from the debug information of the library of
--elf. Each WHAT is a pair TAG=TYPE or a tree. A type must have the size of its tag, and of the tag's files
in each tree; otherwise nothing is written. Files in the last frame of a task may be shorter. TYPE may omit
leading namespaces, and inline and unnamed ones anywhere. TYPE@FILE is the type that FILE declares or that
is compiled from FILE. The table keeps fields that differ from the type and fields that the type lacks; with
--replace, the type's fields replace the former, and the latter are removed. Comments and units always stay.
import lists parts of a type for which there is no kind of field, such as pointers.

types lists the types in the library of --elf, except those inside functions. WHAT is a pattern for their
names, such as 'Ae*'; --size lists the types of one size.

The debug information is in the library, or in the file with the library's build id or debug link: in the
library's folder, in its folder .debug, or in /usr/lib/debug. A file with debug information that several
libraries share is found by its build id, or by its name beside the debug information.

Exit status: 0 no finding that --fail-on counts, 1 a file could not be read or a size does not fit, 2 wrong
usage or no such tag, 3 findings, parts of a table that only later versions of tyksim know, or a field that
import kept although it differs from the type.

Examples:
  tyksim tags show /tmp/phone
  tyksim tags show KELV_TAG_WB_GAINS --tags /tmp/phone/tags.xml --json
  tyksim tags check /tmp/phone/tags.xml --fail-on warning
  tyksim tags types --elf libparams.so --size 16
  tyksim tags import --elf libparams.so KELV_TAG_WB_GAINS=WbParams /tmp/phone --into tags.xml
)";

constexpr size_t kMostProblems = 1000;  ///< of one table

struct TagsOptions {
    std::string action;
    std::vector<std::string> words;
    std::string tagsFile;
    std::string failOn = "note";
    bool failOnGiven = true;
    bool json = false;
    TypeOptions types;
};

/// The arguments of `show`.
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

/// The tag of that name. Throws WrongUsage, with similar names, if the table has no such tag.
const tyktags::TagEntry& tagOf(const TagCatalog& catalog, const std::string& name) {
    if (const tyktags::TagEntry* const tag = catalog.byName(name)) return *tag;
    const std::vector<std::string> nearest = catalog.nearest(name);
    const std::string advice =
        nearest.empty() ? "" : "; did you mean " + tyktags::joinedByOr(nearest) + "?";
    throw WrongUsage(fmt::format("{}: expected the tag {}, found none{}",
                                 tyktree::escaped(catalog.path()), tyktree::escaped(name),
                                 tyktree::escaped(advice)));
}

void showTable(const TagCatalog& catalog, const Shown& shown, JsonDocument* json) {
    if (catalog.path().empty()) {
        throw Failure(fmt::format(
            "{}: expected a tag table beside the tree, found none; --tags FILE names one",
            tyktree::escaped(shown.tree.value_or(""))));
    }
    const std::unique_ptr<TagsReport> report = makeTagsReport(json);
    if (shown.tag) {
        report->addTag(catalog, tagOf(catalog, *shown.tag));
    } else {
        report->addTable(catalog);
    }
}

ExitStatus show(const TagsOptions& options) {
    const Shown shown = shownOf(options);
    if (!shown.tree && options.tagsFile.empty()) {
        const std::string found =
            shown.tag ? tyktree::escaped(*shown.tag) + ", which is not a folder" : "neither";
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

TypeOptions typesOf(const TagsOptions& options) {
    TypeOptions types = options.types;
    types.words = options.words;
    types.json = options.json;
    return types;
}

ExitStatus importFields(const TagsOptions& options) {
    return importTypes(typesOf(options));
}

ExitStatus types(const TagsOptions& options) {
    return listTypes(typesOf(options));
}

struct TagsAction {
    const char* name;
    ExitStatus (*run)(const TagsOptions& options);
};

constexpr TagsAction kActions[] = {
    {"show", show}, {"check", check}, {"import", importFields}, {"types", types}};

/// Refuses options that only other actions have.
void checkAction(const TagsOptions& options) {
    const struct {
        const char* name;
        bool given;
        std::string_view actions;
    } kOptions[] = {{"--tags", !options.tagsFile.empty(), "show"},
                    {"--elf", !options.types.library.empty(), "import or types"},
                    {"--debug", !options.types.debugFile.empty(), "import or types"},
                    {"--map", !options.types.map.empty(), "import"},
                    {"--into", !options.types.table.empty(), "import"},
                    {"--fail-on", options.failOnGiven, "check"},
                    {"--replace", options.types.replace, "import"},
                    {"--size", options.types.size.has_value(), "types"},
                    {"--json", options.json, "show, check or types"}};
    for (const auto& option : kOptions) {
        if (!option.given || option.actions.find(options.action) != std::string_view::npos)
            continue;
        throw WrongUsage(fmt::format("{}: expected with tags {}, found with tags {}", option.name,
                                     option.actions, options.action));
    }
}

ExitStatus run(const TagsOptions& options) {
    checkAction(options);
    for (const TagsAction& action : kActions) {
        if (options.action == action.name) return action.run(options);
    }
    return ExitStatus::kWrongUsage;
}

void addTypeOptions(VerbOptions& verb, TypeOptions& types) {
    verb.option("--elf", types.library, "The library that has the types").valueName("FILE");
    verb.option("--debug", types.debugFile,
                "The library's debug information, or a folder with .build-id in it")
        .valueName("FILE");
    verb.option("--into", types.table, "The tag table to import into").valueName("FILE");
    verb.option("--map", types.map,
                "Import the pairs in FILE too, one TAG = TYPE per line; lines that begin with # "
                "are notes")
        .valueName("FILE");
    verb.flag("--replace", types.replace,
              "Replace fields that differ from the type, and remove those that it lacks");
    verb.option("--size", types.size, "List the types of N bytes")
        .valueName("N")
        .takes(wholeNumber(0, std::numeric_limits<int32_t>::max()));
}

}  // namespace

Action defineTags(VerbOptions& verb) {
    const auto options = std::make_shared<TagsOptions>();
    std::vector<std::string> actions;
    for (const TagsAction& action : kActions) actions.emplace_back(action.name);
    verb.option("ACTION", options->action, "What to do: show, check, import or types")
        .required()
        .takes(oneOf(actions));
    verb.option("WHAT", options->words, "Tags, trees, tables or types; see below");
    verb.option("--tags", options->tagsFile, "The table to show").valueName("FILE");
    addFailOn(verb, options->failOn);
    verb.whereMissing(verb.existing("--fail-on"), [options] { options->failOnGiven = false; });
    addTypeOptions(verb, options->types);
    verb.flag("--json", options->json, "One JSON document per table, on one line");
    verb.footer(kFooter);
    return [options] { return run(*options); };
}

}  // namespace tyksim
