// Output of the tool: results on standard output, everything else on standard error. Threads: one
// thread at a time prints.
#pragma once

#include "tags/Problem.h"

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace tyksim {

/// The tool's exit statuses; the help lists them.
enum class ExitStatus : int { kClean = 0, kFailed = 1, kWrongUsage = 2, kFindings = 3 };

/// Ends the verb with kFailed. The text has the path, what was expected, what was found and the
/// system's reason, as far as they apply.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Ends the verb with kWrongUsage.
class WrongUsage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    /// `below` are lines that printUsage() shows below the sentence, such as a mark under the place
    /// that is wrong.
    WrongUsage(const std::string& sentence, std::vector<std::string> below)
        : std::runtime_error(sentence), below_(std::move(below)) {}

    const std::vector<std::string>& below() const { return below_; }

private:
    std::vector<std::string> below_;
};

/// Reserves the numbers of standard input, output and error if they are closed, so that no other
/// file gets them and the text printed to them. Their use still fails. Call this before the process
/// opens files.
void holdStandardDescriptors();

/// Prints one line on standard output. Text from names and files must be escaped already.
void printResult(const std::string& line);

/// Prints one line on standard error after the tool's name, with control characters escaped.
void printNote(const std::string& line);

/// Prints what is wrong on standard error, as printNote() does, and the lines below it.
void printUsage(const WrongUsage& error);

/// Prints one line on standard error, with control characters escaped.
void printRaw(const std::string& line);

using tyktags::systemReason;

/// The current number of columns of a descriptor's terminal; 80 if it is not a terminal.
size_t terminalWidth(int descriptor);

/// `word`, quoted so that a shell reads it as one word.
std::string shellWord(const std::string& word);

/// A line of progress, on a terminal that can erase a line only. Other output replaces it. One
/// thread at a time uses an object.
class Progress {
public:
    Progress() = default;
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shows "<done what> 40 of 900 frames, 120 a second, 7 s left" in place of the last line; the
    /// rate and the time left appear after a while. `of` is 0 if the number is unknown. Limits the
    /// number of updates per second and the width to the terminal's.
    void count(const char* what, uint64_t done, uint64_t of, const char* items);

private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begun_ = Clock::now();
    Clock::time_point shown_{};
};

}  // namespace tyksim
