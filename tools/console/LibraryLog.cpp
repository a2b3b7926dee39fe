#include "tools/console/LibraryLog.h"

#include "host/LogSink.h"
#include "tools/console/Console.h"

#include <algorithm>
#include <fmt/format.h>

namespace tyksim {

namespace {

constexpr int kFailureLevel = 1;
constexpr size_t kMaxRemembered = 2000;  // a damaged frame may fail thousands of times

std::string logcatLine(const tykhost::LogLine& line) {
    constexpr char kLetters[] = "EWIDV";
    const int level = std::clamp(line.level, 1, 5);
    return fmt::format("{} {}: {}, {}: {}", kLetters[level - 1], line.tag, line.line, line.function,
                       line.text);
}

}  // namespace

LibraryLog::LibraryLog(int level) {
    const auto take = [this, level](const tykhost::LogLine& line) {
        if (line.level <= level) printRaw(logcatLine(line));
        if (line.level != kFailureLevel || failures_.size() > kMaxRemembered) return;
        failures_ +=
            fmt::format("{}{}: {}", failures_.empty() ? "" : "; ", line.function, line.text);
    };
    tykhost::takeLogLines(take, std::max(level, kFailureLevel));
}

LibraryLog::~LibraryLog() {
    tykhost::takeLogLines({});
}

std::string LibraryLog::takeFailures() {
    std::string taken;
    taken.swap(failures_);
    return taken;
}

}  // namespace tyksim
