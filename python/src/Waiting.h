// Work on many frames while other threads of the interpreter run.
#pragma once

#include "tree/read/OrderedWork.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <pybind11/pybind11.h>
#include <utility>

namespace tykpython {

/// One piece of work that a caller of the module waits for. It is made, and run() is called, with
/// the interpreter's lock held.
class Waiting {
public:
    /// On `jobs` threads; 0: one per core. `progress` is None or is called with what is done and
    /// the whole, now and then and at the end.
    Waiting(int jobs, pybind11::object progress);

    /// Asks for Ctrl-C and calls `progress`. Python's own calls for it are made on the thread that
    /// called the module.
    const tyktree::Execution& execution() const { return execution_; }

    /// To be called after each item, without the interpreter's lock.
    void count(uint64_t done, uint64_t of);

    /// Runs `work()` without the interpreter's lock and returns what it returns. What Ctrl-C or
    /// `progress` raised meanwhile comes out.
    template <typename Work>
    void run(Work work) {
        {
            const pybind11::gil_scoped_release unlocked;
            work();
        }
        if (raised_) throw pybind11::error_already_set();
    }

private:
    bool look();

    using Clock = std::chrono::steady_clock;
    pybind11::object progress_;
    tyktree::Execution execution_;
    Clock::time_point looked_ = Clock::now();
    uint64_t done_ = 0;
    uint64_t of_ = 0;
    bool raised_ = false;  ///< an exception waits in the thread's state
};

}  // namespace tykpython
