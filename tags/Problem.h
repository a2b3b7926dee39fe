// What went wrong, as a value, and results that carry it. The desktop's rooms below the tool report
// every error in this way and throw nothing but std::bad_alloc.
//
// Threads: a value is used by one thread at a time; the functions from any.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace tyktags {

/// One thing that went wrong. Texts hold raw bytes where they quote a name or a file: whoever shows
/// them on a terminal escapes them.
struct Problem {
    std::string path;         ///< of the file or folder; "" where it concerns none
    std::string expected;     ///< continues "expected "; "" where there is nothing to expect
    std::string found;        ///< continues "found "; "" where the reason says it all
    std::string reason = {};  ///< words of the system or of a library; "" where there are none
    std::string where = {};   ///< the place in the file, such as "line 3"; "": all of it
};

/// A problem whose path the caller adds, if it has one.
inline Problem flaw(std::string expected, std::string found, std::string reason = "") {
    return {"", std::move(expected), std::move(found), std::move(reason)};
}

/// "<path>: <where>: expected <expected>, found <found>: <reason>", without the parts that are "".
std::string toLine(const Problem& problem);

/// The system's words for an errno value.
std::string systemReason(int error);

/// Success, or a problem.
class [[nodiscard]] Status {
public:
    Status() = default;
    Status(Problem problem) : problem_(std::move(problem)) {}

    bool ok() const { return !problem_; }
    /// Only where ok() is false.
    const Problem& problem() const { return *problem_; }

private:
    std::optional<Problem> problem_;
};

/// A value, or the problem that took its place.
template <typename Value>
class [[nodiscard]] Result {
public:
    Result(Value value) : result_(std::move(value)) {}
    Result(Problem problem) : result_(std::move(problem)) {}

    bool ok() const { return result_.index() == 0; }
    /// Only where ok() is true.
    Value& value() { return *std::get_if<0>(&result_); }
    const Value& value() const { return *std::get_if<0>(&result_); }
    /// Only where ok() is false.
    const Problem& problem() const { return *std::get_if<1>(&result_); }

private:
    std::variant<Value, Problem> result_;
};

}  // namespace tyktags
