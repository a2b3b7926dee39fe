// A library for LD_PRELOAD that kills the process, or makes a call fail, at the Nth call on files.
// It counts calls of the program and its libraries. Calls inside the C library (stdio's own writes)
// count as one call of stdio.
//
// Environment variables:
//   TYK_FAULT_AT=N          the number of the call, from 1; without it nothing happens
//   TYK_FAULT=kill|ERRNO    SIGKILL before the call, or the call fails with this errno; a close()
//                           that fails leaves the file empty
//   TYK_FAULT_OF=changes    counts calls that change a file or folder (default); reads: calls that
//                           open or read one
//   TYK_FAULT_IN=TEXT       only calls on paths that contain TEXT count; without it all do
//   TYK_FAULT_LOG=FILE      gets a line for each call that counts; "!" marks the one that fails
//   TYK_NO_EXCHANGE=1       renameat2() with flags always fails with EINVAL, and does not count
#include <climits>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

enum class Sort { change, read };

std::string setting(const char* name) {
    const char* const value = getenv(name);
    return value ? value : "";
}

struct Plan {
    const long at = atol(setting("TYK_FAULT_AT").c_str());
    const std::string fault = setting("TYK_FAULT");
    const Sort sort = setting("TYK_FAULT_OF") == "reads" ? Sort::read : Sort::change;
    const std::string in = setting("TYK_FAULT_IN");
    const std::string log = setting("TYK_FAULT_LOG");
    const bool noExchange = !setting("TYK_NO_EXCHANGE").empty();
};

const Plan& plan() {
    static const Plan* const once = new Plan;  // never destroyed: calls come until the very end
    return *once;
}

void writeLog(const std::string& line) {
    if (plan().log.empty()) return;
    const auto file = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, plan().log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666));
    syscall(SYS_write, file, line.data(), line.size());
    syscall(SYS_close, file);
}

/// Whether this call must fail; sets errno.
bool fails(Sort sort, const char* call, const std::string& path) {
    static std::atomic<long> count{0};
    const int before = errno;
    if (sort != plan().sort || path.find(plan().in) == std::string::npos) return false;
    const long number = ++count;
    const bool now = number == plan().at;
    writeLog((now ? "! " : "  ") + std::to_string(number) + " " + call + " " + path + "\n");
    errno = before;
    if (!now) return false;
    if (plan().fault == "kill") syscall(SYS_kill, getpid(), SIGKILL);
    errno = atoi(plan().fault.c_str());
    return true;
}

std::string pathOf(int descriptor) {
    char path[PATH_MAX] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const long size = syscall(SYS_readlinkat, AT_FDCWD, link.c_str(), path, sizeof(path) - 1);
    return size > 0 ? path : "";
}

std::string pathOf(int folder, const char* name) {
    if (*name == '/') return name;
    char cwd[PATH_MAX] = {};
    if (folder == AT_FDCWD) syscall(SYS_getcwd, cwd, sizeof(cwd));
    return (folder == AT_FDCWD ? std::string(cwd) : pathOf(folder)) + "/" + name;
}

std::string pathOf(const char* name) {
    return pathOf(AT_FDCWD, name);
}

