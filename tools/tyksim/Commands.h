// The verbs: each function defines the verb's options and returns its action. Threads: one.
#pragma once

#include "tools/console/Console.h"
#include "tools/console/VerbOptions.h"

#include <functional>

namespace tyksim {

/// Runs a verb after its options were parsed. Throws Failure, WrongUsage, Interrupted and
/// exceptions of the standard library.
using Action = std::function<ExitStatus()>;

Action defineRecord(VerbOptions& verb);
Action defineReplay(VerbOptions& verb);
Action defineSheet(VerbOptions& verb);
Action defineInfo(VerbOptions& verb);
Action defineCheck(VerbOptions& verb);
Action defineShow(VerbOptions& verb);
Action defineTrack(VerbOptions& verb);
Action defineCopy(VerbOptions& verb);
Action defineExport(VerbOptions& verb);
Action defineDiff(VerbOptions& verb);
Action defineTags(VerbOptions& verb);

/// Adds --log-level to a verb that runs the library: the level up to which its log lines are shown.
/// `level` has the default, receives the value, and must exist until the options are parsed.
/// Without the option the environment variable TYKSIM_LOG_LEVEL sets the level.
void addLogLevel(VerbOptions& verb, int& level);

}  // namespace tyksim
