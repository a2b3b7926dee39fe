// Checks a tag table by itself: what makes the verbs refuse it, and what may be a mistake.
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

/// The fields that are known of a tag: those of its table, or for the scene record those that the
/// library knows.
std::vector<tyktags::TagField> fieldsOf(const tyktags::TagEntry& tag);

}  // namespace tyktree
