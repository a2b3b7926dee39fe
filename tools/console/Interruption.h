// Ctrl-C, SIGTERM, SIGHUP and a reader that went away: a run ends in order and with the signal's
// status.
#pragma once

#include <string>
#include <utility>

namespace tyksim {

/// From now on SIGINT, SIGTERM, SIGHUP and SIGPIPE are only noted; another one of the first three,
/// more than a second later, ends the process at once. SIGXFSZ is ignored: it is met as a failed
/// write.
void watchInterruptions();

/// In a child process: from now on the same signals do nothing, where they are not ignored. The
/// parent gets them, too, and ends the child. A program that the child starts has the default.
void leaveInterruptionsToParent();

/// The signal that was noted, or 0. Work over frames asks between frames. Threads: any.
int interruption();

/// Ends the verb where interruption() is not 0: main() prints the state it carries, lets the
/// verb's objects clean up and ends the process by the signal itself.
class Interrupted {
public:
    /// `state`: what was done by then, in words; may be "".
    explicit Interrupted(int signal, std::string state = "")
        : signal_(signal), state_(std::move(state)) {}
    int signal() const { return signal_; }
    const std::string& state() const { return state_; }

private:
    int signal_;
    std::string state_;
};

/// Throws Interrupted where a signal was noted.
void throwIfInterrupted(const std::string& state = "");

}  // namespace tyksim
