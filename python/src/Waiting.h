// Runs long work while other threads of the interpreter continue.
#pragma once

#include "python/src/Unlocked.h"
#include "tree/read/OrderedWork.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <pybind11/pybind11.h>
#include <utility>

namespace tykpython {

/// One piece of work that a caller of the module waits for. The constructor and run() need the
/// interpreter's lock.
class Waiting {
public:
    /// `jobs` is the number of threads; 0 means one per core. `progress` is None, or a function
    /// that is called from time to time, and at the end, with the numbers of finished and of all
    /// items.
    Waiting(int jobs, pybind11::object progress);

    /// The threads for the work. It stops after Ctrl-C and calls `progress`, both on the thread
    /// that called the module.
    const tyktree::Execution& execution() const { return execution_; }

    /// Call this after each item, without the interpreter's lock.
    void count(uint64_t done, uint64_t of);

    /// Runs `work()` without the interpreter's lock. Raises the exception of Ctrl-C or of
    /// `progress`, if there was one.
    template <typename Work>
    void run(Work work) {
        {
            Unlocked unlocked;
            unlocked_ = &unlocked;
            work();
        }
        if (raised_) throw pybind11::error_already_set();
    }

private:
    bool look();
    /// Calls `progress`, with the interpreter's lock. Returns false if that raised an exception.
    bool tellProgress();

    using Clock = std::chrono::steady_clock;
    pybind11::object progress_;
    Unlocked* unlocked_ = nullptr;  ///< while run() works
    tyktree::Execution execution_;
    Clock::time_point looked_ = Clock::now();
    uint64_t done_ = 0;
    uint64_t of_ = 0;
    bool raised_ = false;  ///< an exception waits in the thread's state
};

}  // namespace tykpython
