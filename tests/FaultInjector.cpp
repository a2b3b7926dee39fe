#include "tests/FaultInjector.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

// A sanitizer's malloc() is its own, and ThreadSanitizer's operator new too.
#if defined(__SANITIZE_ADDRESS__)
#define TYK_ADDRESS_SANITIZED
#elif defined(__SANITIZE_THREAD__)
#define TYK_THREAD_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TYK_ADDRESS_SANITIZED
#elif __has_feature(thread_sanitizer)
#define TYK_THREAD_SANITIZED
#endif
#endif

namespace {

using fault::Call;

// All of it is initialised by the compiler: calls come before any constructor has run.
fault::Plan plan;
fault::Outcome outcome;
long counted = 0;
char root[256];

char opened[64][sizeof(outcome.path)];  // by descriptor; the first is the folder listed last

char* pathOf(int descriptor) {
    return opened[descriptor > 0 && descriptor < 64 ? descriptor : 0];
}

/// Whether this call is to fail.
bool fails(Call call, const char* path, size_t bytes = 0) {
    const bool allocates = call == Call::allocate;
    if (!fault::isCounting || allocates != (plan.error == fault::kAllocations)) return false;
    const bool ofTransfers = plan.error < 0 || plan.error == EINTR;
    if (ofTransfers && call != Call::read && call != Call::write) return false;
    ++counted;
    if (counted < plan.at || (counted > plan.at && !plan.onwards)) return false;
    if (outcome.hits++ == 0) {
        outcome.call = call;
        outcome.bytes = bytes;
        std::snprintf(outcome.path, sizeof(outcome.path), "%s", path);
    }
    errno = allocates ? ENOMEM : plan.error;
    return true;
}

/// How much of `size` a read() or write() is to transfer; -1 when it is to fail.
ssize_t transferable(Call call, int descriptor, size_t size) {
    if (!fails(call, pathOf(descriptor))) return static_cast<ssize_t>(size);
    if (plan.error == fault::kShort) return static_cast<ssize_t>(std::max<size_t>(1, size / 2));
    return plan.error == fault::kEnd ? 0 : -1;
}

int remember(int descriptor, const char* path) {
    if (descriptor >= 0) std::snprintf(pathOf(descriptor), sizeof(outcome.path), "%s", path);
    return descriptor;
}

mode_t modeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

/// Where a device path lies; any other path stays as it is.
const char* hostPath(const char* path) {
    static char buffer[1500];
    for (const std::string_view device : {"/data/vendor/cameraserver", "/vendor/firmware"}) {
        if (std::strncmp(path, device.data(), device.size()) != 0) continue;
        std::snprintf(buffer, sizeof(buffer), "%s%s", root, path);
        return buffer;
    }
    return path;
}

}  // namespace

/// The C library's own function behind the one that this file defines.
#define NEXT(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))

namespace fault {

bool isCounting = false;
long liveAllocations = 0;
#if defined(TYK_ADDRESS_SANITIZED) || defined(TYK_THREAD_SANITIZED)
const bool ownsMalloc = false;
#else
const bool ownsMalloc = true;
#endif

void setRoot(const std::string& folder) {
    std::snprintf(root, sizeof(root), "%s", folder.c_str());
}

void arm(const Plan& next) {
    plan = next;
    outcome = {};
    counted = 0;
    isCounting = true;
}

Outcome disarm() {
    isCounting = false;
    return outcome;
}

}  // namespace fault

extern "C" {

int openat(int folder, const char* path, int flags, ...) {
    if (fails(Call::open, path)) return -1;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return remember(NEXT(openat)(folder, hostPath(path), flags, mode), path);
}

int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openat(AT_FDCWD, path, flags, mode);
}

int fstat(int descriptor, struct stat* status) noexcept {
    return fails(Call::fstat, pathOf(descriptor)) ? -1 : NEXT(fstat)(descriptor, status);
}

ssize_t read(int descriptor, void* data, size_t size) {
    const ssize_t part = transferable(Call::read, descriptor, size);
    return part < 0 ? -1 : NEXT(read)(descriptor, data, static_cast<size_t>(part));
}

ssize_t write(int descriptor, const void* data, size_t size) {
    const ssize_t part = transferable(Call::write, descriptor, size);
    return part < 0 ? -1 : NEXT(write)(descriptor, data, static_cast<size_t>(part));
}

// The descriptor is gone all the same, as it is where the system reports a late write error.
int close(int descriptor) {
    const bool failed = fails(Call::close, pathOf(descriptor));
    const int result = NEXT(close)(descriptor);
    if (failed) errno = plan.error;
    return failed ? -1 : result;
}

int mkdir(const char* path, mode_t mode) noexcept {
    return fails(Call::mkdir, path) ? -1 : NEXT(mkdir)(hostPath(path), mode);
}

int access(const char* path, int mode) noexcept {
    return fails(Call::access, path) ? -1 : NEXT(access)(hostPath(path), mode);
}

DIR* opendir(const char* path) {
    if (fails(Call::list, path)) return nullptr;
    remember(0, path);
    return NEXT(opendir)(hostPath(path));
}

dirent* readdir(DIR* folder) {
    return fails(Call::list, pathOf(0)) ? nullptr : NEXT(readdir)(folder);
}

}  // extern "C"

#if defined(TYK_ADDRESS_SANITIZED)

void* operator new(size_t size) {
    void* const memory = fails(Call::allocate, "", size) ? nullptr : std::malloc(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

#elif !defined(TYK_THREAD_SANITIZED)

// The standard library's operator new calls malloc(), and so do the C library's own functions.
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* memory);

void* malloc(size_t size) {
    void* const memory = fails(Call::allocate, "", size) ? nullptr : __libc_malloc(size);
    fault::liveAllocations += memory ? 1 : 0;
    return memory;
}

void* calloc(size_t count, size_t size) {
    const bool failed = fails(Call::allocate, "", count * size);
    void* const memory = failed ? nullptr : __libc_calloc(count, size);
    fault::liveAllocations += memory ? 1 : 0;
    return memory;
}

// Where libc++ takes the memory of its exceptions from.
int posix_memalign(void** memory, size_t alignment, size_t size) {
    if (fails(Call::allocate, "", size)) return ENOMEM;
    *memory = __libc_memalign(alignment, size);
    fault::liveAllocations += *memory ? 1 : 0;
    return *memory ? 0 : ENOMEM;
}

void free(void* memory) {
    if (!memory) return;
    --fault::liveAllocations;
    constexpr size_t kOverwritten = 4096;
    std::memset(memory, 0xdd, std::min(malloc_usable_size(memory), kOverwritten));
    __libc_free(memory);
}

}  // extern "C"

#endif
