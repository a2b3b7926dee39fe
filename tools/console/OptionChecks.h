// What an option of the command line takes. A refusal says what was expected and what was found;
// the help shows the words or the range that stand here.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace tyksim {

/// A whole number from `least` to `most`, in decimal. From the largest `int` on, `most` is not
/// spoken of.
CLI::Validator wholeNumber(int64_t least, int64_t most);

/// A finite number from `least` to `most`.
CLI::Validator realNumber(double least, double most);

/// Anything but "", which would be as if the option were not there.
CLI::Validator notEmpty();

/// One of the words, as it stands.
CLI::Validator oneOf(std::vector<std::string> words);

/// What stands for the value of `option`: "FILE", "N", or the words that it takes, "a|b|c".
std::string valueNameOf(const CLI::Option& option);

/// The numbers that `option` takes, "1 to 100", or "" where one end is open.
std::string rangeOf(const CLI::Option& option);

}  // namespace tyksim
