#include "tools/files/OutputPlace.h"

#include "tools/console/Console.h"
#include "tools/files/OutputMark.h"
#include "tree/read/Escape.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <utility>

namespace tyksim {

namespace {

using Identity = std::pair<dev_t, ino_t>;

std::string resolved(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                           &std::free);
    return real ? real.get() : "";
}

std::string parentOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return "";
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string joined(const std::string& folder, const std::string& rest) {
    return (folder == "/" ? "" : folder) + rest;
}

/// `path` without trailing parts such as "/" and "/." that do not change its meaning.
std::string withoutTail(std::string path) {
    while (path.size() > 1) {
        const bool slash = path.back() == '/';
        const bool dot = path.size() > 2 && path.compare(path.size() - 2, 2, "/.") == 0;
        if (!slash && !dot) break;
        path.pop_back();
    }
    return path;
}

/// The output's path, whose last component need not exist and may be a link.
std::string placeOf(const std::string& given) {
    const std::string path = withoutTail(given);
    const std::string name = path.substr(path.rfind('/') + 1);
    if (name.empty() || name == "." || name == "..") return physicalPath(path);
    const std::string folder = parentOf(path);
    return joined(physicalPath(folder.empty() ? "." : folder), "/" + name);
}

/// The identities of `path`, if it exists, and of the folders above it up to the root.
std::vector<Identity> upwards(std::string path) {
    std::vector<Identity> found;
    while (true) {
        struct stat status {};
        if (::lstat(path.c_str(), &status) == 0) found.emplace_back(status.st_dev, status.st_ino);
        if (path == "/") return found;
        path = parentOf(path);
    }
}

const char* wordsFor(mode_t mode) {
    if (S_ISLNK(mode)) return "a symbolic link";
    if (S_ISFIFO(mode)) return "a FIFO";
    if (S_ISSOCK(mode)) return "a socket";
    if (S_ISDIR(mode)) return "a folder";
    return S_ISREG(mode) ? "a file" : "a device";
}

[[noreturn]] void refuse(const OutputPlace& place, const std::string& why) {
    throw WrongUsage(tyktree::escaped(place.given) + ": " + why);
}

void requireKind(const OutputPlace& place, const struct stat& status, OutputKind kind) {
    const bool file = kind == OutputKind::kFile;
    if (file ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode)) return;
    struct stat target {};
    const bool stream = ::stat(place.path.c_str(), &target) == 0 && !S_ISREG(target.st_mode) &&
                        !S_ISDIR(target.st_mode);
    refuse(place, fmt::format("is {}; expected the path of a {} to make{}",
                              wordsFor(status.st_mode), file ? "file" : "folder",
                              file && stream ? ", or - for standard output" : ""));
}

void requireApart(const OutputPlace& place, bool stands, const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
        const std::string path = resolved(input);
        if (path.empty()) continue;  // reading it reports the reason
        const char* relation = nullptr;
        if (liesIn(place.path, path)) {
            relation = stands && liesIn(path, place.path) ? "is" : "lies in";
        } else if (stands && liesIn(path, place.path)) {
            relation = "holds";
        }
        if (!relation) continue;
        refuse(place, fmt::format("{} the input {}, which tyksim does not change", relation,
                                  tyktree::escaped(input)));
    }
}

bool isMountPoint(const std::string& path) {
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_INO,
                &status) == 0 &&
        (status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0) {
        return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    }
    // Older kernels do not tell; then another device than the parent's shows a mount point.
    struct stat own {};
    struct stat above {};
    return ::lstat(path.c_str(), &own) == 0 && ::lstat(parentOf(path).c_str(), &above) == 0 &&
           own.st_dev != above.st_dev;
}

void requireReplaceable(const OutputPlace& place, OutputKind kind, bool force) {
    const std::string working = resolved(".");
    if (!working.empty() && liesIn(working, place.path)) {
        refuse(place, fmt::format("{} the working folder, which an output cannot replace",
                                  liesIn(place.path, working) ? "is" : "holds"));
    }
    if (isMountPoint(place.path)) {
        refuse(place, "is a mount point, which an output cannot replace");
    }
    const std::string foreign =
        kind == OutputKind::kFile ? foreignInFile(place.path) : foreignInFolder(place.path);
    if (!foreign.empty()) {
        refuse(place, "exists already, and --force does not replace it: " + foreign);
    }
    if (!force) refuse(place, "exists already; --force replaces it");
}

}  // namespace

OutputPlace findPlace(const OutputRequest& request, OutputKind kind) {
    if (request.path.empty()) {
        throw WrongUsage("expected a path for the output, found \"\"");
    }
    if (request.path == kStandardOutput) {
        throw WrongUsage(fmt::format(
            "-: the output is a {}, which standard output cannot take; ./- has that name",
            kind == OutputKind::kFile ? "file" : "folder"));
    }
    OutputPlace place;
    place.given = request.path;
    place.path = placeOf(request.path);
    struct stat status {};
    const bool stands = ::lstat(place.path.c_str(), &status) == 0;
    if (!stands && errno != ENOENT) {
        throw Failure(fmt::format("{}: cannot be made: {}", tyktree::escaped(place.given),
                                  systemReason(errno)));
    }
    if (stands) requireKind(place, status, kind);
    requireApart(place, stands, request.inputs);
    if (stands) requireReplaceable(place, kind, request.force);
    place.replaces = stands;
    place.mode = status.st_mode & 07777;
    return place;
}

std::string physicalPath(const std::string& path) {
    std::string there = path;
    std::string rest;
    while (true) {
        const std::string real = resolved(there.empty() ? "." : there);
        if (!real.empty()) return rest.empty() ? real : joined(real, rest);
        const std::string name = there.substr(there.rfind('/') + 1);
        if (errno != ENOENT || there.empty()) {
            throw Failure(fmt::format("{}: cannot be reached: {}", tyktree::escaped(path),
                                      systemReason(errno)));
        }
        if (name == "..") {
            throw WrongUsage(fmt::format("{}: expected a folder in front of .., found none",
                                         tyktree::escaped(path)));
        }
        if (!name.empty() && name != ".") rest.insert(0, "/" + name);
        there = parentOf(there);
    }
}

bool liesIn(const std::string& path, const std::string& folder) {
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0) return false;
    const std::vector<Identity> chain = upwards(path);
    return std::find(chain.begin(), chain.end(), Identity(status.st_dev, status.st_ino)) !=
           chain.end();
}

}  // namespace tyksim
