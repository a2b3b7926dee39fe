// The process of a processor that is a shared object.
#pragma once

#include "tools/processor/SharedMemory.h"

namespace tyksim {

/// Answers the requests that come through `socket` (see Protocol.h) until it is closed, and ends
/// the process. The calling process has one thread, and nothing of the processor's in it. Aborts
/// where the processor ends that thread, so that nothing else of tyksim's runs in the process.
[[noreturn]] void serveProcessor(int socket, SharedMemory& given, SharedMemory& made) noexcept;

}  // namespace tyksim
