// The one target of a fuzzer.
#include "fuzz/Target.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const fuzz::Target target = fuzz::targets().at(0);
    static const int registered = std::atexit([] { target.finish(); });
    if (registered != 0) std::abort();
    target.run({reinterpret_cast<const char*>(data), size});
    return 0;
}
