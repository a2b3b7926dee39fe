#include "tools/processor/ProcessorProcess.h"

#include "tools/console/Console.h"
#include "tools/console/Interruption.h"
#include "tools/processor/ProcessorProgram.h"
#include "tools/processor/ProcessorServer.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tyksim {

namespace {

/// The interval of tests for the end of the process. The socket alone does not show the end,
/// because a child of the process may hold it.
constexpr int kLookMilliseconds = 100;

[[noreturn]] void throwRefused(const char* what) {
    throw Failure(
        fmt::format("a process for the processor: cannot be {}: {}", what, systemReason(errno)));
}

bool isCrash(int signal) {
    return signal == SIGSEGV || signal == SIGBUS || signal == SIGFPE || signal == SIGILL ||
           signal == SIGABRT || signal == SIGTRAP || signal == SIGSYS;
}

/// "SIGSEGV (Segmentation fault)"
std::string signalText(int signal) {
    const char* const name = sigabbrev_np(signal);
    return fmt::format("SIG{} ({})", name ? name : fmt::to_string(signal), strsignal(signal));
}

/// How a process ended, as text that continues the processor's name.
std::string endText(int status, const std::string& when) {
    if (!WIFSIGNALED(status)) {
        return fmt::format("ended its process with status {} {}; expected it to return",
                           WEXITSTATUS(status), when);
    }
    const int signal = WTERMSIG(status);
    std::string hint;
    if (signal == SIGBUS) hint = "; a file that is cut short is one cause";
    if (signal == SIGKILL) hint = "; the system does that when memory runs out";
    return fmt::format("{}{}: {}{}", isCrash(signal) ? "crashed " : "was ended ", when,
                       signalText(signal), hint);
}

}  // namespace

ProcessorProcess::ProcessorProcess(const std::vector<std::string>& command) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throwRefused("connected");
    }
    socket_ = tykcore::Descriptor(ends[0]);
    const tykcore::Descriptor childsEnd(ends[1]);
    // If SIGCHLD is ignored, as it may be from tyksim's parent, the system does not keep the exit
    // status.
    static_cast<void>(std::signal(SIGCHLD, SIG_DFL));
    const pid_t parent = ::getpid();
    static_cast<void>(std::fflush(nullptr));  // else both processes would write buffered output
    process_ = ::fork();
    if (process_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) std::_Exit(1);  // tyksim ended before prctl()
        socket_.close();
        leaveInterruptionsToParent();
        if (!command.empty()) runProcessorProgram(command, childsEnd.number(), given_, made_);
        serveProcessor(childsEnd.number(), given_, made_);
    }
    if (process_ < 0) throwRefused("started");
}

ProcessorProcess::~ProcessorProcess() {
    kill();
}

void ProcessorProcess::kill() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    while (::waitpid(process_, &status_, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
}

bool ProcessorProcess::hasEnded() {
    if (process_ > 0 && ::waitpid(process_, &status_, WNOHANG) != 0) process_ = -1;
    return process_ < 0;
}

/// Whether the process ends within a second, as it does when its end closed the socket.
bool ProcessorProcess::hasEndedSoon() {
    for (int looks = 100; looks > 0 && !hasEnded(); --looks) {
        throwIfInterrupted();
        ::usleep(10000);
    }
    return hasEnded();
}

void ProcessorProcess::throwEnd(const std::string& when) {
    if (hasEndedSoon()) throw Failure(endText(status_, when));
    kill();
    throw Failure(fmt::format("closed its connection to tyksim {}", when));
}

void ProcessorProcess::throwNonsense(const std::string& when) {
    kill();
    throw Failure(fmt::format("sent an invalid message {}", when));
}

/// Waits until the socket has something to read or the process has ended.
void ProcessorProcess::awaitAnswer() {
    pollfd socket{socket_.number(), POLLIN, 0};
    do {
        throwIfInterrupted();
    } while (::poll(&socket, 1, kLookMilliseconds) <= 0 && !hasEnded());
    throwIfInterrupted();
}

std::string ProcessorProcess::ask(MessageKind request, const std::string& when) {
    Message answer{};
    // An answer before a request is invalid.
    if (::recv(socket_.number(), &answer, sizeof(answer), MSG_DONTWAIT) > 0) throwNonsense(when);
    const Message message{static_cast<uint32_t>(request), 0, given_.used()};
    if (::send(socket_.number(), &message, sizeof(message), MSG_NOSIGNAL) != sizeof(message)) {
        throwEnd(when);
    }
    awaitAnswer();
    const ssize_t bytes =
        ::recv(socket_.number(), &answer, sizeof(answer), MSG_DONTWAIT | MSG_TRUNC);
    if (bytes <= 0) throwEnd(when);
    made_.refresh();
    const auto kind = static_cast<MessageKind>(answer.kind);
    const uint8_t* const reason = made_.find({0, answer.bytes});
    const bool isReason = kind == MessageKind::kFailed || kind == MessageKind::kRefused;
    const bool known = kind == MessageKind::kDone || (isReason && reason);
    if (bytes != sizeof(answer) || !known) throwNonsense(when);
    if (kind == MessageKind::kDone) return "";
    std::string words(reinterpret_cast<const char*>(reason), answer.bytes);
    if (kind == MessageKind::kRefused) throw WrongUsage(words);
    return words;
}

std::string ProcessorProcess::awaitEnd(const std::string& when) {
    while (!hasEnded()) {
        throwIfInterrupted();
        ::usleep(1000);
    }
    if (WIFEXITED(status_)) {
        const int status = WEXITSTATUS(status_);
        return status == 0 ? "" : fmt::format("ended its process with status {} {}", status, when);
    }
    return endText(status_, when);
}

}  // namespace tyksim
