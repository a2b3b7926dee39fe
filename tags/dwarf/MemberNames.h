// Names of the members and bases of a type, as names of fields have them. Threads: one at a time.
// Errors: std::bad_alloc.
#pragma once

#include "tags/dwarf/Die.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// Whether names have the character: a letter, a digit, '_', '$' or a byte beyond ASCII.
bool isNameCharacter(char c);

/// Whether a member can have this name.
bool isIdentifier(std::string_view name);

/// "lens.focus", the name of a member in the part `scope`; the member's own name if `scope` is "".
std::string memberPath(const std::string& scope, std::string_view member);

/// Turns "roi[12].x" into "roi[].x", which means every element.
std::string withoutIndices(std::string_view name);

/// The indices of an element: "[1][2]" for element 5 of three rows of three.
std::string indicesOf(uint64_t element, const std::vector<uint32_t>& dimensions);

/// The names of a type's bases: without namespaces and template arguments, and with a number if
/// several have the same name, as two of one template have.
class BaseNames {
public:
    /// Counts a base. All bases are counted before the first call of next().
    void count(const Die& inheritance);
    bool empty() const { return counts_.empty(); }
    /// The name of a base, in the order of the bases.
    std::string next(const Die& inheritance);

private:
    // How many bases have one name, and how many of them were named.
    struct Count {
        uint32_t all = 0;
        uint32_t seen = 0;
    };
    std::map<std::string, Count> counts_;
};

}  // namespace tyktags
