#include "tools/tyksim/ReadingVerb.h"

#include "tree/Escape.h"

#include <algorithm>
#include <exception>
#include <memory>

namespace tyksim {

namespace {

ExitStatus readTree(const ReadingOptions& options, const std::string& given, JsonDocument* json,
                    const ReadTree& read) {
    try {
        const OpenedTree tree(given, options.tree);
        return read(tree, json);
    } catch (const WrongUsage& error) {
        if (json) json->error(error.what());
        throw;
    } catch (const std::exception& error) {
        sayProblem(error.what(), json);
        return ExitStatus::kFailed;
    }
}

}  // namespace

ExitStatus worse(ExitStatus a, ExitStatus b) {
    if (a == ExitStatus::kFailed || b == ExitStatus::kFailed) return ExitStatus::kFailed;
    return std::max(a, b);
}

void addReadingOptions(CLI::App& verb, ReadingOptions& options) {
    verb.add_option("TREE", options.trees, "Trees, or parts of trees")->required();
    addTreeOptions(verb, options.tree);
    verb.add_flag("--json", options.json, "One JSON document per tree, on one line");
}

ExitStatus readTrees(const ReadingOptions& options, const char* schema, const ReadTree& read) {
    ExitStatus status = ExitStatus::kClean;
    for (const std::string& given : options.trees) {
        std::unique_ptr<JsonDocument> json;
        if (options.json) json = std::make_unique<JsonDocument>(schema, 1);
        const ExitStatus one = readTree(options, given, json.get(), read);
        if (json) json->end();
        status = worse(status, one);
    }
    return status;
}

bool sayUnread(const OpenedTree& tree, JsonDocument* json) {
    bool any = false;
    for (const tyktree::Finding& finding : tree.index.findings()) {
        if (severityOf(finding) != tyktree::Severity::kError) continue;
        sayProblem(toLine(finding), json);
        any = true;
    }
    return any;
}

void sayProblem(const std::string& line, JsonDocument* json) {
    if (json) json->error(line);
    printNote(line);
}

}  // namespace tyksim
