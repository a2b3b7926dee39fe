#include "tools/tyksim/CheckReport.h"

#include "tools/console/Console.h"
#include "tools/console/FindingPrinter.h"
#include "tools/console/OptionChecks.h"
#include "tools/console/Table.h"
#include "tools/console/Units.h"
#include "tools/json/TreeJson.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace tyksim {

namespace {

using tyktree::Finding;
using tyktree::Severity;
using tyktree::TagCatalog;

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

std::string tableText(const TagCatalog& catalog) {
    if (catalog.path().empty()) {
        return "without a tag table: unknown tags were not checked";
    }
    return "tag table " + tyktree::escaped(catalog.path());
}

/// How much of the parameters the table's fields describe.
std::string coverageText(const tyktree::CheckTotals& totals) {
    if (totals.parameterBytes == 0) return "";
    const double share =
        100 * static_cast<double>(totals.fieldBytes) / static_cast<double>(totals.parameterBytes);
    // Nearly all is not all, and a little is not nothing.
    const bool exact = totals.fieldBytes == 0 || totals.fieldBytes == totals.parameterBytes;
    return fmt::format(", whose fields cover {:.{}f} % of the parameters' bytes",
                       exact ? share : std::clamp(share, 0.1, 99.9), exact ? 0 : 1);
}

std::string costText(const tyktree::ConfigCost& cost) {
    std::string line = fmt::format("one frame: {}, {}", counted(cost.files, "file", "files"),
                                   humanBytes(cost.bytes));
    if (cost.blocks > 0) {
        line += fmt::format(" with {} of the usual size", counted(cost.blocks, "block", "blocks"));
    }
    if (cost.scene) line += ", including the scene record's";
    line += ", without the image";
    if (cost.tuning) line += "; it rewrites the tuning copy";
    return line;
}

size_t fieldCount(const tyktags::TagTable& table) {
    size_t count = 0;
    for (const tyktags::TagEntry& tag : table.tags) count += tag.fields.size();
    return count;
}

class TextCheck : public CheckReport {
public:
    void begin(const std::string& /*path*/) override {}

    void endTree(const std::string& given, const tyktree::CheckTotals& totals,
                 const TagCatalog& catalog, bool deep) override {
        const std::string judged =
            counts().total() == 0 && totals.frames > 0 ? "clean" : countsText(counts());
        printResult(fmt::format("{}: {}: {}; {}; {}", tyktree::escaped(given), judged,
                                totalsText(totals), tableText(catalog) + coverageText(totals),
                                deep ? "contents read" : "contents not read (use --deep)"));
    }

    void endConfiguration(const std::string& path, const tyktree::ConfigCost& cost,
                          const TagCatalog& catalog) override {
        const bool hasTable = !catalog.path().empty();
        printResult(fmt::format("{}: {}; {}", tyktree::escaped(path),
                                counts().total() == 0 ? "clean" : countsText(counts()),
                                hasTable
                                    ? tableText(catalog)
                                    : "without --tags: names, kinds and sizes were not checked"));
        if (hasTable) printResult(costText(cost));
    }

    void endTable(const std::string& path, const tyktags::TagTable& table) override {
        printResult(fmt::format("{}: {}: {}, {}, {}", tyktree::escaped(path),
                                counts().total() == 0 ? "clean" : countsText(counts()),
                                counted(table.tags.size(), "tag", "tags"),
                                counted(fieldCount(table), "field", "fields"),
                                counted(table.enums.size(), "enum", "enums")));
    }

private:
    /// Prints a rule's own hint once, with its first finding.
    void report(const Finding& finding) override {
        const tyktree::Rule& rule = ruleOf(finding.rule);
        printResult(fmt::format("{} {}: {}", shapeOf(rule.severity), rule.name, toLine(finding)));
        const bool first = hinted_.insert(finding.rule).second;
        if (!finding.hint.empty()) {
            printResult("    " + tyktree::escaped(finding.hint));
        } else if (first && !rule.hint.empty()) {
            printResult(fmt::format("    {}", rule.hint));
        }
    }

