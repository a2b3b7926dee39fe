// The output of --help, made from the options. The manual pages and the shell's completion are made
// from this output. Threads: one.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tyksim {

/// Formats help for the width of the terminal, or for 80 columns if the output is not a terminal.
class HelpFormatter : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
};

}  // namespace tyksim
