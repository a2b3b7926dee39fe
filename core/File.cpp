#include "core/File.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr int kReading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr int kWriting = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
}  // namespace

Folder::Folder(const char* path)
    : descriptor_(::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK)) {}

Folder::~Folder() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

InputFile::InputFile(const char* path) : descriptor_(::open(path, kReading)) {
    examine();
}

InputFile::InputFile(const Folder& folder, const char* name)
    : descriptor_(::openat(folder.descriptor_, name, kReading)) {
    examine();
}

void InputFile::examine() {
    if (descriptor_ < 0) return;
    struct stat status {};
    if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) {
        size_ = status.st_size;
    } else {
        ::close(descriptor_);
        descriptor_ = -1;
    }
}

InputFile::~InputFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

size_t InputFile::read(void* data, size_t size) {
    auto* to = static_cast<unsigned char*>(data);
    size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(descriptor_, to + done, size - done);
        if (count < 0 && errno == EINTR) continue;
        failed_ = count < 0;
        if (count <= 0) break;
        done += static_cast<size_t>(count);
    }
    return done;
}

OutputFile::OutputFile(const char* path) : descriptor_(::open(path, kWriting, 0666)) {}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

void OutputFile::write(const void* data, size_t size) {
    const auto* from = static_cast<const unsigned char*>(data);
    while (size > 0 && !failed_) {
        const ssize_t count = ::write(descriptor_, from, size);
        if (count < 0 && errno == EINTR) continue;
        failed_ = count <= 0;
        if (failed_) break;
        from += count;
        size -= static_cast<size_t>(count);
    }
}
