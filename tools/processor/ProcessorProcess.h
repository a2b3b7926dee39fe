// A child process that runs a processor.
#pragma once

#include "core/Descriptor.h"
#include "tools/processor/Protocol.h"
#include "tools/processor/SharedMemory.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace tyksim {

/// Runs at most from construction to destruction. Whatever a processor does to its process, tyksim
/// continues: it reports how the process ended and cleans up. The process has the standard streams
/// and other descriptors that tyksim inherited; it does not outlive tyksim. Threads: one.
class ProcessorProcess {
public:
    /// Starts it with fork(): tyksim must have only one thread, and no open files that the
    /// processor must not have. The process serves shared objects; with a `command` it becomes that
    /// program, which must know the protocol. Throws Failure when the system refuses it.
    explicit ProcessorProcess(const std::vector<std::string>& command);
    /// Kills the process if it still runs.
    ~ProcessorProcess();
    ProcessorProcess(const ProcessorProcess&) = delete;
    ProcessorProcess& operator=(const ProcessorProcess&) = delete;

    /// The data for the next request.
    SharedMemory& given() { return given_; }
    /// The data of the last answer.
    SharedMemory& made() { return made_; }

    /// Sends given() as a request and waits for the answer without a time limit. Returns "", or the
    /// reason if the answer is kFailed. Throws WrongUsage, with the reason, if the answer is
    /// kRefused. Throws Failure when the process ends without an answer, with a text such as
    /// "crashed <when>: SIGSEGV (Segmentation fault)". Throws Interrupted when a signal is noted.
    std::string ask(MessageKind request, const std::string& when);

    /// After kClose: waits for the end of the process. Returns "", or the problem with the end.
    /// Throws Interrupted when a signal is noted.
    std::string awaitEnd(const std::string& when);

    /// Kills the process if it still runs, after an invalid answer.
    void kill();

private:
    void awaitAnswer();
    bool hasEnded();
    bool hasEndedSoon();
    [[noreturn]] void throwEnd(const std::string& when);
    [[noreturn]] void throwNonsense(const std::string& when);

    SharedMemory given_{"tyksim-given"};
    SharedMemory made_{"tyksim-made"};
    tykcore::Descriptor socket_;
    pid_t process_ = -1;  ///< -1: it has ended with `status_`
    int status_ = 0;      ///< from waitpid()
};

}  // namespace tyksim
