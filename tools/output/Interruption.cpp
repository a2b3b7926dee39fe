#include "tools/output/Interruption.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

namespace tyksim {

namespace {

std::atomic<int> noted{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may use it");

void note(int signal) {
    noted.store(signal);
}

}  // namespace

void watchInterruptions() {
    struct sigaction action {};
    action.sa_handler = note;
    // The second one finds the default again, so that nobody has to wait for a verb that hangs.
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        // A pipe that is closed is written to more than once until the verb asks.
        action.sa_flags = signal == SIGPIPE ? 0 : static_cast<int>(SA_RESETHAND);
        // What whoever started the process ignores stays ignored: nohup means it.
        if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

int interruption() {
    return noted.load();
}

void throwIfInterrupted(const std::string& state) {
    if (const int signal = interruption()) throw Interrupted(signal, state);
}

}  // namespace tyksim
