#include "tools/tyksim/CommandLine.h"

#include "tags/NearestNames.h"
#include "tools/console/Console.h"
#include "tools/console/VerbOptions.h"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

namespace tyksim {

namespace {

bool isOption(const std::string& word) {
    return word.size() > 1 && word.front() == '-';
}

/// "--output OUT", "TREE".
std::string nameOf(const CLI::Option& option) {
    return option.get_positional() ? option.get_name()
                                   : option.get_name() + " " + valueNameOf(option);
}

std::string refuseOption(const CLI::App& verb, const std::string& word) {
    std::vector<std::string> names;
    for (const CLI::Option* option : verb.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    const std::string given = word.substr(0, word.find('='));
    const std::vector<std::string> nearest = tyktags::nearestNames(given, names);
    return "expected an option of " + verb.get_name() + ", found " + shellWord(given) +
           (nearest.empty() ? "" : "; did you mean " + tyktags::joinedByOr(nearest) + "?");
}

/// The message for unknown words, options first; "" if there are none.
std::string refuseExtras(const CLI::App& verb) {
    const std::vector<std::string> words = verb.remaining();
    const auto option = std::find_if(words.begin(), words.end(), isOption);
    if (option != words.end()) return refuseOption(verb, *option);
    return words.empty() ? "" : "expected no more words, found " + shellWord(words.front());
}

/// Advice if an option with any number of values may have taken the word for `missing`.
std::string adviceOnGreedy(const CLI::App& verb, const CLI::Option& missing) {
    for (const CLI::Option* option : verb.get_options()) {
        const bool isGreedy = option->nonpositional() && option->get_items_expected_max() > 1;
        if (!isGreedy || option->count() < 2 || !missing.get_positional()) continue;
        return fmt::format("; {} takes every word after it: put {} in front of it",
                           option->get_name(), missing.get_name());
    }
    return "";
}

std::string refuseMissing(const CLI::App& verb) {
    for (const CLI::Option* option : verb.get_options()) {
        if (option->get_required() && option->count() == 0) {
            return "expected " + nameOf(*option) + ", found none" + adviceOnGreedy(verb, *option);
        }
    }
    return "";
}

/// The message for two options that exclude each other.
std::string refusePair(const CLI::App& verb) {
    for (const CLI::Option* option : verb.get_options()) {
        if (option->count() == 0) continue;
        for (const CLI::Option* other : option->get_excludes()) {
            if (other->count() > 0) {
                return other->get_name() + " and " + option->get_name() + " exclude each other";
            }
        }
    }
    return "";
}

/// The message for an option without its value, with too many values, or given twice. The library's
/// sentence begins with the option's name.
std::string refuseCount(const CLI::App& verb, const std::string& sentence) {
    const size_t flag = sentence.find(" was given a disallowed flag override");
    if (flag != std::string::npos) {
        return "--" + sentence.substr(0, flag) + ": expected no value, found one";
    }
    const std::string name = sentence.substr(0, sentence.find(':'));
    const CLI::Option* const option = verb.get_option_no_throw(name);
    if (!option) return "";
    if (sentence.find("missing") != std::string::npos) {
        return name + ": expected " + valueNameOf(*option) + ", found none";
    }
    return name + ": expected once, found " + fmt::to_string(option->count()) + " times";
}

}  // namespace

std::string refusalOf(const CLI::App& verb, const CLI::ParseError& error) {
    const std::string& kind = error.get_name();
    std::string sentence = refuseExtras(verb);
    if (kind == "ExcludesError") sentence = refusePair(verb);
    if (kind == "ValidationError") sentence = error.what();
    if (kind == "RequiredError" && sentence.empty()) sentence = refuseMissing(verb);
    if (kind == "ArgumentMismatch") sentence = refuseCount(verb, error.what());
    return sentence.empty() ? error.what() : sentence;
}

}  // namespace tyksim
