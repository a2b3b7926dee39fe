#include "tools/output/CloneFile.h"

#include "tools/output/Console.h"
#include "tree/Escape.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tyksim {

namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }
    bool close() {
        const int closed = number_;
        number_ = -1;
        return ::close(closed) == 0;
    }

private:
    int number_;
};

[[noreturn]] void fail(const std::string& path, const char* what, int error) {
    throw Failure(text(tyktree::escaped(path), ": cannot be ", what, ": ", systemReason(error)));
}

int make(const std::string& path) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

bool writeAll(int descriptor, const char* from, size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(descriptor, from, size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        from += count;
        size -= static_cast<size_t>(count);
    }
    return true;
}

/// Copies to the end of `from`: in the kernel where it can, else through a buffer.
void transfer(int from, const std::string& source, int to, const std::string& target) {
    constexpr size_t kPiece = size_t{64} << 20;
    while (true) {
        const ssize_t count = ::copy_file_range(from, nullptr, to, nullptr, kPiece, 0);
        if (count == 0) return;
        if (count > 0 || errno == EINTR) continue;
        if (errno == ENOSPC || errno == EDQUOT || errno == EFBIG) fail(target, "written", errno);
        break;
    }
    thread_local std::array<char, size_t{256} * 1024> buffer;
    while (true) {
        const ssize_t count = ::read(from, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(source, "read", errno);
        if (count == 0) return;
        if (!writeAll(to, buffer.data(), static_cast<size_t>(count))) {
            fail(target, "written", errno);
        }
    }
}

}  // namespace

void cloneFile(const std::string& source, const std::string& target) {
    const Descriptor from(::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (from.number() < 0 || ::fstat(from.number(), &status) != 0) fail(source, "read", errno);
    if (!S_ISREG(status.st_mode)) fail(source, "read", EINVAL);
    Descriptor to(make(target));
    if (to.number() < 0) fail(target, "made", errno);
    if (::ioctl(to.number(), FICLONE, from.number()) != 0) {
        transfer(from.number(), source, to.number(), target);
    }
    if (!to.close()) fail(target, "written", errno);
}

void writeNewFile(const std::string& path, std::string_view bytes) {
    Descriptor file(make(path));
    if (file.number() < 0) fail(path, "made", errno);
    if (!writeAll(file.number(), bytes.data(), bytes.size()) || !file.close()) {
        fail(path, "written", errno);
    }
}

}  // namespace tyksim
