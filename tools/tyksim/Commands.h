// The verbs: each defines its options and hands back what runs it.
#pragma once

#include "tools/console/Console.h"

#include <CLI/CLI.hpp>

#include <functional>

namespace tyksim {

/// Runs a verb whose options were read. May throw Failure, WrongUsage and what the standard library
/// throws.
using Action = std::function<ExitStatus()>;

Action defineRecord(CLI::App& verb);
Action defineReplay(CLI::App& verb);
Action defineSheet(CLI::App& verb);
Action defineInfo(CLI::App& verb);
Action defineCheck(CLI::App& verb);
Action defineShow(CLI::App& verb);
Action defineTrack(CLI::App& verb);
Action defineCopy(CLI::App& verb);
Action defineExport(CLI::App& verb);
Action defineDiff(CLI::App& verb);

/// Adds the option of the verbs that run the library: which of its log lines are shown. `level`
/// brings the default, takes the value, and must outlive the reading of the options. Where the
/// option is not given, the variable TYKSIM_LOG_LEVEL counts.
void addLogLevel(CLI::App& verb, int& level);

}  // namespace tyksim
