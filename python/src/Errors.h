// Turns C++ exceptions into Python's.
#pragma once

#include "tags/Problem.h"

#include <exception>
#include <string>
#include <utility>

namespace tykpython {

/// Becomes a tyksim.DamagedError: a part of a tree cannot be read. Does not need the interpreter,
/// so work on other threads may throw it.
class Damaged : public std::exception {
public:
    explicit Damaged(tyktags::Problem problem)
        : problem_(std::move(problem)), line_(toLine(problem_)) {}
    const tyktags::Problem& problem() const { return problem_; }
    const char* what() const noexcept override { return line_.c_str(); }

private:
    tyktags::Problem problem_;
    std::string line_;
};

/// Returns the operation's value; throws Damaged if it has none.
template <typename Value>
Value orDamaged(tyktags::Result<Value> result) {
    if (!result.ok()) throw Damaged(result.problem());
    return std::move(result.value());
}

/// Registers the translation of Damaged and of the tool's exceptions. Call it once.
void translateErrors();

}  // namespace tykpython
