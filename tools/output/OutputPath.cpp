#include "tools/output/OutputPath.h"

#include "tools/output/Console.h"
#include "tree/Escape.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tyksim {

namespace {

namespace fs = std::filesystem;

/// Where a path that need not be there will lie.
fs::path resolved(const std::string& path) {
    std::error_code error;
    fs::path result = fs::weakly_canonical(path, error);
    if (error) result = fs::absolute(path).lexically_normal();
    // A slash at the end would count as one more piece.
    return result.has_filename() ? result : result.parent_path();
}

bool liesIn(const fs::path& inner, const fs::path& outer) {
    auto at = inner.begin();
    for (const fs::path& piece : outer) {
        if (at == inner.end() || *at != piece) return false;
        ++at;
    }
    return true;
}

std::string shown(const std::string& path) {
    return tyktree::escaped(path);
}

std::string withoutSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

/// A name beside `path` for what is not finished; hidden, and of this process alone.
std::string templateBeside(const std::string& path) {
    const fs::path target = fs::absolute(withoutSlash(path));
    return (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
}

/// What mkstemp() and mkdtemp() leave out: the permissions that the user's mask allows.
mode_t allowed(mode_t mode) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mode & ~mask;
}

}  // namespace

void checkOutput(const std::string& target, const std::vector<std::string>& inputs, bool force) {
    if (target.empty()) throw WrongUsage("expected a path for the output, found \"\"");
    const fs::path out = resolved(target);
    for (const std::string& input : inputs) {
        const fs::path in = resolved(input);
        if (liesIn(out, in) || liesIn(in, out)) {
            throw WrongUsage(text(shown(target), ": lies in or over the input ", shown(input),
                                  ", which is never written to"));
        }
    }
    struct stat status {};
    if (!force && ::lstat(out.c_str(), &status) == 0) {
        throw WrongUsage(shown(target) + ": stands there already; --force replaces it");
    }
}

OutputFile::OutputFile(std::string path)
    : path_(std::move(path)), temporary_(templateBeside(path_)) {
    descriptor_ = ::mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) {
        throw Failure(text(shown(path_), ": cannot be made: ", systemReason(errno)));
    }
    static_cast<void>(::fchmod(descriptor_, allowed(0666)));
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void OutputFile::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            throw Failure(text(shown(path_), ": cannot be written: ", systemReason(errno)));
        }
        bytes.remove_prefix(static_cast<size_t>(count));
    }
}

void OutputFile::commit() {
    const int descriptor = std::exchange(descriptor_, -1);
    // Some file systems tell only now that there was no room.
    if (::close(descriptor) != 0 || ::rename(temporary_.c_str(), path_.c_str()) != 0) {
        throw Failure(text(shown(path_), ": cannot be written: ", systemReason(errno)));
    }
    temporary_.clear();
}

OutputFolder::OutputFolder(std::string path)
    : path_(withoutSlash(std::move(path))), temporary_(templateBeside(path_)) {
    std::error_code error;
    fs::create_directories(fs::path(temporary_).parent_path(), error);
    if (!::mkdtemp(temporary_.data())) {
        const int reason = errno;
        temporary_.clear();
        throw Failure(text(shown(path_), ": cannot be made: ", systemReason(reason)));
    }
    static_cast<void>(::chmod(temporary_.c_str(), allowed(0777)));
}

OutputFolder::~OutputFolder() {
    std::error_code error;
    if (!temporary_.empty()) fs::remove_all(temporary_, error);
}

void OutputFolder::commit() {
    std::error_code error;
    if (fs::is_symlink(path_, error) || !fs::is_directory(path_, error)) {
        fs::remove(path_, error);
    } else {
        fs::remove_all(path_, error);
    }
    if (::rename(temporary_.c_str(), path_.c_str()) != 0) {
        throw Failure(text(shown(path_), ": cannot be made: ", systemReason(errno)));
    }
    temporary_.clear();
}

}  // namespace tyksim
