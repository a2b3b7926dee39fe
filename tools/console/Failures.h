// What the rooms below the tool report as values becomes the tool's exceptions here.
#pragma once

#include "tags/Problem.h"
#include "tools/console/Console.h"

#include <utility>

namespace tyksim {

/// Throws Failure with the problem as one line, in which control characters are escaped.
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
