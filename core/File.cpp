#include "core/File.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NOCTTY;
constexpr int kWriting = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY;
constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;

bool isRegular(int descriptor, struct stat& status) {
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// Opens by `open(flags)` without waiting, but for a lease on a regular file: that file is held by
/// a descriptor that opens nothing, and opened through it.
template <typename Open>
int openNow(Open open, int flags) {
    const int descriptor = open(flags | O_NONBLOCK);
    if (descriptor >= 0 || errno != EWOULDBLOCK) return descriptor;
    const Descriptor leased(open(O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!leased.isOpen() || !isRegular(leased.number(), status)) return -1;
    char path[40];
    static_cast<void>(std::snprintf(path, sizeof(path), "/proc/self/fd/%d", leased.number()));
    int opened = -1;
    do {
        opened = ::open(path, flags, 0666);
    } while (opened < 0 && errno == EINTR);
    return opened;
}

int openWhole(const char* path, int flags) {
    return openNow([path](int how) { return ::open(path, how, 0666); }, flags);
}

int openFile(const char* path, Folder* folder, int flags) {
    return folder ? folder->open(path, flags) : openWhole(path, flags);
}

}  // namespace

void Descriptor::close() {
    if (number_ >= 0) ::close(number_);
    number_ = -1;
}

int Folder::open(const char* path, int flags) {
    const size_t length = path_.size();
    if (std::strncmp(path, path_.c_str(), length) != 0 || path[length] != '/') {
        return openWhole(path, flags);
    }
    if (!descriptor_.isOpen()) descriptor_ = Descriptor(::open(path_.c_str(), kFolder));
    if (descriptor_.isOpen()) {
        const auto inFolder = [this, name = path + length + 1](int how) {
            return ::openat(descriptor_.number(), name, how, 0666);
        };
        const int file = openNow(inFolder, flags);
        if (file >= 0 || (errno != EMFILE && errno != ENFILE)) return file;
        // The file needs the descriptor more than the folder does.
        descriptor_.close();
    }
    return openWhole(path, flags);
}

InputFile::InputFile(const char* path, Folder* folder)
    : descriptor_(openFile(path, folder, kReading)) {
    struct stat status {};
    if (!isOpen()) return;
    if (isRegular(descriptor_.number(), status)) {
        size_ = status.st_size;
    } else {
        descriptor_.close();
    }
}

size_t InputFile::read(void* data, size_t size) {
    auto* to = static_cast<unsigned char*>(data);
    size_t done = 0;
    while (done < size && !failed_) {
        const ssize_t count = ::read(descriptor_.number(), to + done, size - done);
        if (count < 0 && errno == EINTR) continue;
        failed_ = count < 0;
        if (count <= 0) break;
        done += static_cast<size_t>(count);
    }
    return done;
}

OutputFile::OutputFile(const char* path, Folder* folder)
    : descriptor_(openFile(path, folder, kWriting)) {}

void OutputFile::write(const void* data, size_t size) {
    const auto* from = static_cast<const unsigned char*>(data);
    while (size > 0 && !failed_) {
        const ssize_t count = ::write(descriptor_.number(), from, size);
        if (count < 0 && errno == EINTR) continue;
        failed_ = count <= 0;
        if (failed_) break;
        from += count;
        size -= static_cast<size_t>(count);
    }
}
