// Ends a run in order, with the signal's status, after Ctrl-C, SIGTERM, SIGHUP or the end of the
// output's reader.
#pragma once

#include <string>
#include <utility>

namespace tyksim {

/// From now on SIGINT, SIGTERM, SIGHUP and SIGPIPE are only noted; another one of the first three,
/// more than a second later, ends the process at once. SIGXFSZ is ignored, so that the write fails
/// instead.
void watchInterruptions();

/// In a child process: from now on these signals have no effect. The parent gets them too, and ends
/// the child. A program that the child starts has the default actions.
void leaveInterruptionsToParent();

/// The noted signal, or 0. Work over frames calls this between frames. Threads: any.
int interruption();

/// Ends the verb after a signal: the verb's objects clean up, and main() prints the state and ends
/// the process by the signal itself.
class Interrupted {
public:
    /// `state` describes the work done so far; may be "".
    explicit Interrupted(int signal, std::string state = "")
        : signal_(signal), state_(std::move(state)) {}
    int signal() const { return signal_; }
    const std::string& state() const { return state_; }

private:
    int signal_;
    std::string state_;
};

/// Throws Interrupted if a signal was noted. Threads: any.
void throwIfInterrupted(const std::string& state = "");

}  // namespace tyksim
