// The files below the device's folders, and the system calls on them. The linker redirects the
// program's calls to __wrap_<name>, which passes calls on other paths to the system.
#include "tests/support/FakeDevice.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
ssize_t __real_read(int descriptor, void* data, size_t size);
ssize_t __real_write(int descriptor, const void* data, size_t size);
int __real_fstat(int descriptor, struct stat* status);
int __real_access(const char* path, int mode);
int __real_getrlimit(__rlimit_resource_t resource, rlimit* limit);
int __real_mkdir(const char* path, mode_t mode);
DIR* __real_opendir(const char* path);
dirent* __real_readdir(DIR* folder);
int __real_closedir(DIR* folder);
}

namespace fake {

int Outside::depth = 1;  // until a fault is armed

namespace {

/// An open file, or an open listing of a folder.
struct Handle {
    File* file = nullptr;  ///< null: free
    const std::string* path = nullptr;
    int64_t at = 0;
    std::vector<std::pair<std::string_view, unsigned char>> entries;  ///< names and types
    dirent entry;
};

std::array<Handle, 8> gHandles;  // the library needs only a few at a time
constexpr int kFirstDescriptor = 1 << 20;

Fault gFault;
bool gInterrupts = false;  ///< interrupts one wait for a file
Outcome gOutcome;
long gCounted = 0;

bool onDevice(std::string_view path) {
    return path.substr(0, 6) == "/data/" || path.substr(0, 8) == "/vendor/";
}

int refuse(int error) {
    errno = error;
    return -1;
}

Handle* handleOf(int descriptor) {
    if (descriptor < kFirstDescriptor) return nullptr;
    Handle& handle = gHandles.at(static_cast<size_t>(descriptor - kFirstDescriptor));
    FAKE_EXPECT(handle.file);
    return &handle;
}

Handle* handleOf(DIR* folder) {
    for (Handle& handle : gHandles) {
        if (reinterpret_cast<DIR*>(&handle) == folder) return &handle;
    }
    return nullptr;
}

bool isFolder(std::string_view path) {
    const File* const file = findFile(std::string(path));
    return file && file->type == DT_DIR;
}

/// The errno for which no file can be made at `path`, or 0.
int whyNotMade(std::string_view path) {
    const size_t slash = path.rfind('/');
    if (path.size() >= PATH_MAX || path.size() - slash > NAME_MAX + 1) return ENAMETOOLONG;
    return isFolder(path.substr(0, slash)) ? 0 : ENOENT;
}

void note(Call call, const char* path, size_t bytes = 0) {
    if (gOutcome.hits++ > 0) return;
    gOutcome.call = call;
    gOutcome.bytes = bytes;
    std::snprintf(gOutcome.path, sizeof(gOutcome.path), "%s", path);
}

/// Whether there is a free descriptor.
bool hasDescriptor(Call call, const char* path) {
    if (device().openHandles < device().freeDescriptors) return true;
    note(call, path);
    return refuse(EMFILE) == 0;
}

Handle& take(std::pair<const std::string, File>& file) {
    for (Handle& handle : gHandles) {
        if (handle.file) continue;
        handle.file = &file.second;
        handle.path = &file.first;
        handle.at = 0;
        device().mostHandles = std::max(device().mostHandles, ++device().openHandles);
        return handle;
    }
    fail("a handle is free", __FILE__, __LINE__);
}

void release(Handle& handle) {
    handle.file = nullptr;
    --device().openHandles;
}

int openOnDevice(const Handle* folder, const char* name, int flags) {
    if (fails(Call::open, name)) return -1;
    const Outside outside;
    FAKE_EXPECT(flags & O_CLOEXEC);  // other programs must not inherit it
    FAKE_EXPECT(flags & (O_NOCTTY | O_DIRECTORY |
                         O_PATH));  // a terminal must not become the controlling one
    const std::string path = folder ? *folder->path + "/" + name : name;
    auto found = device().files.find(path);
    const bool isNew = found == device().files.end();
    if (isNew) {
        if (!(flags & O_CREAT)) return refuse(ENOENT);
        if (const int error = whyNotMade(path)) return refuse(error);
    } else {
        const unsigned char type = found->second.type;
        device().foldersOpened += type == DT_DIR ? 1 : 0;
        if (!found->second.opens) return refuse(EACCES);
        if ((flags & O_ACCMODE) != O_RDONLY && type == DT_DIR) return refuse(EISDIR);
        if ((flags & O_DIRECTORY) && type != DT_DIR) return refuse(ENOTDIR);
        FAKE_EXPECT(type != DT_FIFO || (flags & (O_NONBLOCK | O_PATH)));  // else it would hang
    }
    if (!hasDescriptor(Call::open, name)) return -1;
    if (isNew) found = device().files.emplace(path, File{}).first;
    if (flags & O_TRUNC) found->second = File{};
    return kFirstDescriptor + static_cast<int>(&take(*found) - gHandles.data());
}

void list(const std::string& folder, decltype(Handle::entries)& entries) {
    entries.clear();
    const std::string prefix = folder + "/";
    const auto& files = device().files;
    for (auto at = files.lower_bound(prefix); at != files.end(); ++at) {
        if (at->first.compare(0, prefix.size(), prefix) != 0) break;
        const std::string_view name = std::string_view(at->first).substr(prefix.size());
        if (name.find('/') == name.npos) entries.emplace_back(name, at->second.type);
    }
    for (const char* const name : {".", ".."}) entries.emplace_back(name, DT_DIR);
    if (device().listsBackwards) std::reverse(entries.begin(), entries.end());
}

/// The part of `size` that a read() or write() must transfer; -1 for a failure.
ssize_t transferable(Call call, const Handle& handle, size_t size) {
    if (!fails(call, handle.path->c_str())) return static_cast<ssize_t>(size);
    if (gFault.error == kShort) return static_cast<ssize_t>(std::max<size_t>(1, size / 2));
    return gFault.error == kEnd ? 0 : -1;
}

}  // namespace

Device::Device() {
    for (const std::string& folder : {kRoot.substr(0, kRoot.rfind('/')), kRoot, kPipeFolder}) {
        files[folder].type = DT_DIR;
    }
}

Device& device() {
    static Device theDevice;
    return theDevice;
}

void restart(Device state) {
    FAKE_EXPECT(device().openHandles == 0);
    device() = std::move(state);
}

void arm(const Fault& fault) {
    gFault = fault;
    gOutcome = {};
    gCounted = 0;
    gInterrupts = fault.error == EWOULDBLOCK;
    if (fault.error == kBytes) device().freeBytes = fault.at;
    if (fault.error == kDescriptors) device().freeDescriptors = static_cast<int>(fault.at);
    Outside::depth = 0;
}

Outcome disarm() {
    Outside::depth = 1;
    device().freeBytes = Device().freeBytes;
    device().freeDescriptors = Device().freeDescriptors;
    return gOutcome;
}

bool fails(Call call, const char* path, size_t bytes) {
    const bool allocates = call == Call::allocate;
    if (Outside::depth > 0 || allocates != (gFault.error == kAllocations)) return false;
    if (gFault.error == kBytes || gFault.error == kDescriptors) return false;
    const bool ofTransfers = gFault.error < 0 || gFault.error == EINTR;
    if (ofTransfers && call != Call::read && call != Call::write) return false;
    ++gCounted;
    if (gCounted < gFault.at || (gCounted > gFault.at && !gFault.onwards)) return false;
    note(call, path, bytes);
    errno = allocates ? ENOMEM : gFault.error;
    return true;
}

size_t File::copy(int64_t at, void* to, size_t count) const {
    if (bytes.empty() || at >= size) return 0;
    count = std::min(count, static_cast<size_t>(size - at));
    size_t from = static_cast<size_t>(at) % bytes.size();
    for (size_t done = 0; done < count; from = 0) {
        const size_t piece = std::min(count - done, bytes.size() - from);
        std::memcpy(static_cast<char*>(to) + done, bytes.data() + from, piece);
        done += piece;
    }
    return count;
}

File& addFile(const std::string& path, const std::string& bytes, int64_t size) {
    File& file = device().files[path];
    file.bytes = bytes;
    file.size = size < 0 ? static_cast<int64_t>(bytes.size()) : size;
    // Larger pieces are faster to copy.
    while (!bytes.empty() && file.bytes.size() < 4096 &&
           static_cast<int64_t>(file.bytes.size()) < size) {
        file.bytes += file.bytes;
    }
    return file;
}

const File* findFile(const std::string& path) {
    const auto found = device().files.find(path);
    return found == device().files.end() ? nullptr : &found->second;
}

std::vector<std::string> listedFiles(const std::string& folder) {
    decltype(Handle::entries) entries;
    list(folder, entries);
    std::vector<std::string> names;
    for (const auto& [name, type] : entries) {
        if (!(type & DT_DIR)) names.emplace_back(name);
    }
    return names;
}

}  // namespace fake

