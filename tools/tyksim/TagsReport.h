// The output of `tyksim tags show`: a tag table as text or as JSON. Threads: one.
#pragma once

#include "tree/read/TagCatalog.h"

#include <optional>
#include <string>

namespace tyksim {

class JsonDocument;

/// Prints all tags of a table, or the one of that name with its fields and enums. Throws
/// WrongUsage, with similar names, if the table has no such tag. Prints text if `json` is null.
void showTags(const tyktree::TagCatalog& catalog, const std::optional<std::string>& tagName,
              JsonDocument* json);

}  // namespace tyksim
