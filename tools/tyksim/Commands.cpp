#include "tools/tyksim/Commands.h"

#include "tools/console/OptionChecks.h"

#include <cstdlib>
#include <fmt/format.h>
#include <string>

namespace tyksim {

namespace {

constexpr const char* kLogVariable = "TYKSIM_LOG_LEVEL";

/// The level that the environment gives; `otherwise` where it gives none.
int logLevelOfEnvironment(int otherwise) {
    const char* const given = std::getenv(kLogVariable);
    if (!given || *given == '\0') return otherwise;
    const std::string refusal = wholeNumber(0, 5)(given);
    if (!refusal.empty())
        throw WrongUsage(fmt::format("environment: {}: {}", kLogVariable, refusal));
    return std::stoi(given);
}

}  // namespace

void addLogLevel(CLI::App& verb, int& level) {
    CLI::Option* const option =
        verb.add_option("--log-level", level,
                        "Library log lines to show: 0 none (failures are findings in any case), 1 "
                        "failures, 3 and more details")
            ->transform(wholeNumber(0, 5))
            ->type_name("N")
            ->default_str(fmt::format("what {} says, else {}", kLogVariable, level));
    verb.parse_complete_callback([option, &level] {
        if (option->count() == 0) level = logLevelOfEnvironment(level);
    });
}

}  // namespace tyksim
