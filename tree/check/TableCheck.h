// Checks a tag table without a tree: problems for which the verbs refuse it, and possible mistakes.
//
// Threads: any. Errors: std::bad_alloc, and exceptions of the sink.
#pragma once

#include "tags/TagTable.h"
#include "tree/check/Finding.h"

#include <string>
#include <vector>

namespace tyktree {

/// Passes all findings of a table, which was read from `path`, to `sink`: problems first, then
/// those of each tag, then those of the enums.
void checkTable(const tyktags::TagTable& table, const std::string& path, FindingSink& sink);

/// The known fields of a tag: those of its table, or for the scene record those of the library.
std::vector<tyktags::TagField> fieldsOf(const tyktags::TagEntry& tag);

}  // namespace tyktree
