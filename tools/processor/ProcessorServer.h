// The process of a processor that is a shared object.
#pragma once

#include "tools/processor/SharedMemory.h"

namespace tyksim {

/// Answers the requests that come through `socket` (see Protocol.h) until it is closed, and ends
/// the process. The calling process has one thread, and nothing of the processor's in it.
[[noreturn]] void serveProcessor(int socket, SharedMemory& given, SharedMemory& made);

}  // namespace tyksim
