// tyksim tags import and tags types: the layouts of tags from a library's debug information.
// Threads: one.
#pragma once

#include "tools/console/Console.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// The options of both.
struct TypeOptions {
    std::vector<std::string> words;
    std::string library;
    std::string debugFile;         ///< "": the file with the library's build id
    std::string map;               ///< a file of pairs; "" for none
    std::string table;             ///< the table to change
    bool replace = false;          ///< whether types replace differing fields of the table
    std::optional<uint32_t> size;  ///< of the types to list, in bytes
    bool json = false;
};

/// Merges the layouts of types into a tag table, and prints the changes. Throws WrongUsage and
/// Failure; the table is unchanged then.
ExitStatus importTypes(const TypeOptions& options);

/// Prints the library's types. Throws like importTypes(), and WrongUsage if no type matches.
ExitStatus listTypes(const TypeOptions& options);

}  // namespace tyksim
