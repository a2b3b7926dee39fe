#include "python/src/Unlocked.h"

#include <unistd.h>

namespace tykpython {

void Unlocked::lock() noexcept {
    try {
        PyEval_RestoreThread(state_);
    } catch (...) {
        // The system unwinds a thread that is ended. It stays here until the process ends.
        while (true) ::pause();
    }
}

}  // namespace tykpython
