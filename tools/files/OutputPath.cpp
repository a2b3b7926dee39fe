#include "tools/files/OutputPath.h"

#include "tools/console/Console.h"
#include "tools/console/Interruption.h"
#include "tools/files/Files.h"
#include "tools/files/OutputMark.h"
#include "tools/files/Unfinished.h"
#include "tree/read/Escape.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <zlib.h>

namespace tyksim {

namespace {

std::string shown(const OutputPlace& place) {
    return tyktree::escaped(place.given);
}

[[noreturn]] void fail(const OutputPlace& place, const char* what, int error) {
    throw Failure(fmt::format("{}: cannot be {}: {}", shown(place), what, systemReason(error)));
}

/// The permissions that the user's mask allows, which mkstemp() and mkdtemp() do not give.
mode_t allowed(mode_t mode) {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mode & ~mask;
}

int exchange(const std::string& a, const std::string& b) {
    return ::renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE);
}

bool stands(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

/// Gives the complete output at `made` its name, which must be free.
void takeFreePlace(const std::string& made, const OutputPlace& place) {
    const char* const path = place.path.c_str();
    if (::renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, path, RENAME_NOREPLACE) == 0) return;
    // Not every file system supports a rename that does not replace.
    const bool refused = errno == EEXIST || stands(place.path);
    if (!refused && ::rename(made.c_str(), path) == 0) return;
    fail(place, "made", refused ? EEXIST : errno);
}

/// Replaces an earlier output by the new one.
class Replacement {
public:
    Replacement(std::string made, const OutputPlace& place, OutputKind kind)
        : made_(std::move(made)), place_(place), kind_(kind) {}

    /// Puts the new output in its place. Throws Failure and leaves the old output there when that
    /// fails.
    void run() {
        if (exchange(made_, place_.path) == 0) {
            old_ = made_;
            const std::string foreign = foreignIn(old_);
            if (!foreign.empty()) {
                if (exchange(made_, place_.path) == 0) old_.clear();
                refuse(foreign);
            }
        } else if (kind_ == OutputKind::kFile) {
            moveFile();
        } else {
            moveFolder();
        }
    }

    /// The path of the old output; "" if it is gone.
    const std::string& old() const { return old_; }

private:
    std::string foreignIn(const std::string& path) const {
        return kind_ == OutputKind::kFile ? foreignInFile(path) : foreignInFolder(path);
    }

    [[noreturn]] void refuse(const std::string& foreign) const {
        throw Failure(fmt::format("{}: not replaced, because it changed meanwhile: {}",
                                  shown(place_), foreign));
    }

    void moveFile() const {
        const std::string foreign = foreignIn(place_.path);
        if (!foreign.empty()) refuse(foreign);
        if (::rename(made_.c_str(), place_.path.c_str()) != 0) fail(place_, "made", errno);
    }

    /// Renames the old folder first, because the file system cannot exchange two folders.
    void moveFolder() {
        old_ = asideOf(made_);
        if (::rename(place_.path.c_str(), old_.c_str()) != 0) {
            const int error = errno;
            old_.clear();
            fail(place_, "replaced", error);
        }
        const std::string foreign = foreignIn(old_);
        if (foreign.empty() && ::rename(made_.c_str(), place_.path.c_str()) == 0) return;
        const int error = errno;
        if (::rename(old_.c_str(), place_.path.c_str()) == 0) old_.clear();
        if (!foreign.empty()) refuse(foreign);
        fail(place_, "made", error);
    }

    const std::string made_;
    const OutputPlace& place_;
    const OutputKind kind_;
    std::string old_;
};

/// Gives the complete output at `made` its name and clears `made`. If this throws, both are
/// unchanged, unless a move cannot be undone.
void takePlace(std::string& made, const OutputPlace& place, OutputKind kind) {
    if (!stands(place.path)) {
        takeFreePlace(made, place);
        made.clear();
        return;
    }
    if (!place.replaces) fail(place, "made", EEXIST);
    Replacement replacement(made, place, kind);
    try {
        replacement.run();
    } catch (...) {
        if (!replacement.old().empty()) {
            printNote(fmt::format("{}: was at {}, and cannot be moved back", replacement.old(),
                                  place.path));
            if (replacement.old() == made) made.clear();
        }
        throw;
    }
    made.clear();
    if (!replacement.old().empty()) removeUnfinished(replacement.old());
}

}  // namespace

