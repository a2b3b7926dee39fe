// Errors as values, and results with a value or an error. tags/ and tree/ report every error in
// this way and throw only std::bad_alloc.
//
// Threads: one thread at a time uses a value; any thread may call the functions.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace tyktags {

/// An error. Quoted names and contents are raw bytes: escape them before you print them on a
/// terminal.
struct Problem {
    std::string path;         ///< of the file or folder; "" if the error concerns none
    std::string expected;     ///< continues "expected "; "" if there is no expectation
    std::string found;        ///< continues "found "; "" if the reason is sufficient
    std::string reason = {};  ///< the message of the system or of a library; "" if there is none
    std::string where = {};   ///< the place in the file, such as "line 3"; "": the whole file
};

/// A problem whose path the caller adds, if it has one.
inline Problem flaw(std::string expected, std::string found, std::string reason = "") {
    return {"", std::move(expected), std::move(found), std::move(reason)};
}

/// "<path>: <where>: expected <expected>, found <found>: <reason>", without the parts that are "".
std::string toLine(const Problem& problem);

/// The system's message for an errno value.
std::string systemReason(int error);

/// Success, or a problem.
class [[nodiscard]] Status {
public:
    Status() = default;
    Status(Problem problem) : problem_(std::move(problem)) {}

    bool ok() const { return !problem_; }
    /// Requires that ok() is false.
    const Problem& problem() const { return *problem_; }

private:
    std::optional<Problem> problem_;
};

/// A value, or the problem that prevented it.
template <typename Value>
class [[nodiscard]] Result {
public:
    Result(Value value) : result_(std::move(value)) {}
    Result(Problem problem) : result_(std::move(problem)) {}

    bool ok() const { return result_.index() == 0; }
    /// Requires that ok() is true.
    Value& value() { return *std::get_if<0>(&result_); }
    const Value& value() const { return *std::get_if<0>(&result_); }
    /// Requires that ok() is false.
    const Problem& problem() const { return *std::get_if<1>(&result_); }

private:
    std::variant<Value, Problem> result_;
};

}  // namespace tyktags
