// The one target of a fuzzer.
#include "fuzz/Target.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool first = std::atexit(fake::checkLeaks) == 0;
    FAKE_EXPECT(first);
    fuzz::run(fuzz::targets().at(0), {reinterpret_cast<const char*>(data), size});
    return 0;
}
