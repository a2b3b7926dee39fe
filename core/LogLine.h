// Writes the library's log lines.
#pragma once

#include "platform/Log.h"

namespace tyk_log {

constexpr const char* kTag = "PipelineSimulation";

constexpr int kFailure = 1;   ///< data was lost or refused
constexpr int kCreation = 3;  ///< the manager was made
constexpr int kDetail = 4;    ///< progress
constexpr int kTrace = 5;     ///< per entry

/// Lets the compiler check the arguments against the format; never called.
[[gnu::format(printf, 1, 2)]] inline void checkFormat(const char*, ...) {}

template <typename... Arguments>
void write(int level, int line, const char* function, const char* format, Arguments... arguments) {
    _log(kTag, level).__print_log_(format, line, function, arguments...);
}

}  // namespace tyk_log

/// Writes one line in the name of `function`; the format (a literal) and its arguments follow. The
/// arguments are evaluated once. The platform decides whether a line is wanted and formats it. This
/// is a macro because only a macro knows the source line.
#define TYK_LOG_AS(level, function, ...)                                            \
    do {                                                                            \
        if (false) tyk_log::checkFormat(__VA_ARGS__);                               \
        tyk_log::write(tyk_log::level, __LINE__, function, "%d, %s: " __VA_ARGS__); \
    } while (false)

/// Writes one line in the name of the enclosing function.
#define TYK_LOG(level, ...) TYK_LOG_AS(level, __func__, __VA_ARGS__)
