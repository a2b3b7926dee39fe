#include "tools/tyksim/Commands.h"

namespace tyksim {

void addLogLevel(CLI::App& verb, int& level) {
    verb.add_option("--log-level", level,
                    "Library log lines to show: 0 none (failures are findings in any case), 1 "
                    "failures, 3 and more details")
        ->check(CLI::Range(0, 5))
        ->envname("TYKSIM_LOG_LEVEL")
        ->capture_default_str();
}

}  // namespace tyksim