/// Terminals and pipes do not count.
bool isFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool changes(int descriptor) {
    return isFile(descriptor) && (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

bool failsOn(Sort sort, const char* call, int descriptor) {
    const bool counts = sort == Sort::change ? changes(descriptor) : isFile(descriptor);
    return counts && fails(sort, call, pathOf(descriptor));
}

Sort sortOf(int flags) {
    return (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0 ? Sort::change : Sort::read;
}

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// Empties the file, like a file system that reports a lack of space only at the end.
void loseContent(int descriptor) {
    const int before = errno;
    syscall(SYS_ftruncate, descriptor, 0L);
    errno = before;
}

/// Sets the error mark of a stream, which a caller may test later.
void markFailed(FILE* stream) {
    stream->_flags |= 0x20;
}

}  // namespace

// Calls the function that this one replaces.
#define NEXT(name, ...) (next<decltype(name)>(#name)(__VA_ARGS__))

#define OPEN(name)                                                             \
    int name(const char* path, int flags, ...) {                               \
        va_list rest;                                                          \
        va_start(rest, flags);                                                 \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; \
        va_end(rest);                                                          \
        if (fails(sortOf(flags), "open", pathOf(path))) return -1;             \
        return NEXT(name, path, flags, mode);                                  \
    }
#define OPENAT(name)                                                           \
    int name(int folder, const char* path, int flags, ...) {                   \
        va_list rest;                                                          \
        va_start(rest, flags);                                                 \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; \
        va_end(rest);                                                          \
        if (fails(sortOf(flags), "open", pathOf(folder, path))) return -1;     \
        return NEXT(name, folder, path, flags, mode);                          \
    }
#define FOPEN(name)                                                                   \
    FILE* name(const char* path, const char* mode) {                                  \
        const Sort sort = strpbrk(mode, "wa+") ? Sort::change : Sort::read;           \
        return fails(sort, "fopen", pathOf(path)) ? nullptr : NEXT(name, path, mode); \
    }
// A call that returns -1, on a path or a descriptor.
#define ON_PATH(sort, name, path, parameters, ...)                      \
    int name parameters {                                               \
        return fails(sort, #name, path) ? -1 : NEXT(name, __VA_ARGS__); \
    }
#define ON_FILE(type, sort, name, parameters, ...)                        \
    type name parameters {                                                \
        return failsOn(sort, #name, file) ? -1 : NEXT(name, __VA_ARGS__); \
    }

extern "C" {

OPEN(open)
OPEN(open64)
OPENAT(openat)
OPENAT(openat64)
FOPEN(fopen)
FOPEN(fopen64)

ON_PATH(Sort::change, mkdir, pathOf(path), (const char* path, mode_t mode), path, mode)
ON_PATH(Sort::change, rmdir, pathOf(path), (const char* path), path)
ON_PATH(Sort::change, unlink, pathOf(path), (const char* path), path)
ON_PATH(Sort::change, remove, pathOf(path), (const char* path), path)
ON_PATH(Sort::change, unlinkat, pathOf(folder, path), (int folder, const char* path, int flags),
        folder, path, flags)
ON_PATH(Sort::change, symlink, pathOf(path), (const char* to, const char* path), to, path)
ON_PATH(Sort::change, link, pathOf(path), (const char* to, const char* path), to, path)
ON_PATH(Sort::change, rename, pathOf(path), (const char* from, const char* path), from, path)
ON_PATH(Sort::change, chmod, pathOf(path), (const char* path, mode_t mode), path, mode)
ON_PATH(Sort::change, fchmod, pathOf(file), (int file, mode_t mode), file, mode)
ON_PATH(Sort::change, mkostemp, pathOf(path), (char* path, int flags), path, flags)

char* mkdtemp(char* path) {
    return fails(Sort::change, "mkdtemp", pathOf(path)) ? nullptr : NEXT(mkdtemp, path);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
    if (plan().noExchange && flags != 0) {
        errno = EINVAL;
        return -1;
    }
    if (fails(Sort::change, "renameat2", pathOf(toFolder, to))) return -1;
    return NEXT(renameat2, fromFolder, from, toFolder, to, flags);
}

ON_FILE(int, Sort::change, ftruncate, (int file, off_t size), file, size)
ON_FILE(ssize_t, Sort::change, write, (int file, const void* from, size_t size), file, from, size)
ON_FILE(ssize_t, Sort::change, pwrite, (int file, const void* from, size_t size, off_t at), file,
        from, size, at)
ON_FILE(ssize_t, Sort::change, writev, (int file, const iovec* from, int count), file, from, count)
ON_FILE(ssize_t, Sort::read, read, (int file, void* to, size_t size), file, to, size)
ON_FILE(ssize_t, Sort::read, pread, (int file, void* to, size_t size, off_t at), file, to, size, at)
ON_FILE(ssize_t, Sort::read, pread64, (int file, void* to, size_t size, off64_t at), file, to, size,
        at)

ssize_t copy_file_range(int from, off64_t* fromAt, int to, off64_t* toAt, size_t size,
                        unsigned flags) {
    if (failsOn(Sort::read, "copy_file_range", from)) return -1;
    if (failsOn(Sort::change, "copy_file_range", to)) return -1;
    return NEXT(copy_file_range, from, fromAt, to, toAt, size, flags);
}

int ioctl(int file, unsigned long request, ...) {
    va_list rest;
    va_start(rest, request);
    void* const argument = va_arg(rest, void*);
    va_end(rest);
    if (request == FICLONE && failsOn(Sort::change, "ioctl", file)) return -1;
    return NEXT(ioctl, file, request, argument);
}

int close(int file) {
    const int before = errno;
    const bool bad = failsOn(Sort::change, "close", file);
    const int error = bad ? errno : before;
    errno = before;
    if (bad) loseContent(file);
    const int result = NEXT(close, file);
    if (!bad) return result;
    errno = error;
    return -1;
}

DIR* fdopendir(int file) {
    return fails(Sort::read, "fdopendir", pathOf(file)) ? nullptr : NEXT(fdopendir, file);
}

dirent* readdir(DIR* folder) {
    return fails(Sort::read, "readdir", pathOf(dirfd(folder))) ? nullptr : NEXT(readdir, folder);
}

size_t fread(void* to, size_t size, size_t count, FILE* stream) {
    if (!failsOn(Sort::read, "fread", fileno(stream))) return NEXT(fread, to, size, count, stream);
    markFailed(stream);
    return 0;
}

size_t fwrite(const void* from, size_t size, size_t count, FILE* stream) {
    if (!failsOn(Sort::change, "fwrite", fileno(stream)))
        return NEXT(fwrite, from, size, count, stream);
    markFailed(stream);
    return 0;
}

int fflush(FILE* stream) {
    if (!stream || !failsOn(Sort::change, "fflush", fileno(stream))) return NEXT(fflush, stream);
    markFailed(stream);
    return EOF;
}

int fclose(FILE* stream) {
    const bool bad = failsOn(Sort::change, "fclose", fileno(stream));
    const int error = errno;
    if (bad) {
        NEXT(fflush, stream);
        loseContent(fileno(stream));
    }
    const int result = NEXT(fclose, stream);
    if (bad) errno = error;
    return bad ? EOF : result;
}

}  // extern "C"
