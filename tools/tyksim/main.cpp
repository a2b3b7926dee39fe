// tyksim: records, replays and examines camera frames on a desktop, with the same library as on a
// device.
#include "tags/NearestNames.h"
#include "tools/console/Interruption.h"
#include "tools/console/OptionChecks.h"
#include "tools/tyksim/CommandLine.h"
#include "tools/tyksim/Commands.h"
#include "tools/tyksim/Help.h"
#include "tree/read/Escape.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using tyksim::Action;
using tyksim::ExitStatus;

struct Verb {
    const char* name;
    const char* summary;
    Action (*define)(tyksim::VerbOptions& verb);
};

// A verb has one line here and its declaration in Commands.h.
constexpr Verb kVerbs[] = {
    {"record", "Simulate a camera and record its frames", tyksim::defineRecord},
    {"replay", "Replay a dump tree and verify the values that arrive", tyksim::defineReplay},
    {"info", "Show the contents of a tree", tyksim::defineInfo},
    {"check", "Check a tree or a dump configuration against the rules", tyksim::defineCheck},
    {"show", "Show one frame: parameters, scene record, image", tyksim::defineShow},
    {"track", "Follow values from frame to frame", tyksim::defineTrack},
    {"export", "Export images as pictures or a video", tyksim::defineExport},
    {"diff", "Report the differences between two frames, tasks or trees", tyksim::defineDiff},
    {"copy", "Copy part of a tree, with values changed", tyksim::defineCopy},
    {"sheet", "Make a page to look at a tree", tyksim::defineSheet},
    {"tags", "Show and check tag tables, and fill them from a build", tyksim::defineTags},
};

constexpr const char* kFooter = R"(
`tyksim help VERB` and `tyksim VERB --help` describe a verb.

Exit status: 0 clean, 1 failed, 2 wrong usage, 3 finished with findings or differences, or with
something that could not be read (see standard error). A name or a selection that matches nothing is
wrong usage.
A run that Ctrl-C, SIGTERM, SIGHUP or a closed pipe ends has the signal's own status.

Examples:
  tyksim record /tmp/phone photo1.jpg photo2.jpg --frames 10
  tyksim replay /tmp/phone --verify
)";

/// Writes buffered results and detects a full disk.
ExitStatus flushResults(ExitStatus status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    const int error = errno;
    tyksim::throwIfInterrupted();
    tyksim::printNote("standard output: cannot be written: " + tyksim::systemReason(error));
    return ExitStatus::kFailed;
}

[[noreturn]] void refuseVerb(const std::string& word) {
    std::vector<std::string> names{"help", "version"};
    for (const Verb& verb : kVerbs) names.emplace_back(verb.name);
    const std::vector<std::string> nearest = tyktags::nearestNames(word, names);
    const std::string advice =
        nearest.empty() ? "" : "; did you mean " + tyktags::joinedByOr(nearest) + "?";
    throw tyksim::WrongUsage(
        fmt::format("expected a verb, found {}{}{} `tyksim help` lists the verbs",
                    tyksim::shellWord(word), advice, advice.empty() ? ";" : ""));
}

bool isVerb(const std::string& word) {
    return std::any_of(std::begin(kVerbs), std::end(kVerbs),
                       [&word](const Verb& verb) { return word == verb.name; });
}

/// Whether the words ask for help, by an option that is not the value of another option.
bool asksForHelp(const std::vector<std::string>& words) {
    const auto end = std::find(words.begin(), words.end(), "--");
    return std::any_of(words.begin(), end,
                       [](const std::string& word) { return word == "--help" || word == "-h"; });
}

