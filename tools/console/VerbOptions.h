// Defines the options of a verb. Only the implementation of this header, the help and main include
// the command line's library, which takes seconds to compile. Threads: one.
#pragma once

#include "tools/console/OptionChecks.h"

#include <functional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tyksim {

/// One option during its definition. A copy refers to the same option. Valid as long as the verb's
/// VerbOptions.
class Option {
public:
    explicit Option(CLI::Option* option) : option_(option) {}

    /// Sets the placeholder for the value in the help, such as "FILE".
    Option valueName(const std::string& name) const;
    /// Sets the default's text in the help. The default itself is the initial content of the
    /// option's variable.
    Option defaultText(const std::string& text) const;
    /// The help shows the present content of the option's variable as the default.
    Option showDefault() const;
    /// Replaces the option's description in the help.
    Option description(const std::string& text) const;
    Option required(bool required = true) const;
    /// Sets the check of values. At most one per option.
    Option takes(const ValueCheck& check) const;
    /// An option with several values takes one value each time that it is given.
    Option oneValueEach() const;
    /// The two options exclude each other.
    Option excludes(const Option& other) const;

private:
    friend class VerbOptions;
    CLI::Option* option_;
};

/// The options of one verb. The variables for their values must exist until the command line is
/// parsed. `names` are "-o,--output", or "TREE" for a positional argument; `help` is the
/// description.
class VerbOptions {
public:
    /// `verb` must outlive this object.
    explicit VerbOptions(CLI::App& verb) : verb_(verb) {}

    /// Stores the value of the option in `value`: a string, an int, a uint32_t, a size_t, a
    /// std::optional of a string or of a number, or strings in a std::vector.
    template <typename Value>
    Option option(const std::string& names, Value& value, const std::string& help);

    /// Passes the value to `take`.
    Option optionFunction(const std::string& names,
                          const std::function<void(const std::string& given)>& take,
                          const std::string& help);

    /// Sets `value` if the option is given.
    Option flag(const std::string& names, bool& value, const std::string& help);

    /// An option that was defined before, such as one of all verbs over trees.
    Option existing(const std::string& name);

    /// Calls `settle` after the command line was parsed if it does not have the option. At most one
    /// such call per verb.
    void whereMissing(const Option& option, std::function<void()> settle);

    /// Refuses an empty value of any option, and any value of a flag. Call it after the last
    /// option.
    void refuseEmptyValues();

    /// Sets the text below the options in the help.
    void footer(const std::string& text);

private:
    CLI::App& verb_;
};

/// The placeholder for the value of `option`: "FILE", "N", or the words that it takes, "a|b|c".
std::string valueNameOf(const CLI::Option& option);

/// The numbers that `option` takes, such as "1 to 100"; "" if one end is open.
std::string rangeOf(const CLI::Option& option);

}  // namespace tyksim
