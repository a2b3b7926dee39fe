// Converts problems, which tags/ and tree/ return as values, to the tool's exceptions. Threads:
// any.
#pragma once

#include "tags/Problem.h"
#include "tools/console/Console.h"

#include <string>
#include <utility>

namespace tyksim {

/// The problem in one line, with control characters escaped.
std::string lineOf(const tyktags::Problem& problem);

/// Throws Failure with lineOf().
[[noreturn]] void fail(const tyktags::Problem& problem);

/// Returns if the operation succeeded, else throws like fail().
void orFail(const tyktags::Status& status);

/// The operation's value; throws like fail() if there is none.
template <typename Value>
Value orFail(tyktags::Result<Value> result) {
    if (!result.ok()) fail(result.problem());
    return std::move(result.value());
}

}  // namespace tyksim
