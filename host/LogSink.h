// Where the library's log lines go on the desktop.
//
// Lines at or below a threshold level are printed on standard error in the manner of logcat, unless
// a program takes the lines:
//
//   E PipelineSimulation: 123, parseConfig: text
//
// A message without text is not emitted. A line that cannot be formatted or delivered is dropped:
// emitting never throws, never ends the process and leaves errno alone. A line that nobody wants
// costs no allocation. Threads: any; lines of one thread keep their order. Messages may be nested.
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
    int line;              ///< source line; 0 where the format does not begin with "%d, %s: "
    std::string function;  ///< the operation that logs; "" there
    std::string text;      ///< the message after "line, function: "; the bare format there
};

/// Lines above `level` are dropped before they are formatted. Initially 1, or the value of the
/// environment variable TYKSIM_LOG_LEVEL where that is a number; 0 drops all. Threads: any.
void setLogThreshold(int level);

/// Hands the lines up to `level` (whatever the threshold) to `taker` instead of printing them; an
/// empty function goes back to printing. Lines above it are not formatted. `taker` is called on the
/// logging thread, by several threads at once, and must not log; what it throws is dropped with the
/// line. Call it while nothing logs. Ownership: the function is kept until the next call. Errors:
/// std::bad_alloc, for a taker only.
void takeLogLines(std::function<void(const LogLine&)> taker, int level = INT_MAX);

/// Collects the lines that come during its life; one at a time. Takes over from a taker and goes
/// back to printing at its end. Nothing may log while it begins or ends. Threads: any.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Copies of the lines so far, in order of arrival.
    std::vector<LogLine> lines() const;

    /// The texts of the lines so far at `level`, or of all lines where `level` is 0.
    std::vector<std::string> texts(int level = 0) const;

    /// Forgets the lines so far.
    void clear();

private:
    mutable std::mutex mutex_;
    std::vector<LogLine> lines_;
};

}  // namespace tykhost