using namespace fake;

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
    if (onDevice(path)) return openOnDevice(nullptr, path, flags);
    constexpr size_t kPrefix = std::string_view("/proc/self/fd/").size();
    if (std::strncmp(path, "/proc/self/fd/", kPrefix) == 0) {
        const Handle* const handle = handleOf(std::atoi(path + kPrefix));
        if (handle && std::exchange(gInterrupts, false)) return refuse(EINTR);
        if (handle) return openOnDevice(nullptr, handle->path->c_str(), flags);
    }
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __wrap_openat(int folder, const char* name, int flags, ...) {
    const Handle* const handle = handleOf(folder);
    return handle ? openOnDevice(handle, name, flags) : refuse(EBADF);
}

// The descriptor is closed even if the call fails, as when the system reports a late write error.
int __wrap_close(int descriptor) {
    Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_close(descriptor);
    const bool failed = fails(Call::close, handle->path->c_str());
    release(*handle);
    return failed ? -1 : 0;
}

ssize_t __wrap_read(int descriptor, void* data, size_t size) {
    Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_read(descriptor, data, size);
    const ssize_t part = transferable(Call::read, *handle, size);
    if (part < 0) return -1;
    // Only the head of a file comes in small pieces, because a large file would take too long.
    const bool small = handle->at > 0 && handle->at < 1024;
    FAKE_EXPECT(size == 0 || small || !isPoisoned(data, size));
    const size_t most = handle->at < 1024 ? device().readBytes : SIZE_MAX;
    const size_t count =
        handle->file->copy(handle->at, data, std::min(static_cast<size_t>(part), most));
    noteWrite(data, count);
    handle->at += static_cast<int64_t>(count);
    return static_cast<ssize_t>(count);
}

