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
bool inside = false;
fault::Plan plan;
fault::Outcome outcome;
long counted = 0;
long live = 0;
char root[256];

struct Opened {
    char path[sizeof(outcome.path)];
    bool writing;
};
Opened opened[64];  // by descriptor; the first is the folder listed last

Opened& file(int descriptor) {
    return opened[descriptor > 0 && descriptor < 64 ? descriptor : 0];
}

/// Whether this call is to fail.
bool fails(Call call, const char* path, bool writing, size_t bytes = 0) {
    const bool allocates = call == Call::allocate;
    if (!inside || allocates != (plan.error == fault::kAllocations)) return false;
    const bool ofTransfers = plan.error < 0 || plan.error == EINTR;
    if (ofTransfers && call != Call::read && call != Call::write) return false;
    ++counted;
    if (counted < plan.at || (counted > plan.at && !plan.onwards)) return false;
    if (outcome.hits++ == 0) {
        outcome.call = call;
        outcome.bytes = bytes;
        outcome.writing = writing;
        std::snprintf(outcome.path, sizeof(outcome.path), "%s", path);
    }
    errno = allocates ? ENOMEM : plan.error;
    return true;
}

bool fails(Call call, int descriptor) {
    return fails(call, file(descriptor).path, file(descriptor).writing);
}

/// How much of `size` a read() or write() is to transfer; -1 when it is to fail.
ssize_t transferable(Call call, int descriptor, size_t size) {
    if (!fails(call, descriptor)) return static_cast<ssize_t>(size);
    if (plan.error == fault::kShort) return static_cast<ssize_t>(std::max<size_t>(1, size / 2));
    return plan.error == fault::kEnd ? 0 : -1;
}

int remember(int descriptor, const char* path, bool writing) {
    if (descriptor < 0) return descriptor;
    std::snprintf(file(descriptor).path, sizeof(outcome.path), "%s", path);
    file(descriptor).writing = writing;
    return descriptor;
}

bool writes(int flags) {
    return (flags & O_ACCMODE) != O_RDONLY;
}

mode_t modeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

/// The C library's own function behind the one that this file defines.
template <typename Function>
Function* next(Function*& found, const char* function) {
    if (!found) found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, function));
    return found;
}
#define NEXT(function)                    \
    ([] {                                 \
        static decltype(&function) found; \
        return next(found, #function);    \
    }())

/// Where a device path lies; any other path stays as it is.
class HostPath {
public:
    explicit HostPath(const char* path) : path_(path) {
        for (const std::string_view device : {"/data/vendor/cameraserver", "/vendor/firmware"}) {
            if (std::strncmp(path, device.data(), device.size()) != 0) continue;
            std::snprintf(buffer_, sizeof(buffer_), "%s%s", root, path);
            path_ = buffer_;
        }
    }
    const char* get() const { return path_; }

private:
    const char* path_;
    char buffer_[1500];
};

}  // namespace

namespace fault {

std::string Outcome::text() const {
    return "call kind " + std::to_string(static_cast<int>(call)) + ", path " + path + ", " +
           std::to_string(bytes) + " bytes";
}

void setRoot(const std::string& folder) {
    std::snprintf(root, sizeof(root), "%s", folder.c_str());
}

void arm(const Plan& next) {
    plan = next;
    outcome = {};
    counted = 0;
    inside = true;
}

Outcome disarm() {
    inside = false;
    return outcome;
}

Outside::Outside() : before_(inside) {
    inside = false;
}

Outside::~Outside() {
    inside = before_;
}

long liveAllocations() {
    return live;
}

}  // namespace fault

extern "C" {

int open(const char* path, int flags, ...) {
    if (fails(Call::open, path, writes(flags))) return -1;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return remember(NEXT(open)(HostPath(path).get(), flags, mode), path, writes(flags));
}

int openat(int folder, const char* path, int flags, ...) {
    if (fails(Call::open, path, writes(flags))) return -1;
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return remember(NEXT(openat)(folder, path, flags, mode), path, writes(flags));
}

FILE* fopen(const char* path, const char* mode) {
    return fails(Call::fopen, path, false) ? nullptr : NEXT(fopen)(HostPath(path).get(), mode);
}

int fstat(int descriptor, struct stat* status) noexcept {
    return fails(Call::fstat, descriptor) ? -1 : NEXT(fstat)(descriptor, status);
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
    const bool failed = fails(Call::close, descriptor);
    const int result = NEXT(close)(descriptor);
    if (failed) errno = plan.error;
    return failed ? -1 : result;
}

int mkdir(const char* path, mode_t mode) noexcept {
    return fails(Call::mkdir, path, true) ? -1 : NEXT(mkdir)(HostPath(path).get(), mode);
}

int access(const char* path, int mode) noexcept {
    return fails(Call::access, path, false) ? -1 : NEXT(access)(HostPath(path).get(), mode);
}

DIR* opendir(const char* path) {
    if (fails(Call::opendir, path, false)) return nullptr;
    remember(0, path, false);
    return NEXT(opendir)(HostPath(path).get());
}

dirent* readdir(DIR* folder) {
    return fails(Call::readdir, 0) ? nullptr : NEXT(readdir)(folder);
}

}  // extern "C"

bool fault::ownsMalloc() {
#if defined(TYK_ADDRESS_SANITIZED) || defined(TYK_THREAD_SANITIZED)
    return false;
#else
    return true;
#endif
}

#if defined(TYK_ADDRESS_SANITIZED)

void* operator new(size_t size) {
    void* const memory = fails(Call::allocate, "", false, size) ? nullptr : std::malloc(size);
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
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* memory);

void* malloc(size_t size) {
    void* const memory = fails(Call::allocate, "", false, size) ? nullptr : __libc_malloc(size);
    live += memory ? 1 : 0;
    return memory;
}

void* calloc(size_t count, size_t size) {
    const bool failed = fails(Call::allocate, "", false, count * size);
    void* const memory = failed ? nullptr : __libc_calloc(count, size);
    live += memory ? 1 : 0;
    return memory;
}

void* realloc(void* memory, size_t size) {
    if (fails(Call::allocate, "", false, size)) return nullptr;
    void* const moved = __libc_realloc(memory, size);
    live += moved && !memory ? 1 : 0;
    return moved;
}

void* aligned_alloc(size_t alignment, size_t size) {
    const bool failed = fails(Call::allocate, "", false, size);
    void* const memory = failed ? nullptr : __libc_memalign(alignment, size);
    live += memory ? 1 : 0;
    return memory;
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
    void* const allocated = aligned_alloc(alignment, size);
    if (allocated) *memory = allocated;
    return allocated ? 0 : ENOMEM;
}

void free(void* memory) {
    if (!memory) return;
    --live;
    constexpr size_t kOverwritten = 4096;
    std::memset(memory, 0xdd, std::min(malloc_usable_size(memory), kOverwritten));
    __libc_free(memory);
}

}  // extern "C"

#endif
