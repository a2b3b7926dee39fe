// The rules for the tags and enums of a table. Errors: std::bad_alloc.
#pragma once

#include "tags/Problem.h"
#include "tags/TagTable.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyktags {

/// Checks the parts of one table, one after the other. One thread at a time uses an object.
class TableRules {
public:
    /// Adds the tag's problems to `problems`. `place` is its place in the file, for messages.
    void check(const TagEntry& tag, const std::string& place, std::vector<TableProblem>& problems);

    /// Adds an enum's problems in the same way.
    void check(const TagEnum& names, const std::string& place, std::vector<TableProblem>& problems);

private:
    std::map<uint32_t, std::string> idPlaces_;
    std::map<std::string, std::string> namePlaces_;
    std::map<std::string, std::string> enumPlaces_;
};

}  // namespace tyktags
