#include "tools/files/CloneFile.h"

#include "tools/console/Console.h"
#include "tools/files/Unfinished.h"
#include "tree/read/Escape.h"
#include "tree/read/RegularFile.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

[[noreturn]] void fail(const std::string& path, const char* what, int error) {
    throw Failure(fmt::format("{}: cannot be {}: {}", shownPath(path), what, systemReason(error)));
}

[[noreturn]] void failToRead(const std::string& source, const std::string& reason) {
    throw SourceUnreadable(fmt::format("{}: cannot be read: {}", tyktree::escaped(source), reason));
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

/// Copies to the end of `from`: in the kernel if possible, else through a buffer.
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
        if (count < 0) {
            const int error = errno;
            ::unlink(target.c_str());
            failToRead(source, systemReason(error));
        }
        if (count == 0) return;
        if (!writeAll(to, buffer.data(), static_cast<size_t>(count))) {
            fail(target, "written", errno);
        }
    }
}

}  // namespace

void cloneFile(const std::string& source, const std::string& target) {
    const tyktree::RegularFile from(source);
    if (!from.status().ok()) failToRead(source, from.status().problem().reason);
    NewFile to(target);
    if (::ioctl(to.descriptor(), FICLONE, from.descriptor()) != 0) {
        transfer(from.descriptor(), source, to.descriptor(), target);
    }
    to.close();
}

NewFile::NewFile(std::string path)
    : path_(std::move(path)),
      descriptor_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (!descriptor_.isOpen()) fail(path_, "made", errno);
}

void NewFile::write(std::string_view bytes) {
    if (!writeAll(descriptor(), bytes.data(), bytes.size())) fail(path_, "written", errno);
}

void NewFile::close() {
    if (::close(descriptor_.release()) != 0) fail(path_, "written", errno);
}

void writeNewFile(const std::string& path, std::string_view bytes) {
    NewFile file(path);
    file.write(bytes);
    file.close();
}

}  // namespace tyksim
