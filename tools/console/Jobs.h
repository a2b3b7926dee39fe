// Work over many frames on all cores, for verbs.
#pragma once

#include "tools/console/Interruption.h"
#include "tree/read/OrderedWork.h"

#include <cstddef>
#include <utility>

namespace tyksim {

/// How many threads --jobs stands for by default: as many as the process may run on.
int availableJobs();

/// On `jobs` threads, until a signal is noted.
tyktree::Execution executionOn(int jobs);

/// tyktree::forEachInOrder() on `jobs` threads. Throws Interrupted where a signal was noted.
template <typename Result, typename... Functions>
void forEachOnJobs(size_t count, int jobs, Functions&&... functions) {
    tyktree::forEachInOrder<Result>(count, executionOn(jobs),
                                    std::forward<Functions>(functions)...);
    throwIfInterrupted();
}

}  // namespace tyksim
