// How the library writes its log lines.
#pragma once

#include "platform/Log.h"

namespace tyk_log {

constexpr const char* kTag = "PipelineSimulation";

constexpr int kFailure = 1;   ///< something was lost or refused
constexpr int kCreation = 3;  ///< the manager came to be
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
/// arguments are evaluated once, and nothing is formatted here: whether a line is wanted is the
/// platform's decision. A macro, because only a macro knows the line.
#define TYK_LOG_AS(level, function, ...)                                            \
    do {                                                                            \
        if (false) tyk_log::checkFormat(__VA_ARGS__);                               \
        tyk_log::write(tyk_log::level, __LINE__, function, "%d, %s: " __VA_ARGS__); \
    } while (false)

/// Writes one line in the name of the function it stands in.
#define TYK_LOG(level, ...) TYK_LOG_AS(level, __func__, __VA_ARGS__)
