// A process beside tyksim's own that runs a processor, and how it ends.
#pragma once

#include "tools/processor/Protocol.h"
#include "tools/processor/SharedMemory.h"

#include <string>
#include <sys/types.h>

namespace tyksim {

/// Runs from construction to destruction at most. Whatever a processor does to its process, tyksim
/// goes on: it says how the process ended and cleans up. The process gets the standard streams and
/// what else tyksim inherited; it does not outlive tyksim.
class ProcessorProcess {
public:
    /// Starts it by fork(): tyksim must have one thread, and hold nothing open that the processor
    /// must not have. Failure when the system refuses it.
    ProcessorProcess();
    /// Kills it where it still runs.
    ~ProcessorProcess();
    ProcessorProcess(const ProcessorProcess&) = delete;
    ProcessorProcess& operator=(const ProcessorProcess&) = delete;

    /// What goes to it with the next request.
    SharedMemory& given() { return given_; }
    /// What came with the last answer.
    SharedMemory& made() { return made_; }

    /// Sends what given() holds as a request and waits for the answer, however long that takes.
    /// Returns "", or the reason where the answer is kFailed. Failure, with how it ended, when the
    /// process gives none: "crashed <when>: SIGSEGV (Segmentation fault)". Interrupted when a
    /// signal is noted.
    std::string ask(MessageKind request, const std::string& when);

    /// After kClose: waits for the end. Returns "", or what was wrong with it. Interrupted
    /// likewise.
    std::string awaitEnd(const std::string& when);

    /// Kills it where it still runs, for an answer that makes no sense.
    void kill();

private:
    void awaitAnswer();
    bool hasEnded();
    bool hasEndedSoon();
    [[noreturn]] void throwEnd(const std::string& when);
    [[noreturn]] void throwNonsense(const std::string& when);

    SharedMemory given_{"tyksim-given"};
    SharedMemory made_{"tyksim-made"};
    int socket_ = -1;
    pid_t process_ = -1;  ///< -1: it has ended, and `status_` says how
    int status_ = 0;      ///< as of waitpid()
};

}  // namespace tyksim
