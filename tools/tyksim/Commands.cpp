#include "tools/tyksim/Commands.h"

#include "tags/Digits.h"
#include "tools/console/OptionChecks.h"

#include <cstdlib>
#include <fmt/format.h>
#include <string>

namespace tyksim {

namespace {

constexpr const char* kLogVariable = "TYKSIM_LOG_LEVEL";

/// The level from the environment, or `otherwise` if it has none.
int logLevelOfEnvironment(int otherwise) {
    const char* const given = std::getenv(kLogVariable);
    if (!given || *given == '\0') return otherwise;
    std::string level = given;
    const std::string refusal = wholeNumber(0, 5).refuse(level);
    if (!refusal.empty())
        throw WrongUsage(fmt::format("environment: {}: {}", kLogVariable, refusal));
    return *tyktags::parseDigits<int>(level);
}

}  // namespace

void addLogLevel(VerbOptions& verb, int& level) {
    const Option option =
        verb.option("--log-level", level,
                    "Library log lines to show: 0 none (failures are always findings), 1 "
                    "failures, 3 and more details")
            .takes(wholeNumber(0, 5))
            .valueName("N")
            .defaultText(fmt::format("that of {}, else {}", kLogVariable, level));
    verb.whereMissing(option, [&level] { level = logLevelOfEnvironment(level); });
}

}  // namespace tyksim
