// Work over many frames on all cores, for verbs.
#pragma once

#include "tools/console/Interruption.h"
#include "tree/read/OrderedWork.h"

#include <cstddef>
#include <utility>

namespace tyksim {

/// The default of --jobs: the number of processors on which the process may run.
int availableJobs();

/// An execution on `jobs` threads that ends when a signal is noted.
tyktree::Execution executionOn(int jobs);

/// tyktree::forEachInOrder() on `jobs` threads. Throws Interrupted if a signal was noted.
template <typename Result, typename... Functions>
void forEachOnJobs(size_t count, int jobs, Functions&&... functions) {
    tyktree::forEachInOrder<Result>(count, executionOn(jobs),
                                    std::forward<Functions>(functions)...);
    throwIfInterrupted();
}

}  // namespace tyksim
