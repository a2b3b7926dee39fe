// The library's scratch buffer, 512000 zero bytes for each frame, without the system's part in it:
// an allocation of that size costs more than all else in a run. One block is kept, poisoned while
// it is free, and only what was written through the device is cleared again.
#include "fuzz/FuzzDevice.h"

#include <algorithm>
#include <cstring>
#include <sanitizer/asan_interface.h>

extern "C" {
void* __real_calloc(size_t count, size_t size);
void __real_free(void* block);
}

namespace {

constexpr size_t kScratchBytes = 512000;
constexpr size_t kHeadBytes = 4096;  ///< cleared always: the library itself writes there

char* gScratch = nullptr;
bool gLent = false;
size_t gWritten = kHeadBytes;

}  // namespace

void fuzz::noteWrite(const void* data, size_t size) {
    const auto offset = reinterpret_cast<uintptr_t>(data) - reinterpret_cast<uintptr_t>(gScratch);
    if (offset < kScratchBytes) gWritten = std::max(gWritten, offset + size);
}

extern "C" {

void* __wrap_calloc(size_t count, size_t size) {
    if (count * size != kScratchBytes || gLent) return __real_calloc(count, size);
    gLent = true;
    if (!gScratch) gScratch = static_cast<char*>(__real_calloc(count, size));
    __asan_unpoison_memory_region(gScratch, kScratchBytes);
    std::memset(gScratch, 0, gWritten);
    gWritten = kHeadBytes;
    return gScratch;
}

void __wrap_free(void* block) {
    if (!block || block != gScratch) {
        __real_free(block);
        return;
    }
    FUZZ_EXPECT(gLent);
    gLent = false;
    __asan_poison_memory_region(gScratch, kScratchBytes);
}

}  // extern "C"
