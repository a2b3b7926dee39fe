// What the rooms below the tool report as values becomes the tool's exceptions here.
#pragma once

#include "tags/Problem.h"
#include "tools/console/Console.h"

#include <string>
#include <utility>

namespace tyksim {

/// The problem in one line, in which control characters are escaped.
std::string lineOf(const tyktags::Problem& problem);

/// Throws Failure with lineOf().
[[noreturn]] void fail(const tyktags::Problem& problem);

/// Returns if the operation succeeded, else throws as fail() does.
void orFail(const tyktags::Status& status);

/// The operation's value; throws as fail() does if there is none.
template <typename Value>
Value orFail(tyktags::Result<Value> result) {
    if (!result.ok()) fail(result.problem());
    return std::move(result.value());
}

}  // namespace tyksim
