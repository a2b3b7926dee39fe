// Work without the interpreter's lock.
#pragma once

#include <pybind11/pybind11.h>

namespace tykpython {

/// The interpreter's lock is given away while this lives. For the thread that made it alone.
class Unlocked {
public:
    Unlocked() { unlock(); }
    ~Unlocked() { lock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

    /// Takes the lock until unlock(). Does not return once the interpreter ends: Python ends
    /// threads that ask for the lock then, which would end the process by a signal, as this is C++
    /// code.
    void lock() noexcept;
    void unlock() { state_ = PyEval_SaveThread(); }

private:
    PyThreadState* state_ = nullptr;
};

}  // namespace tykpython
