// The process of a processor that another program runs, such as Python's interpreter.
#pragma once

#include "tools/processor/SharedMemory.h"

#include <string>
#include <vector>

namespace tyksim {

/// The command that serves a processor in Python, by the interpreter that the user names.
std::vector<std::string> pythonServer(const std::string& interpreter);

/// Replaces the calling process, which has one thread, by `command` with three more words: the
/// numbers of its descriptors for `socket`, `given` and `made` (see Protocol.h). The program is
/// looked for in $PATH. If it cannot be run, answers the first request with the reason.
[[noreturn]] void runProcessorProgram(const std::vector<std::string>& command, int socket,
                                      SharedMemory& given, SharedMemory& made) noexcept;

}  // namespace tyksim
