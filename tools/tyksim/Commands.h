// The verbs: each defines its options and hands back what runs it.
#pragma once

#include "tools/console/Console.h"
#include "tools/console/VerbOptions.h"

#include <functional>

namespace tyksim {

/// Runs a verb whose options were read. May throw Failure, WrongUsage and what the standard library
/// throws.
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

/// Adds the option of the verbs that run the library: which of its log lines are shown. `level`
/// brings the default, takes the value, and must outlive the reading of the options. Where the
/// option is not given, the variable TYKSIM_LOG_LEVEL counts.
void addLogLevel(VerbOptions& verb, int& level);

}  // namespace tyksim
