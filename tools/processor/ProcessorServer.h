// The process of a processor that is a shared object.
#pragma once

#include "tools/processor/SharedMemory.h"

namespace tyksim {

/// Answers the requests from `socket` (see Protocol.h) until it is closed, and ends the process.
/// The calling process must have one thread, and must not have loaded the processor. Aborts if the
/// processor ends that thread, so that no other code of tyksim runs in the process.
[[noreturn]] void serveProcessor(int socket, SharedMemory& given, SharedMemory& made) noexcept;

}  // namespace tyksim
