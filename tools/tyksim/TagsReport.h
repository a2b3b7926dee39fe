// Prints the results of `tyksim tags show` and `tyksim tags types`, as text or as JSON.
#pragma once

#include "tags/TagTable.h"
#include "tags/dwarf/DebugTypes.h"
#include "tree/read/TagCatalog.h"

#include <memory>
#include <string>
#include <vector>

namespace tyksim {

class JsonDocument;

/// Takes a tag table, one tag of a table, or the types of a library. One thread uses an object.
class TagsReport {
public:
    virtual ~TagsReport() = default;
    virtual void addTable(const tyktree::TagCatalog& catalog) = 0;
    /// `tag` is one of the catalog's; the report has its fields and their enums.
    virtual void addTag(const tyktree::TagCatalog& catalog, const tyktags::TagEntry& tag) = 0;
    /// `library` is a path.
    virtual void addTypes(const std::string& library,
                          const std::vector<tyktags::DebugType>& types) = 0;
};

/// Makes a report into `json`, which must outlive the object, or as text if it is null.
std::unique_ptr<TagsReport> makeTagsReport(JsonDocument* json);

/// Where a type is declared: "<file>:<line>", or its unit if the file is unknown.
std::string declarationOf(const tyktags::DebugType& type);

}  // namespace tyksim
