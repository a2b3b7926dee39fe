// What is wrong with a command line, in the tool's own words.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tyksim {

/// A sentence for what the reading of the command line of `verb` ran into.
std::string refusalOf(const CLI::App& verb, const CLI::ParseError& error);

}  // namespace tyksim
