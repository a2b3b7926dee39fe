// How a verb defines its options. Only what lies behind this header, the help and main know the
// library that reads command lines, which takes seconds to compile.
#pragma once

#include "tools/console/OptionChecks.h"

#include <functional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tyksim {

/// One option while it is defined. A copy stands for the same option. Valid as long as the verb's
/// VerbOptions.
class Option {
public:
    explicit Option(CLI::Option* option) : option_(option) {}

    /// What the help shows for the value: "FILE".
    Option valueName(const std::string& name) const;
    /// What the help calls the default. It is text only; the value stands where the option puts it.
    Option defaultText(const std::string& text) const;
    /// The help shows the value that stands where the option puts it.
    Option showDefault() const;
    /// Replaces what the help says of the option.
    Option description(const std::string& text) const;
    Option required(bool required = true) const;
    /// Refuses values. At most one check an option.
    Option takes(const ValueCheck& check) const;
    /// An option of several values takes one each time that it is given.
    Option oneValueEach() const;
    /// The two options do not go together.
    Option excludes(const Option& other) const;

private:
    friend class VerbOptions;
    CLI::Option* option_;
};

/// The options of one verb. Whatever the options put their values into must outlive the reading of
/// the command line. `names` are "-o,--output", or "TREE" for an argument without a name; `help`
/// says what the option does.
class VerbOptions {
public:
    /// `verb` must outlive this object.
    explicit VerbOptions(CLI::App& verb) : verb_(verb) {}

    /// Puts the value of the option into `value`: a string, an int, a uint32_t, a size_t,
    /// a std::optional of a string or of a number, or strings in a std::vector.
    template <typename Value>
    Option option(const std::string& names, Value& value, const std::string& help);

    /// Hands the value to `take`.
    Option optionFunction(const std::string& names,
                          const std::function<void(const std::string& given)>& take,
                          const std::string& help);

    /// Sets `value` where the option is given.
    Option flag(const std::string& names, bool& value, const std::string& help);

    /// An option that was defined before, such as one that all verbs over trees have.
    Option existing(const std::string& name);

    /// Calls `settle` after the command line was read, where it lacks the option. At most one such
    /// call a verb.
    void whereMissing(const Option& option, std::function<void()> settle);

    /// Refuses an empty value of any option, and any value of a flag. Call it after the last
    /// option.
    void refuseEmptyValues();

    /// What stands below the options in the help.
    void footer(const std::string& text);

private:
    CLI::App& verb_;
};

/// What stands for the value of `option`: "FILE", "N", or the words that it takes, "a|b|c".
std::string valueNameOf(const CLI::Option& option);

/// The numbers that `option` takes, "1 to 100", or "" where one end is open.
std::string rangeOf(const CLI::Option& option);

}  // namespace tyksim
