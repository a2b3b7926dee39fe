// The files below the device's folders, and the system calls that lead there. The linker sends the
// program's calls to __wrap_<name>; those for other paths go on to the system.
#include "fuzz/FuzzDevice.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <fcntl.h>
#include <sanitizer/asan_interface.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_openat(int folder, const char* name, int flags, ...);
int __real_close(int descriptor);
ssize_t __real_read(int descriptor, void* data, size_t size);
ssize_t __real_write(int descriptor, const void* data, size_t size);
int __real_fstat(int descriptor, struct stat* status);
int __real_access(const char* path, int mode);
int __real_mkdir(const char* path, mode_t mode);
DIR* __real_opendir(const char* path);
dirent* __real_readdir(DIR* folder);
int __real_closedir(DIR* folder);
int __real_gettimeofday(timeval* time, void* zone);
}

namespace fuzz {
namespace {

struct Handle {
    File* file = nullptr;
    const std::string* path = nullptr;
    int64_t at = 0;
};

struct Listing {
    std::vector<std::pair<std::string_view, unsigned char>> entries;
    size_t next = 0;
    bool open = false;
    dirent entry{};
};

/// The library has a few of either open at a time.
std::array<Handle, 6> gHandles;
std::array<Listing, 4> gListings;
constexpr int kFirstDescriptor = 1 << 20;

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
    FUZZ_EXPECT(handle.file);
    return &handle;
}

Listing* listingOf(DIR* folder) {
    for (Listing& listing : gListings) {
        if (reinterpret_cast<DIR*>(&listing) == folder) return &listing;
    }
    return nullptr;
}

bool isFolder(std::string_view path) {
    const File* const file = findFile(std::string(path));
    return file && file->type == DT_DIR;
}

/// Why no file can be made at `path`, 0 when it can.
int whyNotMade(std::string_view path) {
    const size_t slash = path.rfind('/');
    if (path.size() >= 4096 || path.size() - slash > 256) return ENAMETOOLONG;
    return isFolder(path.substr(0, slash)) ? 0 : ENOENT;
}

int openOnDevice(const char* path, int flags) {
    auto& files = device().files;
    auto found = files.find(path);
    if (found == files.end()) {
        if (!(flags & O_CREAT)) return refuse(ENOENT);
        if (const int error = whyNotMade(path)) return refuse(error);
        found = files.emplace(path, File{}).first;
    }
    File& file = found->second;
    const bool writes = (flags & O_ACCMODE) != O_RDONLY;
    if (!file.opens) return refuse(EACCES);
    if (writes && file.type == DT_DIR) return refuse(EISDIR);
    if ((flags & O_DIRECTORY) && file.type != DT_DIR) return refuse(ENOTDIR);
    if (flags & O_TRUNC) {
        file.bytes.clear();
        file.size = 0;
    }
    const auto free = std::find_if(gHandles.begin(), gHandles.end(),
                                   [](const Handle& handle) { return !handle.file; });
    FUZZ_EXPECT(free != gHandles.end());
    *free = {&file, &found->first, 0};
    ++device().openHandles;
    return kFirstDescriptor + static_cast<int>(free - gHandles.begin());
}

void list(const std::string& folder, Listing& listing) {
    listing.entries.clear();
    const std::string prefix = folder + "/";
    const auto& files = device().files;
    for (auto at = files.lower_bound(prefix); at != files.end(); ++at) {
        if (at->first.compare(0, prefix.size(), prefix) != 0) break;
        const std::string_view name = std::string_view(at->first).substr(prefix.size());
        if (name.find('/') == std::string_view::npos) {
            listing.entries.emplace_back(name, at->second.type);
        }
    }
    listing.entries.emplace_back(".", static_cast<unsigned char>(DT_DIR));
    listing.entries.emplace_back("..", static_cast<unsigned char>(DT_DIR));
    if (device().listsBackwards) std::reverse(listing.entries.begin(), listing.entries.end());
    listing.next = 0;
}

}  // namespace

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

void restart() {
    Device& state = device();
    FUZZ_EXPECT(state.openHandles == 0);
    state.files.clear();
    for (const char* folder : {"/data/vendor/cameraserver", kRoot, kPipeFolder}) {
        state.files[folder].type = DT_DIR;
    }
    state.published.clear();
    state.out.clear();
    state.listsBackwards = false;
    state.readBytes = SIZE_MAX;
    state.mfnrVersion.clear();
    state.poolLimit = SIZE_MAX;
}

