// Finds the types of debug information by name. Threads: one at a time.
#pragma once

#include "tags/dwarf/Die.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// A named type: a structure, a union, an enum, or a typedef.
struct NamedType {
    Die die{};
    Die unit{};             ///< the entry of the compiled source file
    std::string name;       ///< with its namespaces and enclosing types
    bool declared = false;  ///< only declared here
};

/// Calls `visit` for the types of one part of the debug information, except those in functions,
/// whose last name `wanted` accepts. Returns false if the information is damaged.
bool forEachType(Dwarf* part, const std::function<bool(std::string_view lastName)>& wanted,
                 const std::function<void(const NamedType& type)>& visit);

/// The full name of a structure, a union or an enum; "" if it or its parent has no name.
std::string wholeNameOf(const Die& type);

/// The name in the form for comparisons: without meaningless spaces, "struct" and a leading "::".
std::string plainName(std::string_view name);

/// The part of a plain name after the last "::" outside template arguments.
std::string_view lastNameOf(std::string_view plainName);

/// Whether `given` is `whole` or its end after a "::"; both must be plain names.
bool namesType(std::string_view given, std::string_view whole);

}  // namespace tyktags
