// Work without the interpreter's lock.
#pragma once

#include <pybind11/pybind11.h>

namespace tykpython {

/// Releases the interpreter's lock during its lifetime. Only the thread that made it uses it.
class Unlocked {
public:
    Unlocked() { unlock(); }
    ~Unlocked() { lock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

    /// Takes the lock until unlock(). Does not return when the interpreter ends: Python then ends
    /// the threads that ask for the lock, and in C++ code that would end the process by a signal.
    void lock() noexcept;
    void unlock() { state_ = PyEval_SaveThread(); }

private:
    PyThreadState* state_ = nullptr;
};

}  // namespace tykpython
