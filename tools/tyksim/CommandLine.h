// Messages about wrong command lines. Threads: one.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tyksim {

/// The message for an error while the command line of `verb` was parsed.
std::string refusalOf(const CLI::App& verb, const CLI::ParseError& error);

}  // namespace tyksim
