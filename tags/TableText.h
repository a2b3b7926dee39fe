// Reads and writes the text of a tag table's file. Threads: any. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tags/TagTable.h"

#include <string>

namespace tyktags {

/// Reads the whole file; at most 16 MiB. A pipe without data for ten seconds is a problem. The
/// problem has no path.
Status readTableText(const std::string& path, TableSource allowed, std::string& text);

/// Writes the whole file. The problem has no path.
Status writeTableText(const std::string& path, const std::string& text);

}  // namespace tyktags
