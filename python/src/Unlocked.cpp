#include "python/src/Unlocked.h"

#include <unistd.h>

namespace tykpython {

void Unlocked::lock() noexcept {
    try {
        PyEval_RestoreThread(state_);
    } catch (...) {
        // Python ends the thread, and the system unwinds it. The thread waits here for the end of
        // the process.
        while (true) ::pause();
    }
}

}  // namespace tykpython
