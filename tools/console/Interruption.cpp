#include "tools/console/Interruption.h"

#include <atomic>
#include <csignal>
#include <cstdint>
#include <ctime>

namespace tyksim {

namespace {

std::atomic<int> noted{0};
std::atomic<int64_t> notedAt{0};  ///< seconds of a monotonic clock
static_assert(std::atomic<int64_t>::is_always_lock_free, "a signal handler may use it");

/// Notes the first signal and restores the default action for a later one, which can then end a
/// verb that hangs. This is delayed, because `timeout` sends each signal twice: to the process and
/// to its group. SIGPIPE may repeat before the verb asks.
void note(int signal) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (noted.load() != 0 && signal != SIGPIPE && now.tv_sec - notedAt.load() > 1) {
        static_cast<void>(std::signal(signal, SIG_DFL));
        static_cast<void>(std::raise(signal));
    }
    if (noted.load() == 0) notedAt.store(now.tv_sec);
    noted.store(signal);
}

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

/// Sets the handler of `signal`, unless the signal is ignored, for example by nohup.
void handle(int signal, void (*handler)(int), int flags) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) return;
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

}  // namespace

void watchInterruptions() {
    for (const int signal : kSignals) handle(signal, note, 0);
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
}

void leaveInterruptionsToParent() {
    for (const int signal : kSignals) {
        handle(
            signal, [](int) {}, SA_RESTART);
    }
}

int interruption() {
    return noted.load();
}

void throwIfInterrupted(const std::string& state) {
    if (const int signal = interruption()) throw Interrupted(signal, state);
}

}  // namespace tyksim
