// tyksim: records and replays camera frames on a desktop, through the library that does it on a
// device.
#include "tools/Commands.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

using tyksim::Action;
using tyksim::ExitStatus;

struct Verb {
    const char* name;
    const char* summary;
    Action (*define)(CLI::App& verb);
};

constexpr Verb kVerbs[] = {
    {"record", "Simulate a camera and record what it captures", tyksim::defineRecord},
    {"replay", "Replay a dump tree and check what arrives", tyksim::defineReplay},
};

constexpr const char* kFooter =
    "Exit status: 0 clean, 1 failed, 2 wrong usage, 3 finished but with findings.\n"
    "\n"
    "Examples:\n"
    "  tyksim record /tmp/phone photo1.jpg photo2.jpg --frames 10\n"
    "  tyksim replay /tmp/phone --verify";

/// Results may wait in memory until now; a full disk must not go unnoticed.
ExitStatus flushResults(ExitStatus status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    tyksim::printNote("standard output: cannot be written: " + tyksim::systemReason(errno));
    return ExitStatus::kFailed;
}

/// Reads the command line and runs its verb.
ExitStatus run(int argc, char** argv) {
    CLI::App app("Records and replays camera frames on a desktop.", "tyksim");
    app.set_version_flag("--version", "tyksim " TYKSIM_VERSION);
    app.require_subcommand(1);
    app.footer(kFooter);
    std::vector<std::pair<CLI::App*, Action>> verbs;
    for (const Verb& verb : kVerbs) {
        CLI::App* const options = app.add_subcommand(verb.name, verb.summary);
        verbs.emplace_back(options, verb.define(*options));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? ExitStatus::kClean : ExitStatus::kWrongUsage;
    }
    for (const auto& [options, action] : verbs) {
        if (options->parsed()) return action();
    }
    return ExitStatus::kWrongUsage;
}

ExitStatus runGuarded(int argc, char** argv) {
    try {
        return flushResults(run(argc, argv));
    } catch (const tyksim::WrongUsage& error) {
        tyksim::printNote(error.what());
        flushResults(ExitStatus::kWrongUsage);
        return ExitStatus::kWrongUsage;
    } catch (const std::bad_alloc&) {
        tyksim::printNote("out of memory");
    } catch (const std::exception& error) {
        tyksim::printNote(error.what());
    } catch (...) {
        tyksim::printNote("failed for an unknown reason");
    }
    flushResults(ExitStatus::kFailed);
    return ExitStatus::kFailed;
}

}  // namespace

int main(int argc, char** argv) {
    // What these stand for is met as a failed write, which is reported and cleaned up after.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    return static_cast<int>(runGuarded(argc, argv));
}