    std::set<tyktree::RuleId> hinted_;
};

class JsonCheck : public CheckReport {
public:
    explicit JsonCheck(JsonDocument& json) : json_(json) {}

    void begin(const std::string& path) override {
        Json members = Json::object();
        addText(members, "path", path);
        json_.members(members);
        json_.beginList("findings");
    }

    void endTree(const std::string& /*given*/, const tyktree::CheckTotals& totals,
                 const TagCatalog& /*catalog*/, bool deep) override {
        endFindings();
        json_.member("looked_at", {{"pipes", totals.pipes},
                                   {"tasks", totals.tasks},
                                   {"frames", totals.frames},
                                   {"files", totals.files},
                                   {"bytes", totals.bytes},
                                   {"parameter_bytes", totals.parameterBytes},
                                   {"field_bytes", totals.fieldBytes}});
        json_.member("deep", deep);
    }

    void endConfiguration(const std::string& /*path*/, const tyktree::ConfigCost& cost,
                          const TagCatalog& /*catalog*/) override {
        endFindings();
        json_.member("cost", {{"files", cost.files},
                              {"bytes", cost.bytes},
                              {"blocks", cost.blocks},
                              {"scene", cost.scene},
                              {"tuning", cost.tuning}});
    }

    void endTable(const std::string& /*path*/, const tyktags::TagTable& table) override {
        endFindings();
        json_.member("looked_at", {{"tags", table.tags.size()},
                                   {"fields", fieldCount(table)},
                                   {"enums", table.enums.size()}});
    }

private:
    void report(const Finding& finding) override { json_.item(toJson(finding)); }

    void endFindings() {
        json_.endList();
        json_.member(
            "counts",
            {{"error", counts().errors}, {"warning", counts().warnings}, {"note", counts().notes}});
    }

    JsonDocument& json_;
};

void reportRulesAsJson() {
    JsonDocument json("tyksim.rules", 1);
    json.beginList("rules");
    for (const tyktree::Rule& rule : tyktree::rules()) {
        json.item({{"rule", rule.name},
                   {"severity", nameOf(rule.severity)},
                   {"summary", rule.summary},
                   {"hint", rule.hint}});
    }
    json.end();
}

void reportRulesAsText() {
    Table table{{"rule"}, {"severity"}, {"meaning"}};
    for (const tyktree::Rule& rule : tyktree::rules()) {
        table.addRow({std::string(rule.name), std::string(nameOf(rule.severity)),
                      std::string(rule.summary)});
    }
    table.print();
}

}  // namespace

std::unique_ptr<CheckReport> makeCheckReport(JsonDocument* json) {
    if (json) return std::make_unique<JsonCheck>(*json);
    return std::make_unique<TextCheck>();
}

ExitStatus statusOf(const tyktree::FindingCounts& counts, const std::string& severity) {
    for (const Severity least : {Severity::kError, Severity::kWarning, Severity::kNote}) {
        if (severity == nameOf(least) && counts.any(least)) return ExitStatus::kFindings;
    }
    return ExitStatus::kClean;
}

void addFailOn(VerbOptions& verb, std::string& severity) {
    verb.option("--fail-on", severity, "Least severity that makes the exit status 3")
        .takes(oneOf({"error", "warning", "note"}))
        .showDefault();
}

std::string totalsText(const tyktree::CheckTotals& totals) {
    return fmt::format("{} in {}, {}, {}", counted(totals.frames, "frame", "frames"),
                       counted(totals.tasks, "task", "tasks"),
                       counted(totals.files, "file", "files"), humanBytes(totals.bytes));
}

void reportRules(bool asJson) {
    if (asJson) {
        reportRulesAsJson();
    } else {
        reportRulesAsText();
    }
}

}  // namespace tyksim
