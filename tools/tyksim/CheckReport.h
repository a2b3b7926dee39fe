// Prints the results of `tyksim check`, as text or as JSON.
#pragma once

#include "tags/TagTable.h"
#include "tools/console/Console.h"
#include "tools/console/VerbOptions.h"
#include "tree/check/Finding.h"
#include "tree/check/TreeCheck.h"
#include "tree/read/TagCatalog.h"

#include <memory>
#include <string>

namespace tyksim {

class JsonDocument;

/// Takes the findings of one tree, of one dump configuration or of one tag table, one by one. One
/// thread uses an object.
class CheckReport : public tyktree::FindingSink {
public:
    virtual void begin(const std::string& path) = 0;

    void add(const tyktree::Finding& finding) final {
        counts_.count(severityOf(finding));
        report(finding);
    }

    /// `given` is the user's text for the tree; `deep` tells whether contents were read.
    virtual void endTree(const std::string& given, const tyktree::CheckTotals& totals,
                         const tyktree::TagCatalog& catalog, bool deep) = 0;
    virtual void endConfiguration(const std::string& path, const tyktree::ConfigCost& cost,
                                  const tyktree::TagCatalog& catalog) = 0;

    virtual void endTable(const std::string& path, const tyktags::TagTable& table) = 0;

    const tyktree::FindingCounts& counts() const { return counts_; }

private:
    virtual void report(const tyktree::Finding& finding) = 0;

    tyktree::FindingCounts counts_;
};

/// Makes a report into `json`, which must outlive the object, or as text if it is null.
std::unique_ptr<CheckReport> makeCheckReport(JsonDocument* json);

/// kFindings if there was a finding of the severity of that name or worse, else kClean.
ExitStatus statusOf(const tyktree::FindingCounts& counts, const std::string& severity);

/// --fail-on.
void addFailOn(VerbOptions& verb, std::string& severity);

/// "12 frames in 1 task, 780 files, 3.1 MB".
std::string totalsText(const tyktree::CheckTotals& totals);

/// Prints the table of rules, as a JSON document or as text.
void reportRules(bool asJson);

}  // namespace tyksim
