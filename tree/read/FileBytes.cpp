#include "tree/read/FileBytes.h"

#include "tags/Problem.h"
#include "tree/read/Values.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tyktree {

namespace {

constexpr size_t kPieceBytes = size_t{128} * 1024;

class Descriptor {
public:
    explicit Descriptor(const std::string& path)
        : number_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

private:
    int number_;
};

/// Reads up to `size` bytes; returns how many came, and the reason in `error` where one stopped it.
size_t readAll(int descriptor, uint8_t* to, size_t size, int& error) {
    size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(descriptor, to + done, size - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) error = errno;
        if (count <= 0) break;
        done += static_cast<size_t>(count);
    }
    return done;
}

/// Reads the beginning of the open file.
ReadResult readBytes(const Descriptor& file, uint64_t limit, std::vector<uint8_t>& out) {
    out.clear();
    ReadResult result;
    struct stat status {};
    if (file.number() < 0 || ::fstat(file.number(), &status) != 0) {
        result.error = errno;
        // Opening a socket or a device without a driver fails; what it is says more than how.
        if (result.error == ENXIO) result.regular = false;
        return result;
    }
    result.regular = S_ISREG(status.st_mode);
    if (!result.regular) return result;
    result.size = static_cast<uint64_t>(status.st_size);
    out.resize(static_cast<size_t>(std::min(result.size, limit)));
    out.resize(readAll(file.number(), out.data(), out.size(), result.error));
    return result;
}

}  // namespace

ReadResult readFileBytes(const std::string& path, uint64_t limit, std::vector<uint8_t>& out) {
    return readBytes(Descriptor(path), limit, out);
}

ReadResult readSummedFile(const std::string& path, uint64_t limit, std::vector<uint8_t>& out,
                          uint32_t& sum) {
    const Descriptor file(path);
    ReadResult result = readBytes(file, limit, out);
    sum = checksum(out.data(), out.size());
    if (!result.ok() || result.size <= out.size()) return result;
    std::vector<uint8_t> piece(kPieceBytes);
    while (const size_t count = readAll(file.number(), piece.data(), piece.size(), result.error)) {
        sum = checksum(piece.data(), count, sum);
    }
    return result;
}

std::string reasonOf(const ReadResult& result) {
    if (!result.regular) return "not a regular file";
    return tyktags::systemReason(result.error);
}

}  // namespace tyktree
