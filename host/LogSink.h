// The destination of the library's log lines on the desktop.
//
// Prints lines at or below a threshold level on standard error in the format of logcat, unless a
// program takes the lines:
//
//   E PipelineSimulation: 123, parseConfig: text
//
// A message without text is not emitted. A line that cannot be formatted or delivered is dropped:
// emitting never throws, never ends the process and does not change errno. A line above the
// threshold allocates nothing. Threads: any; lines of one thread keep their order. Messages may be
// nested.
#pragma once

#include <climits>

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tykhost {

/// One log line.
struct LogLine {
    int level;             ///< 1 failure, 3 manager, 4 detail, 5 tracing
    std::string tag;       ///< "PipelineSimulation" for the library's own
    int line;              ///< source line; 0 if the format does not begin with "%d, %s: "
    std::string function;  ///< the operation that logs; else ""
    std::string text;      ///< the message after "line, function: "; else the bare format
};

/// Lines above `level` are dropped before they are formatted. The initial level is the environment
/// variable TYKSIM_LOG_LEVEL if that is a number, else 1; 0 drops all lines. Threads: any.
void setLogThreshold(int level);

/// Passes the lines up to `level` to `taker`, whatever the threshold, instead of printing them; an
/// empty function restores printing. Lines above `level` are not formatted. The logging threads
/// call `taker`, several at once; it must not log. An exception from it drops the line. No thread
/// may log during this call. Ownership: the function is kept until the next call. Errors:
/// std::bad_alloc, for a taker only.
void takeLogLines(std::function<void(const LogLine&)> taker, int level = INT_MAX);

/// Collects the lines logged during its lifetime. Only one object may exist at a time. It replaces
/// a taker; its destructor restores printing. No thread may log during its construction and
/// destruction. Threads: any.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Copies of the lines so far, in order of arrival.
    std::vector<LogLine> lines() const;

    /// The texts of the lines so far at `level`, or of all lines if `level` is 0.
    std::vector<std::string> texts(int level = 0) const;

    /// Clears the collected lines.
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
};

}  // namespace tykhost
