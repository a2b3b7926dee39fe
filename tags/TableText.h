// The text of a tag table's file. Nothing waits for whoever serves a pipe for longer than told.
#pragma once

#include "tags/Problem.h"
#include "tags/TagTable.h"

#include <string>

namespace tyktags {

/// Reads the whole file; at most 16 MiB. The problem has no path.
Status readTableText(const std::string& path, TableSource allowed, std::string& text);

/// Writes the whole file. The problem has no path.
Status writeTableText(const std::string& path, const std::string& text);

}  // namespace tyktags
