// Work on many items by several threads, with the results in order and bounded memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

namespace tyktree {

/// How work on many items runs. By itself: on the calling thread alone, to its end.
struct Execution {
    int jobs = 1;  ///< threads, the calling one among them
    /// Whether to stop. The calling thread asks after each item; may be empty.
    std::function<bool()> interrupted;
};

/// One run over `count` items; forEachInOrder() fills it in.
struct OrderedRun {
    size_t count;
    size_t threads;  ///< at least 1, the calling one among them
    size_t slots;    ///< results that may be under way or wait at a time; at least 1
    /// Works on an item. Runs on all threads at once, `thread` counts from 0; a slot is one
    /// thread's until its result is taken.
    std::function<void(size_t thread, size_t slot, size_t index)> work;
    /// Takes a result, on the calling thread and in order of `index`. False ends the run.
    std::function<bool(size_t slot, size_t index)> take;
};

/// Returns whether take() got all items. Fewer threads than asked for do as well. What work()
/// throws for an item comes out when that item's turn to be taken has come; what take() throws
/// comes out at once. No thread is left behind.
bool runInOrder(const OrderedRun& run);

/// Calls `work(state, result, index)` for 0 to count - 1 on all threads of `execution` and
/// `take(result, index)` on the calling thread, in order of index. Each thread that works has a
/// state of its own from `makeState()`. A result is used again for a later item and then holds what
/// take() left in it; there are a few per thread. Returns false where the execution was
/// interrupted. Exceptions: see runInOrder().
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
