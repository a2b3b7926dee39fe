// Work over many frames on all cores, with the results in order and bounded memory.
#pragma once

#include "tools/console/Interruption.h"

#include <cstddef>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_pipeline.h>
#include <utility>

namespace tyksim {

/// Calls `work(index)` for 0 to count - 1 on `jobs` threads and `take(result)` with the results in
/// order of index, one at a time. At most a few results per thread wait at a time. An exception of
/// either ends it and comes out here; so does Interrupted between frames.
template <typename Result, typename Work, typename Take>
void inOrder(size_t count, int jobs, Work work, Take take) {
    const auto threads = static_cast<size_t>(jobs < 1 ? 1 : jobs);
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    size_t next = 0;
    const auto feed = [&next, count](tbb::flow_control& control) -> size_t {
        if (next == count || interruption() != 0) {
            control.stop();
            return 0;
        }
        return next++;
    };
    tbb::parallel_pipeline(
        threads * 2,
        tbb::make_filter<void, size_t>(tbb::filter_mode::serial_in_order, feed) &
            tbb::make_filter<size_t, Result>(tbb::filter_mode::parallel,
                                             [&work](size_t index) { return work(index); }) &
            tbb::make_filter<Result, void>(tbb::filter_mode::serial_in_order,
                                           [&take](Result result) { take(std::move(result)); }));
    throwIfInterrupted();
}

/// How many threads --jobs 0 stands for: as many as the process may run on.
int availableJobs();

}  // namespace tyksim
