#include "tools/files/InputStream.h"

#include "tools/console/Console.h"
#include "tools/console/Failures.h"
#include "tools/console/Interruption.h"
#include "tools/console/Units.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tyksim {

namespace {

constexpr size_t kAheadBytes = size_t{64} * 1024;

/// Waits until the descriptor has bytes, is at its end, or has failed. Returns false when the run
/// is interrupted. Each wait is short, because a signal may arrive just before it.
bool waitForInput(int descriptor) {
    constexpr int kMilliseconds = 200;
    while (interruption() == 0) {
        pollfd waited{descriptor, POLLIN, 0};
        const int ready = ::poll(&waited, 1, kMilliseconds);
        if (ready > 0 || (ready < 0 && errno != EINTR)) return true;
    }
    return false;
}

}  // namespace

std::string inputName(const std::string& path) {
    return path == kStandardInput ? "standard input" : path;
}

InputStream::InputStream(const std::string& path) : name_(inputName(path)) {
    if (path != kStandardInput) {
        opened_ =
            tykcore::Descriptor(tykcore::openNow(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
        if (!opened_.isOpen()) fail({path, "", "", "cannot be opened: " + systemReason(errno)});
        descriptor_ = opened_.number();
    }
    // holdStandardDescriptors() opens such a descriptor in place of a closed one.
    if ((::fcntl(descriptor_, F_GETFL) & O_PATH) != 0) fail({name_, "", "", "is closed"});
    struct stat status {};
    if (::fstat(descriptor_, &status) == 0 && S_ISDIR(status.st_mode)) {
        fail({name_, "a file, a FIFO or standard input", "a folder"});
    }
    if (::isatty(descriptor_) == 1) {
        throw WrongUsage(fmt::format("{}: expected a file or a pipe, found a terminal", name_));
    }
}

size_t InputStream::receive(uint8_t* out, size_t size) {
    while (status_.ok() && waitForInput(descriptor_)) {
        const ssize_t count = ::read(descriptor_, out, size);
        if (count >= 0) return static_cast<size_t>(count);
        if (errno == EINTR || errno == EAGAIN) continue;
        status_ = tyktags::Problem{name_, "", "", "cannot be read: " + systemReason(errno)};
    }
    return 0;
}

size_t InputStream::read(uint8_t* out, size_t size) {
    size_t done = std::min(size, ahead_.size() - taken_);
    std::copy_n(ahead_.begin() + static_cast<ptrdiff_t>(taken_), done, out);
    taken_ += done;
    while (done < size) {
        const size_t count = receive(out + done, size - done);
        if (count == 0) break;
        done += count;
    }
    return done;
}

std::string InputStream::readLine(size_t limit, bool& complete) {
    std::string line;
    complete = false;
    while (line.size() < limit) {
        if (taken_ == ahead_.size()) {
            ahead_.resize(kAheadBytes);
            ahead_.resize(receive(ahead_.data(), ahead_.size()));
            taken_ = 0;
            if (ahead_.empty()) break;
        }
        const uint8_t* const from = ahead_.data() + taken_;
        const size_t most = std::min(ahead_.size() - taken_, limit - line.size());
        const void* const newline = std::memchr(from, '\n', most);
        complete = newline != nullptr;
        const size_t count =
            complete ? static_cast<size_t>(static_cast<const uint8_t*>(newline) - from) : most;
        line.append(reinterpret_cast<const char*>(from), count);
        taken_ += count + (complete ? 1 : 0);
        if (complete) break;
    }
    return line;
}

std::string readWholeInput(const std::string& path, size_t maxBytes) {
    InputStream input(path);
    std::string bytes;
    size_t done = 0;
    do {
        bytes.resize(done + std::max(kAheadBytes, done));
        done += input.read(reinterpret_cast<uint8_t*>(bytes.data()) + done, bytes.size() - done);
    } while (done == bytes.size() && done <= maxBytes);
    throwIfInterrupted();
    orFail(input.status());
    if (done > maxBytes) {
        fail({input.name(), fmt::format("at most {}", humanBytes(maxBytes)), "more"});
    }
    bytes.resize(done);
    return bytes;
}

}  // namespace tyksim
