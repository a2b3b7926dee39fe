// How the tool talks: results on standard output, everything else on standard error.
#pragma once

#include "tags/Problem.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace tyksim {

/// The tool's exit statuses; the help lists them.
enum class ExitStatus : int { kClean = 0, kFailed = 1, kWrongUsage = 2, kFindings = 3 };

/// Ends the verb with kFailed. The text names the path, what was expected, what was found and the
/// system's reason, as far as there is each.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Ends the verb with kWrongUsage.
class WrongUsage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Opens standard input, output and error where whoever started the process closed them, so that no
/// file of the run gets their numbers and what is printed. Using one fails as if it were closed.
/// To be called before anything is opened.
void holdStandardDescriptors();

/// One line on standard output, as it stands: what comes from names and files is escaped by then.
void printResult(const std::string& line);

/// One line on standard error, in the tool's name; control characters are escaped.
void printNote(const std::string& line);

/// One line on standard error; control characters are escaped.
void printRaw(const std::string& line);

using tyktags::systemReason;

/// Columns of the terminal behind a file descriptor, as it is now; 80 where there is none.
size_t terminalWidth(int descriptor);

/// `word` so that a shell reads it back as one word.
std::string shellWord(const std::string& word);

/// A line that counts along on a terminal that can take a line back, and nowhere else; other output
/// pushes it aside. One thread at a time.
class Progress {
public:
    Progress() = default;
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shows "<done what> 40 of 900 frames, 120 a second, 7 s left" in place of the last line, with
    /// the rate and the time left once it has gone on for a while. Not more often than the eye
    /// follows, and never wider than the terminal.
    void count(const char* what, uint64_t done, uint64_t of, const char* items);

private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begun_ = Clock::now();
    Clock::time_point shown_{};
};

}  // namespace tyksim
