// What the tags and enums of a table must keep to, in themselves and beside each other.
#pragma once

#include "tags/Problem.h"
#include "tags/TagTable.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace tyktags {

/// Checks the parts of one table, one after the other.
class TableRules {
public:
    /// Adds what is wrong with the tag to `problems`. `place` says where it stands.
    void check(const TagEntry& tag, const std::string& place, std::vector<TableProblem>& problems);

    /// The same of an enum.
    void check(const TagEnum& names, const std::string& place, std::vector<TableProblem>& problems);

private:
    std::map<uint32_t, std::string> idPlaces_;
    std::map<std::string, std::string> namePlaces_;
    std::map<std::string, std::string> enumPlaces_;
};

}  // namespace tyktags
