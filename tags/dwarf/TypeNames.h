// The types of debug information by name.
#pragma once

#include "tags/dwarf/Die.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tyktags {

/// A type that has a name: a structure, a union, an enum, or a typedef.
struct NamedType {
    Die die{};
    Die unit{};             ///< the entry of the source file that was compiled
    std::string name;       ///< with the namespaces and types that it is in
    bool declared = false;  ///< and not defined here
};

/// Calls `visit` for the types of one part of the debug information, wherever they are but in
/// functions. Only of those whose last name `wanted` takes the whole name is put together. False
/// where the information is damaged.
bool forEachType(Dwarf* part, const std::function<bool(std::string_view lastName)>& wanted,
                 const std::function<void(const NamedType& type)>& visit);

/// The whole name of a structure, a union or an enum; "" where it or what it is in has none.
std::string wholeNameOf(const Die& type);

/// The name as it is compared: without blanks that mean nothing, without "struct" and a leading
/// "::".
std::string plainName(std::string_view name);

/// What follows the last "::" of a plain name that is not in a template's arguments.
std::string_view lastNameOf(std::string_view plainName);

/// Whether `given` is `whole` or its end behind a "::"; both are plain names.
bool namesType(std::string_view given, std::string_view whole);

}  // namespace tyktags
