#include "tools/console/VerbOptions.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace tyksim {

namespace {

// The names of the checks, by which the help finds their texts.
constexpr const char* kWords = "words";
constexpr const char* kRange = "range";

const char* nameOf(ValueCheck::Shown shown) {
    switch (shown) {
        case ValueCheck::Shown::kWords:
            return kWords;
        case ValueCheck::Shown::kRange:
            return kRange;
        case ValueCheck::Shown::kNothing:
            break;
    }
    return "";
}

std::string describedBy(const CLI::Option& option, const char* check) {
    // The library's accessor is not const and throws if there is none.
    try {
        return const_cast<CLI::Option&>(option).get_validator(check)->get_description();
    } catch (const CLI::OptionNotFound&) {
        return "";
    }
}

}  // namespace

Option Option::valueName(const std::string& name) const {
    option_->type_name(name);
    return *this;
}

Option Option::defaultText(const std::string& text) const {
    option_->default_str(text);
    return *this;
}

Option Option::showDefault() const {
    option_->capture_default_str();
    return *this;
}

Option Option::description(const std::string& text) const {
    option_->description(text);
    return *this;
}

Option Option::required(bool required) const {
    option_->required(required);
    return *this;
}

Option Option::takes(const ValueCheck& check) const {
    option_->transform(CLI::Validator(check.refuse, check.values, nameOf(check.shown)));
    return *this;
}

Option Option::oneValueEach() const {
    option_->allow_extra_args(false);
    return *this;
}

Option Option::excludes(const Option& other) const {
    option_->excludes(other.option_);
    return *this;
}

template <typename Value>
Option VerbOptions::option(const std::string& names, Value& value, const std::string& help) {
    return Option(verb_.add_option(names, value, help));
}

template Option VerbOptions::option(const std::string&, int&, const std::string&);
template Option VerbOptions::option(const std::string&, uint32_t&, const std::string&);
template Option VerbOptions::option(const std::string&, size_t&, const std::string&);
template Option VerbOptions::option(const std::string&, std::string&, const std::string&);
template Option VerbOptions::option(const std::string&, std::vector<std::string>&,
                                    const std::string&);
template Option VerbOptions::option(const std::string&, std::optional<int>&, const std::string&);
template Option VerbOptions::option(const std::string&, std::optional<uint32_t>&,
                                    const std::string&);
template Option VerbOptions::option(const std::string&, std::optional<float>&, const std::string&);
template Option VerbOptions::option(const std::string&, std::optional<double>&, const std::string&);
template Option VerbOptions::option(const std::string&, std::optional<std::string>&,
                                    const std::string&);

Option VerbOptions::optionFunction(const std::string& names,
                                   const std::function<void(const std::string& given)>& take,
                                   const std::string& help) {
    return Option(verb_.add_option_function<std::string>(names, take, help));
}

Option VerbOptions::flag(const std::string& names, bool& value, const std::string& help) {
    return Option(verb_.add_flag(names, value, help));
}

Option VerbOptions::existing(const std::string& name) {
    return Option(verb_.get_option(name));
}

void VerbOptions::whereMissing(const Option& option, std::function<void()> settle) {
    const CLI::Option* const missing = option.option_;
    verb_.parse_complete_callback([missing, settle = std::move(settle)] {
        if (missing->count() == 0) settle();
    });
}

void VerbOptions::refuseEmptyValues() {
    const CLI::Validator check(notEmpty().refuse, "");
    for (CLI::Option* option : verb_.get_options()) {
        option->disable_flag_override();
        if (option->get_items_expected_min() > 0) option->check(check);
    }
}

void VerbOptions::footer(const std::string& text) {
    verb_.footer(text);
}

std::string valueNameOf(const CLI::Option& option) {
    std::string words = describedBy(option, kWords);
    if (!words.empty()) return words;
    // The library appends the descriptions of the checks.
    const std::string name = option.get_type_name();
    return name.substr(0, name.find(':'));
}

std::string rangeOf(const CLI::Option& option) {
    return describedBy(option, kRange);
}

}  // namespace tyksim