File& addFile(const std::string& path, const std::string& bytes, int64_t size) {
    File& file = device().files[path];
    file.bytes = bytes;
    file.size = size;
    // Copied in larger pieces that way.
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
    Listing listing;
    list(folder, listing);
    std::vector<std::string> names;
    for (const auto& [name, type] : listing.entries) {
        if (!(type & DT_DIR)) names.emplace_back(name);
    }
    return names;
}

}  // namespace fuzz

using namespace fuzz;

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
    if (onDevice(path)) return openOnDevice(path, flags);
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return __real_open(path, flags, mode);
}

int __wrap_openat(int folder, const char* name, int flags, ...) {
    const Handle* const handle = handleOf(folder);
    if (!handle) return __real_openat(folder, name, flags, 0);
    return openOnDevice((*handle->path + "/" + name).c_str(), flags);
}

int __wrap_close(int descriptor) {
    Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_close(descriptor);
    handle->file = nullptr;
    --device().openHandles;
    return 0;
}

ssize_t __wrap_read(int descriptor, void* data, size_t size) {
    Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_read(descriptor, data, size);
    // Only the head of a file comes in small pieces: a large one would take all day.
    const bool small = handle->at > 0 && handle->at < 1024;
    FUZZ_EXPECT(size == 0 || small || !__asan_region_is_poisoned(data, size));
    const size_t most = handle->at < 1024 ? device().readBytes : SIZE_MAX;
    const size_t count = handle->file->copy(handle->at, data, std::min(size, most));
    noteWrite(data, count);
    handle->at += static_cast<int64_t>(count);
    return static_cast<ssize_t>(count);
}

ssize_t __wrap_write(int descriptor, const void* data, size_t size) {
    Handle* const handle = handleOf(descriptor);
    if (!handle) return __real_write(descriptor, data, size);
    // What the system finds to be no address at all; the sanitizer would take it for a fault.
    const auto address = reinterpret_cast<uintptr_t>(data);
    if (size > 0 && (address < 4096 || address >> 47 != 0)) return refuse(EFAULT);
    FUZZ_EXPECT(size == 0 || !__asan_region_is_poisoned(const_cast<void*>(data), size));
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
    *status = {};
    const bool regular = handle->file->type == DT_REG || handle->file->type == DT_UNKNOWN ||
                         handle->file->type == DT_LNK;
    status->st_mode = regular ? S_IFREG : static_cast<mode_t>(DTTOIF(handle->file->type));
    status->st_size = handle->file->size;
    return 0;
}

int __wrap_access(const char* path, int mode) {
    if (!onDevice(path)) return __real_access(path, mode);
    return findFile(path) ? 0 : refuse(ENOENT);
}

int __wrap_mkdir(const char* path, mode_t mode) {
    if (!onDevice(path)) return __real_mkdir(path, mode);
    if (findFile(path)) return refuse(EEXIST);
    if (const int error = whyNotMade(path)) return refuse(error);
    device().files[path].type = DT_DIR;
    return 0;
}

DIR* __wrap_opendir(const char* path) {
    if (!onDevice(path)) return __real_opendir(path);
    errno = ENOENT;
    if (!isFolder(path)) return nullptr;
    const auto free = std::find_if(gListings.begin(), gListings.end(),
                                   [](const Listing& listing) { return !listing.open; });
    FUZZ_EXPECT(free != gListings.end());
    list(path, *free);
    free->open = true;
    ++device().openHandles;
    return reinterpret_cast<DIR*>(&*free);
}

dirent* __wrap_readdir(DIR* folder) {
    Listing* const listing = listingOf(folder);
    if (!listing) return __real_readdir(folder);
    if (listing->next == listing->entries.size()) return nullptr;
    const auto& [name, type] = listing->entries[listing->next++];
    listing->entry.d_type = type;
    listing->entry.d_name[name.copy(listing->entry.d_name, sizeof(listing->entry.d_name) - 1)] = 0;
    return &listing->entry;
}

int __wrap_closedir(DIR* folder) {
    Listing* const listing = listingOf(folder);
    if (!listing) return __real_closedir(folder);
    listing->open = false;
    --device().openHandles;
    return 0;
}

// Only the library asks for this clock.
int __wrap_gettimeofday(timeval* time, void*) {
    *time = {1'700'000'000, 123'456};
    return 0;
}

}  // extern "C"
