// Finds the types of debug information by name. Threads: one at a time. Errors: std::bad_alloc.
#pragma once

#include "tags/dwarf/Die.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// A namespace, a type or a function that contains types. The name is valid as long as the debug
/// information is open.
struct TypeScope {
    std::string_view name;
    bool optional = false;  ///< an inline or unnamed namespace, which code does not name
};

/// A named type: a structure, a union, an enum, or a typedef.
struct NamedType {
    Die die{};
    Die unit{};                     ///< the entry of the compiled source file
    std::vector<TypeScope> scopes;  ///< that contain it, the outermost first
    std::string_view last;          ///< its name without them
    std::string name;               ///< its name with all of them
    bool declared = false;          ///< only declared here
};

/// Where forEachType() searches.
enum class Search { kOutsideFunctions, kEverywhere };

/// Calls `visit` for the types of one part of the debug information whose last name `wanted`
/// accepts. Returns false if the information is damaged.
bool forEachType(Dwarf* part, Search search,
                 const std::function<bool(std::string_view lastName)>& wanted,
                 const std::function<void(const NamedType& type)>& visit);

/// The full name of a structure, a union, an enum or a typedef; "" if it has no name.
std::string wholeNameOf(const Die& type);

/// The name in the form for comparisons: without meaningless spaces, "struct" and a leading "::".
std::string plainName(std::string_view name);

/// The part of a plain name after the last "::" outside template arguments.
std::string_view lastNameOf(std::string_view plainName);

/// Whether `given`, a plain name, names the type. It may lack the first scopes, and optional scopes
/// anywhere.
bool namesType(std::string_view given, const NamedType& type);

}  // namespace tyktags