ssize_t __wrap_write(int descriptor, const void* data, size_t size) {
    Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_write(descriptor, data, size);
    const ssize_t part = transferable(Call::write, *handle, size);
    if (part < 0) return -1;
    // The system refuses an invalid address; the sanitizer would report a fault.
    const auto address = reinterpret_cast<uintptr_t>(data);
    if (size > 0 && (address < 4096 || address >> 47 != 0)) return refuse(EFAULT);
    FAKE_EXPECT(size == 0 || !isPoisoned(data, size));
    const Outside outside;
    size = static_cast<size_t>(std::min<int64_t>(part, device().freeBytes));
    if (static_cast<ssize_t>(size) < part) {
        note(Call::write, handle->path->c_str());
        if (size == 0) return refuse(ENOSPC);
    }
    device().freeBytes -= static_cast<int64_t>(size);
    File& file = *handle->file;
    const size_t kept =
        std::min(size, File::kKeptBytes - std::min(file.bytes.size(), File::kKeptBytes));
    file.bytes.append(static_cast<const char*>(data), kept);
    file.size += static_cast<int64_t>(size);
    return static_cast<ssize_t>(size);
}

int __wrap_fstat(int descriptor, struct stat* status) {
    const Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_fstat(descriptor, status);
    if (fails(Call::fstat, handle->path->c_str())) return -1;
    *status = {};
    const bool regular = handle->file->type == DT_REG || handle->file->type == DT_UNKNOWN ||
                         handle->file->type == DT_LNK;
    status->st_mode = regular ? S_IFREG : static_cast<mode_t>(DTTOIF(handle->file->type));
    status->st_size = handle->file->size;
    return 0;
}

// Counts only the library's descriptors.
int __wrap_getrlimit(__rlimit_resource_t resource, rlimit* limit) {
    if (resource != RLIMIT_NOFILE) return __real_getrlimit(resource, limit);
    if (fails(Call::limit, "")) return -1;
    limit->rlim_cur =
        static_cast<rlim_t>(kFirstDescriptor) + static_cast<rlim_t>(device().freeDescriptors);
    return 0;
}

int __wrap_access(const char* path, int mode) {
    if (!onDevice(path)) return __real_access(path, mode);
    if (fails(Call::access, path)) return -1;
    const Outside outside;
    return findFile(path) ? 0 : refuse(ENOENT);
}

int __wrap_mkdir(const char* path, mode_t mode) {
    if (!onDevice(path)) return __real_mkdir(path, mode);
    if (fails(Call::mkdir, path)) return -1;
    const Outside outside;
    if (findFile(path)) return refuse(EEXIST);
    if (const int error = whyNotMade(path)) return refuse(error);
    device().files[path].type = DT_DIR;
    return 0;
}

DIR* __wrap_opendir(const char* path) {
    if (!onDevice(path)) return __real_opendir(path);
    if (fails(Call::list, path)) return nullptr;
    const Outside outside;
    const auto found = device().files.find(path);
    errno = ENOENT;
    if (!isFolder(path) || !hasDescriptor(Call::list, path)) return nullptr;
    Handle& handle = take(*found);
    list(path, handle.entries);
    return reinterpret_cast<DIR*>(&handle);
}

dirent* __wrap_readdir(DIR* folder) {
    Handle* const handle = handleOf(folder);
    if (!handle) return __real_readdir(folder);
    const auto at = static_cast<size_t>(handle->at);
    if (fails(Call::list, "") || at == handle->entries.size()) return nullptr;
    const auto& [name, type] = handle->entries[at];
    ++handle->at;
    handle->entry.d_type = type;
    handle->entry.d_name[name.copy(handle->entry.d_name, sizeof(dirent::d_name) - 1)] = 0;
    return &handle->entry;
}

int __wrap_closedir(DIR* folder) {
    Handle* const handle = handleOf(folder);
    if (!handle) return __real_closedir(folder);
    release(*handle);
    return 0;
}

// Only the library asks for this clock.
int __wrap_gettimeofday(timeval* time, void*) {
    *time = {1'700'000'000, 123'456};
    return 0;
}

}  // extern "C"
