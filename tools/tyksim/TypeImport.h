// tyksim tags import and tags types: what a library's debug information says of tags.
#pragma once

#include "tools/console/Console.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// What the two are given.
struct TypeOptions {
    std::vector<std::string> words;
    std::string library;
    std::string debugFile;         ///< "": found by the library's build id
    std::string map;               ///< a file of pairs; "" for none
    std::string table;             ///< to merge into
    bool replace = false;          ///< what the table says of a field in another way
    std::optional<uint32_t> size;  ///< of the types to list, in bytes
    bool json = false;
};

/// Merges the layouts of types into a tag table, and prints what that changes. Throws WrongUsage
/// and Failure, and the table is as it was then.
ExitStatus importTypes(const TypeOptions& options);

/// Prints the library's types. Throws as importTypes() does, and WrongUsage where none fits.
ExitStatus listTypes(const TypeOptions& options);

}  // namespace tyksim
