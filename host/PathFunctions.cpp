// Replaces the C library's path functions for the whole process: an executable's symbols take
// precedence over those of any shared library. Each function calls the C library's own one with the
// translated path.
//
// The checked and the large-file variants of the headers would rename or redefine what is defined
// here, so both are switched off for this file. The parameters have the headers' names.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS

#include "host/DevicePath.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#if !__GLIBC_PREREQ(2, 33)
#error "stat() and lstat() are functions that can be replaced only from glibc 2.33 on"
#endif

namespace {

using tykhost::DevicePath;

// A function of the C library, looked up at the first call. Constant-initialised, because calls may
// come before any constructor of this program. Several threads may look it up at once, with the
// same result.
template <typename Function>
class NextFunction {
public:
    constexpr explicit NextFunction(const char* name) : name_(name) {}

    // The function; null, with errno set, when the C library has no function of that name.
    Function* find() {
        Function* function = found_.load(std::memory_order_relaxed);
        if (function != nullptr) return function;
        function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name_));
        if (function == nullptr) errno = ENOSYS;
        found_.store(function, std::memory_order_relaxed);
        return function;
    }

private:
    const char* name_;
    std::atomic<Function*> found_{nullptr};
};

// Calls `next` with the desktop's path and the other arguments; returns `failure` when it cannot.
template <typename Result, typename Function, typename... Arguments>
Result forward(NextFunction<Function>& next, Result failure, const char* path,
               Arguments... arguments) {
    const DevicePath redirected(path);
    if (!redirected.passes()) return failure;
    Function* function = next.find();
    return function != nullptr ? function(redirected.get(), arguments...) : failure;
}

// Whether an open() with `flags` has the mode of a new file as its third argument.
bool makesFile(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

NextFunction<FILE*(const char*, const char*)> nextFopen("fopen");
NextFunction<FILE*(const char*, const char*)> nextFopen64("fopen64");
NextFunction<int(const char*, int, ...)> nextOpen("open");
NextFunction<int(const char*, int, ...)> nextOpen64("open64");
NextFunction<int(const char*, int)> nextCheckedOpen("__open_2");
NextFunction<int(const char*, int)> nextCheckedOpen64("__open64_2");
NextFunction<int(const char*, mode_t)> nextCreat("creat");
NextFunction<int(const char*, mode_t)> nextCreat64("creat64");
NextFunction<int(const char*, int)> nextAccess("access");
NextFunction<int(const char*, mode_t)> nextMkdir("mkdir");
NextFunction<DIR*(const char*)> nextOpendir("opendir");
NextFunction<int(const char*, struct stat*)> nextStat("stat");
NextFunction<int(const char*, struct stat64*)> nextStat64("stat64");
NextFunction<int(const char*, struct stat*)> nextLstat("lstat");
NextFunction<int(const char*, struct stat64*)> nextLstat64("lstat64");

}  // namespace

extern "C" {

FILE* fopen(const char* filename, const char* modes) {
    return forward<FILE*>(nextFopen, nullptr, filename, modes);
}

FILE* fopen64(const char* filename, const char* modes) {
    return forward<FILE*>(nextFopen64, nullptr, filename, modes);
}

int open(const char* file, int oflag, ...) {
    if (!makesFile(oflag)) return forward(nextOpen, -1, file, oflag);
    va_list arguments;
    va_start(arguments, oflag);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return forward(nextOpen, -1, file, oflag, mode);
}

int open64(const char* file, int oflag, ...) {
    if (!makesFile(oflag)) return forward(nextOpen64, -1, file, oflag);
    va_list arguments;
    va_start(arguments, oflag);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return forward(nextOpen64, -1, file, oflag, mode);
}

// Callers that are compiled with checks call these instead of open() and open64() without a mode.
int __open_2(const char* file, int oflag) {
    return forward(nextCheckedOpen, -1, file, oflag);
}

int __open64_2(const char* file, int oflag) {
    return forward(nextCheckedOpen64, -1, file, oflag);
}

int creat(const char* file, mode_t mode) {
    return forward(nextCreat, -1, file, mode);
}

int creat64(const char* file, mode_t mode) {
    return forward(nextCreat64, -1, file, mode);
}

int access(const char* name, int type) noexcept {
    return forward(nextAccess, -1, name, type);
}

int mkdir(const char* path, mode_t mode) noexcept {
    return forward(nextMkdir, -1, path, mode);
}

DIR* opendir(const char* name) {
    return forward<DIR*>(nextOpendir, nullptr, name);
}

int stat(const char* file, struct stat* buf) noexcept {
    return forward(nextStat, -1, file, buf);
}

int stat64(const char* file, struct stat64* buf) noexcept {
    return forward(nextStat64, -1, file, buf);
}

int lstat(const char* file, struct stat* buf) noexcept {
    return forward(nextLstat, -1, file, buf);
}

int lstat64(const char* file, struct stat64* buf) noexcept {
    return forward(nextLstat64, -1, file, buf);
}

}  // extern "C"
