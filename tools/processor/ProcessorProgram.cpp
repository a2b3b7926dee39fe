#include "tools/processor/ProcessorProgram.h"

#include "tools/console/Console.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tyksim {

namespace {

/// Answers the first request with `reason`.
void refuse(int socket, SharedMemory& made, const std::string& reason) {
    Message request{};
    if (::recv(socket, &request, sizeof(request), 0) != sizeof(request)) return;
    made.clear();
    made.add(reason.data(), reason.size());
    const Message answer{static_cast<uint32_t>(MessageKind::kFailed), 0, made.used()};
    static_cast<void>(::send(socket, &answer, sizeof(answer), MSG_NOSIGNAL));
}

/// Runs the program; returns only if the system refuses it.
void run(std::vector<std::string> words) {
    // tyksim gets these signals too, and ends the process. The program inherits that they have no
    // effect, until it sets actions of its own.
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        static_cast<void>(std::signal(signal, SIG_IGN));
    }
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    ::execvp(arguments.front(), arguments.data());
}

}  // namespace

std::vector<std::string> pythonServer(const std::string& interpreter) {
    // Python must not look for modules in the current folder, whose files may come from anybody.
    constexpr const char* kServe =
        "import sys\n"
        "sys.path[:] = filter(None, sys.path)\n"
        "try:\n"
        "    from tyksim.processor import main\n"
        "except ImportError as error:\n"
        "    sys.exit(f'{sys.executable}: --python: expected an interpreter with the packages '\n"
        "             f'tyksim and numpy, found: {error}')\n"
        "main(sys.argv[1:])\n";
    return {interpreter, "-c", kServe};
}

void runProcessorProgram(const std::vector<std::string>& command, int socket, SharedMemory& given,
                         SharedMemory& made) noexcept {
    std::vector<std::string> words = command;
    for (const int descriptor : {socket, given.descriptor(), made.descriptor()}) {
        ::fcntl(descriptor, F_SETFD, 0);
        words.push_back(fmt::to_string(descriptor));
    }
    run(std::move(words));
    refuse(socket, made,
           fmt::format("{}: cannot be run: {}", command.front(), systemReason(errno)));
    std::_Exit(0);
}

}  // namespace tyksim
