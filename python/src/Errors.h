// What goes wrong below the module, as Python's exceptions.
#pragma once

#include "tags/Problem.h"

#include <exception>
#include <string>
#include <utility>

namespace tykpython {

/// Becomes a tyksim.DamagedError: something of a tree cannot be had. Needs no interpreter, so that
/// work on other threads may throw it.
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

/// The operation's value; throws Damaged if there is none.
template <typename Value>
Value orDamaged(tyktags::Result<Value> result) {
    if (!result.ok()) throw Damaged(result.problem());
    return std::move(result.value());
}

/// From now on Damaged, and what the tool's rooms throw, come out as Python's exceptions.
void translateErrors();

}  // namespace tykpython
