// Checks of the values of options. The message of a refusal has the expected and the given text;
// the help shows the words or the range. Threads: one.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tyksim {

/// A check of an option's value.
struct ValueCheck {
    /// The help's text for the accepted values.
    enum class Shown {
        kNothing,
        kWords,  ///< "a|b|c", in place of the value's name
        kRange,  ///< "1 to 100", after the option's description
    };

    /// Returns "", or the message of a refusal. May change the form of an accepted value.
    std::function<std::string(std::string& given)> refuse;
    Shown shown = Shown::kNothing;
    std::string values;  ///< the words or the range
};

/// A whole number from `least` to `most`, in decimal. Messages and help omit a `most` from the
/// largest `int` on.
ValueCheck wholeNumber(int64_t least, int64_t most);

/// A finite number from `least` to `most`.
ValueCheck realNumber(double least, double most);

/// Any text but "", which would act like a missing option.
ValueCheck notEmpty();

/// One of the words, in the same case.
ValueCheck oneOf(std::vector<std::string> words);

/// The finite or infinite number in `given`; none if the whole text is not a number.
std::optional<double> numberFrom(const std::string& given);

}  // namespace tyksim
