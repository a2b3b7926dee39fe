#include "tags/TableText.h"

#include "core/Descriptor.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tyktags {

namespace {

constexpr size_t kMaxFileBytes = size_t{16} << 20;
constexpr int kPipePatience = 10000;  // milliseconds

// A file open for reading. Opening does not wait for the writer of a pipe.
class Source {
public:
    explicit Source(const std::string& path)
        : descriptor_(tykcore::openNow(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {}

    // Checks the kind of the file.
    Status examine(TableSource allowed) const;
    // Appends a piece to `text`. Sets `done` at the end of the file.
    Status readMore(std::string& text, bool& done) const;

private:
    tykcore::Descriptor descriptor_;
};

Status Source::examine(TableSource allowed) const {
    struct stat status {};
    if (!descriptor_.isOpen() || ::fstat(descriptor_.number(), &status) != 0) {
        return flaw("a tag table", "no readable file", systemReason(errno));
    }
    if (S_ISREG(status.st_mode)) return {};
    if (S_ISDIR(status.st_mode)) return flaw("a tag table", systemReason(EISDIR));
    const bool stream = S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode);
    if (stream && allowed == TableSource::fileOrPipe) return {};
    return flaw("a tag table", "no regular file");
}

Status Source::readMore(std::string& text, bool& done) const {
    pollfd waiting{descriptor_.number(), POLLIN, 0};
    if (::poll(&waiting, 1, kPipePatience) == 0) {
        return flaw("a tag table",
                    "a pipe without data for " + std::to_string(kPipePatience / 1000) + " seconds");
    }
    std::array<char, 16384> part{};
    const ssize_t count = ::read(descriptor_.number(), part.data(), part.size());
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
        return flaw("a tag table", "no bytes", systemReason(errno));
    }
    done = count == 0;
    if (count > 0) text.append(part.data(), static_cast<size_t>(count));
    if (text.size() <= kMaxFileBytes) return {};
    return flaw("a tag table of at most " + std::to_string(kMaxFileBytes) + " bytes",
                "a longer file");
}

struct FileCloser {
    // Called only after a failed write, which has been reported.
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Opens a new or emptied file. Opening does not wait for the reader of a FIFO; writing does.
File openToWrite(const std::string& path) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
    tykcore::Descriptor opened(tykcore::openNow(path.c_str(), kFlags | O_NOCTTY));
    if (!opened.isOpen()) return nullptr;
    static_cast<void>(::fcntl(opened.number(), F_SETFL, 0));  // ends O_NONBLOCK
    File file(::fdopen(opened.number(), "wb"));
    if (file) static_cast<void>(opened.release());
    return file;
}

}  // namespace

Status readTableText(const std::string& path, TableSource allowed, std::string& text) {
    const Source source(path);
    Status status = source.examine(allowed);
    for (bool done = false; status.ok() && !done;) status = source.readMore(text, done);
    return status;
}

// fclose() reports errors of buffered writes, so its result counts too.
Status writeTableText(const std::string& path, const std::string& text) {
    File file = openToWrite(path);
    if (!file) return flaw("a file to write", "none", systemReason(errno));
    if (std::fwrite(text.data(), 1, text.size(), file.get()) != text.size() ||
        std::fclose(file.release()) != 0) {
        return flaw("room for " + std::to_string(text.size()) + " bytes", "none",
                    systemReason(errno));
    }
    return {};
}

}  // namespace tyktags