ResultFile::ResultFile(const OutputRequest& request, Ending ending) : ending_(ending) {
    if (request.path != kStandardOutput) {
        place_ = findPlace(request, OutputKind::kFile);
        make();
        return;
    }
    if (::isatty(STDOUT_FILENO) != 0) {
        throw WrongUsage("-: expected a pipe or a file as standard output, found a terminal");
    }
    place_.given = "standard output";
}

ResultFile::ResultFile(OutputPlace place) : place_(std::move(place)), anything_(true) {
    make();
}

ResultFile ResultFile::replacing(const std::string& path) {
    OutputPlace place;
    place.given = path;
    place.path = path;
    return ResultFile(std::move(place));
}

void ResultFile::make() {
    noteLeftovers(place_);
    temporary_ = unfinishedTemplate(place_.path);
    file_ = tykcore::Descriptor(::mkostemp(temporary_.data(), O_CLOEXEC));
    if (!file_.isOpen()) {
        const int error = errno;
        temporary_.clear();
        fail(place_, "made", error);
    }
    lockUnfinished(file_.number());
    static_cast<void>(::fchmod(file_.number(), place_.replaces ? place_.mode : allowed(0666)));
}

ResultFile::~ResultFile() {
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void ResultFile::write(std::string_view bytes) {
    if (ending_ == Ending::kSeal) {
        checksum_ = static_cast<uint32_t>(
            crc32_z(checksum_, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
    }
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor(), bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<size_t>(count));
        } else if (errno == EPIPE) {
            throw Interrupted(SIGPIPE);
        } else if (errno != EINTR) {
            fail(place_, "written", errno);
        } else if (isStandardOutput()) {
            throwIfInterrupted();
        }
    }
}

void ResultFile::commit() {
    if (ending_ == Ending::kSeal) write(sealOf(checksum_));
    if (isStandardOutput()) return;
    // Some file systems report a lack of space only now.
    if (::close(file_.release()) != 0) fail(place_, "written", errno);
    if (!anything_) {
        takePlace(temporary_, place_, OutputKind::kFile);
    } else if (::rename(temporary_.c_str(), place_.path.c_str()) == 0) {
        temporary_.clear();
    } else {
        fail(place_, "made", errno);
    }
}

OutputFolder::OutputFolder(const OutputRequest& request)
    : place_(findPlace(request, OutputKind::kFolder)), maker_(::getpid()) {
    noteLeftovers(place_);
    try {
        makeAbove();
        temporary_ = unfinishedTemplate(place_.path);
        if (!::mkdtemp(temporary_.data())) {
            const int error = errno;
            temporary_.clear();
            fail(place_, "made", error);
        }
    } catch (...) {
        removeAbove();
        throw;
    }
    lock_ = tykcore::Descriptor(::open(temporary_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    lockUnfinished(lock_.number());
    mode_ = place_.replaces ? place_.mode : allowed(0777);
    static_cast<void>(::chmod(temporary_.c_str(), mode_ | S_IRWXU));
    showAs(temporary_, place_.given);
}

void OutputFolder::makeAbove() {
    const std::string folder = place_.path.substr(0, place_.path.rfind('/'));
    for (size_t end = 1; end != std::string::npos && end < folder.size();) {
        end = folder.find('/', end + 1);
        const std::string above = folder.substr(0, end);
        if (::mkdir(above.c_str(), 0777) == 0) {
            madeAbove_.push_back(above);
        } else if (!isFolder(above)) {
            fail(place_, "made", errno);
        }
    }
}

void OutputFolder::removeAbove() {
    for (; !madeAbove_.empty(); madeAbove_.pop_back()) ::rmdir(madeAbove_.back().c_str());
}

OutputFolder::~OutputFolder() {
    if (!isOwn()) return;
    if (!temporary_.empty()) removeUnfinished(temporary_);
    removeAbove();
}

bool OutputFolder::isOwn() const {
    return maker_ == ::getpid();
}

void OutputFolder::commit() {
    writeOutputList(temporary_);
    takePlace(temporary_, place_, OutputKind::kFolder);
    if ((mode_ & S_IRWXU) != S_IRWXU) static_cast<void>(::chmod(place_.path.c_str(), mode_));
    madeAbove_.clear();
}

}  // namespace tyksim
