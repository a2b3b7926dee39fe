// What --help prints, made from the options themselves. The manual pages and the shell's completion
// are made from what it prints.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tyksim {

/// Lays out help for the width of the terminal, or for 80 columns where it goes elsewhere.
class HelpFormatter : public CLI::FormatterBase {
public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
};

}  // namespace tyksim
