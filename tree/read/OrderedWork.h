// Work on many items by several threads, with results in order and bounded memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace tyktree {

/// How work on many items runs. By default it runs to its end on the calling thread alone.
struct Execution {
    int jobs = 1;  ///< threads, including the calling one
    /// Returns whether to stop. The calling thread calls it after each item. May be empty.
    std::function<bool()> interrupted;
};

/// One run over `count` items; forEachInOrder() fills it in.
struct OrderedRun {
    size_t count;
    size_t threads;  ///< at least 1, including the calling one
    size_t slots;    ///< results that may be in progress or waiting at a time; at least 1
    /// Works on an item. Runs on all threads at once; `thread` counts from 0. One thread alone uses
    /// a slot until its result is taken.
    std::function<void(size_t thread, size_t slot, size_t index)> work;
    /// Takes a result, on the calling thread and in order of `index`. Returns false to end the run.
    std::function<bool(size_t slot, size_t index)> take;
};

/// Returns whether take() got all items. If the system refuses threads, the run uses fewer. An
/// exception of work() is rethrown when it is the item's turn to be taken, an exception of take()
/// at once. All threads have ended when this returns or throws.
bool runInOrder(const OrderedRun& run);

/// Calls `work(state, result, index)` for 0 to count - 1 on all threads of `execution` and
/// `take(result, index)` on the calling thread, in order of index. Each thread has its own state
/// from `makeState()`. There are a few results per thread; a later item reuses a result with the
/// content that take() left in it. Returns false if the execution was interrupted. Exceptions: see
/// runInOrder().
template <typename Result, typename MakeState, typename Work, typename Take>
bool forEachInOrder(size_t count, const Execution& execution, MakeState makeState, Work work,
                    Take take) {
    using State = decltype(makeState());
    constexpr size_t kResultsPerThread = 2;
    const size_t most = std::max<size_t>(count, 1);
    const size_t threads =
        std::clamp<size_t>(static_cast<size_t>(std::max(execution.jobs, 1)), 1, most);
    const size_t slots = threads == 1 ? 1 : std::min(most, threads * kResultsPerThread);
    std::vector<Result> results(slots);
    std::vector<std::unique_ptr<State>> states(threads);
    return runInOrder({count, threads, slots,
                       [&](size_t thread, size_t slot, size_t index) {
                           std::unique_ptr<State>& state = states[thread];
                           if (!state) state.reset(new State(makeState()));
                           work(*state, results[slot], index);
                       },
                       [&](size_t slot, size_t index) {
                           take(results[slot], index);
                           return !execution.interrupted || !execution.interrupted();
                       }});
}

/// The same for work without a state: `work(result, index)`.
template <typename Result, typename Work, typename Take>
bool forEachInOrder(size_t count, const Execution& execution, Work work, Take take) {
    struct None {};
    return forEachInOrder<Result>(
        count, execution, [] { return None(); },
        [&work](None& /*state*/, Result& result, size_t index) { work(result, index); }, take);
}

}  // namespace tyktree
