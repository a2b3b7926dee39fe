// How the tool talks: results on standard output, everything else on standard error.
#pragma once

#include <cstddef>
#include <sstream>
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

/// The pieces, one behind the other.
template <typename... Pieces>
std::string text(const Pieces&... pieces) {
    std::ostringstream out;
    (out << ... << pieces);
    return out.str();
}

/// One line on standard output.
void printResult(const std::string& line);

/// One line on standard error, in the tool's name.
void printNote(const std::string& line);

/// One line on standard error as it stands.
void printRaw(const std::string& line);

/// What the system says about `error`, an errno value.
std::string systemReason(int error);

/// `word` so that a shell reads it back as one word.
std::string shellWord(const std::string& word);

/// What a verb found wrong although it finished; each is a result of its own.
class Findings {
public:
    void add(const std::string& line);
    size_t count() const { return count_; }

    /// kFindings when there is one, else kClean.
    ExitStatus status() const;

private:
    size_t count_ = 0;
};

/// A line that counts along, on a terminal only; other output pushes it aside.
class Progress {
public:
    Progress() = default;
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shows `line` in place of the last one.
    void show(const std::string& line);
};

}  // namespace tyksim
