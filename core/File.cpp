#include "core/File.h"

#include <cerrno>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NOCTTY;
constexpr int kWriting = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY;
constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

bool isRegular(int descriptor, struct stat& status) {
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

int openFile(const char* path, const Folder* folder, int flags) {
    return folder ? folder->open(path, flags) : tykcore::openNow(path, flags);
}

/// Whether the process can spare `descriptor`. The system hands out the lowest free number, so the
/// numbers above it are free or nearly so.
bool isSpared(int descriptor) {
    constexpr rlim_t kLeft = 64;
    rlimit limit{};
    return ::getrlimit(RLIMIT_NOFILE, &limit) == 0 &&
           limit.rlim_cur >= static_cast<rlim_t>(descriptor) + kLeft;
}

}  // namespace

Folder::Folder(std::string path)
    : path_(std::move(path)), descriptor_(tykcore::openNow(path_.c_str(), kFolder)) {
    if (descriptor_.isOpen() && !isSpared(descriptor_.number())) descriptor_.close();
}

int Folder::open(const char* path, int flags) const {
    const size_t length = path_.size();
    const bool isInside = std::strncmp(path, path_.c_str(), length) == 0 && path[length] == '/';
    if (!descriptor_.isOpen() || !isInside) return tykcore::openNow(path, flags);
    return tykcore::openNow(path + length + 1, flags, descriptor_.number());
}

InputFile::InputFile(const char* path, const Folder* folder)
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

OutputFile::OutputFile(const char* path, const Folder* folder)
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