/// The command line for the options' library: `help VERB` becomes `VERB --help`, and a request for
/// help overrides all other words.
std::vector<std::string> wordsOf(int argc, char** argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty()) {
        throw tyksim::WrongUsage("expected a verb, found none; `tyksim help` lists the verbs");
    }
    std::string& first = words.front();
    if (first == "version") first = "--version";
    if (first == "help" || asksForHelp(words)) {
        const size_t at = first == "help" ? 1 : 0;
        const std::string verb = at < words.size() ? words[at] : "help";
        if (verb.substr(0, 1) == "-" || verb == "help") return {"--help"};
        if (!isVerb(verb)) refuseVerb(verb);
        return {verb, "--help"};
    }
    const bool version = first == "--version" || first == "-V";
    if (!version && !isVerb(first)) refuseVerb(first);
    return words;
}

/// Handles an exception of CLI11: help and version go to standard output, everything else is wrong
/// usage.
ExitStatus answer(const CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        app.exit(error);
        return ExitStatus::kClean;
    }
    const std::vector<CLI::App*> verbs = app.get_subcommands();
    const CLI::App& verb = verbs.empty() ? app : *verbs.front();
    throw tyksim::WrongUsage(fmt::format("{} (see `tyksim {}--help`)",
                                         tyksim::refusalOf(verb, error),
                                         verbs.empty() ? "" : verb.get_name() + " "));
}

/// Parses the command line and runs its verb.
ExitStatus run(int argc, char** argv) {
    std::vector<std::string> words = wordsOf(argc, argv);
    CLI::App app("Records, replays and examines camera frames on a desktop.", "tyksim");
    app.set_version_flag("-V,--version", "tyksim " TYKSIM_VERSION);
    app.require_subcommand(1);
    app.formatter(std::make_shared<tyksim::HelpFormatter>());
    app.footer(kFooter);
    std::vector<std::pair<CLI::App*, Action>> verbs;
    for (const Verb& verb : kVerbs) {
        CLI::App* const options = app.add_subcommand(verb.name, verb.summary);
        tyksim::VerbOptions definition(*options);
        verbs.emplace_back(options, verb.define(definition));
        definition.refuseEmptyValues();
    }
    try {
        std::reverse(words.begin(), words.end());  // CLI11 takes them from the back
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        return answer(app, error);
    }
    for (const auto& [options, action] : verbs) {
        if (options->parsed()) return action();
    }
    return ExitStatus::kWrongUsage;
}

ExitStatus runGuarded(int argc, char** argv) {
    ExitStatus status = ExitStatus::kFailed;
    try {
        return flushResults(run(argc, argv));
    } catch (const tyksim::Interrupted&) {
        throw;
    } catch (const tyksim::WrongUsage& error) {
        tyksim::printUsage(error);
        status = ExitStatus::kWrongUsage;
    } catch (const std::filesystem::filesystem_error& error) {
        tyksim::printNote(fmt::format("{}: {}", error.path1().string(), error.code().message()));
    } catch (const std::bad_alloc&) {
        tyksim::printNote("out of memory");
    } catch (const std::exception& error) {
        tyksim::printNote(error.what());
    } catch (...) {
        tyksim::printNote("failed for an unknown reason");
    }
    flushResults(status);
    return status;
}

/// Prints the state and ends the process by the signal, so that its parent sees it. For a closed
/// pipe it prints nothing.
int endBySignal(const tyksim::Interrupted& interrupted) {
    const int signal = interrupted.signal();
    static_cast<void>(std::fflush(stdout));
    const std::string state = interrupted.state().empty() ? "" : ": " + interrupted.state();
    if (signal != SIGPIPE) {
        tyksim::printNote(fmt::format("stopped by {}{}", strsignal(signal), state));
    }
    static_cast<void>(std::signal(signal, SIG_DFL));
    static_cast<void>(std::raise(signal));
    return 128 + signal;
}

}  // namespace

int main(int argc, char** argv) {
    tyksim::holdStandardDescriptors();
    tyksim::watchInterruptions();
    try {
        return static_cast<int>(runGuarded(argc, argv));
    } catch (const tyksim::Interrupted& interrupted) {
        return endBySignal(interrupted);
    }
}
