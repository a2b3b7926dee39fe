#include "tools/files/Unfinished.h"

#include "core/Descriptor.h"
#include "tags/Words.h"
#include "tools/console/Console.h"
#include "tools/files/OutputMark.h"
#include "tree/read/Escape.h"
#include "tree/read/FolderReader.h"

#include <climits>

#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <mutex>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace tyksim {

namespace {

constexpr const char* kPlaceholder = "XXXXXX";  // required by mkdtemp()

constexpr std::string_view kAside = ".old";

struct Shown {
    std::mutex mutex;
    std::string folder;
    std::string place;
};

Shown& shown() {
    static Shown one;
    return one;
}

/// The folder of `path`, and the start of hidden names beside it. A long name is cut between two
/// characters to leave room for the end.
std::pair<std::string, std::string> startBeside(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string end = ".tyksim-";
    std::string name = path.substr(slash + 1);
    const size_t room = NAME_MAX - end.size() - std::string(kPlaceholder).size() - 1;
    if (name.size() > room) {
        size_t cut = room;
        while (cut > 0 && tyktags::continuesCharacter(name[cut])) --cut;
        name.resize(cut);
    }
    return {path.substr(0, slash + 1), "." + name + end};
}

/// Whether a name ends like those of unfinishedTemplate() and asideOf().
bool isUnfinishedEnd(std::string_view end) {
    const size_t size = std::string_view(kPlaceholder).size();
    return end.size() == size || (end.size() > size && end.substr(size) == kAside);
}

/// Whether it is a folder, and not a link to one.
bool isRealFolder(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// Whether no process holds its lock.
bool isLeft(const std::string& path) {
    const tykcore::Descriptor file(
        ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return file.isOpen() && ::flock(file.number(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

std::string unfinishedTemplate(const std::string& path) {
    const auto [folder, start] = startBeside(path);
    return folder + start + kPlaceholder;
}

std::string asideOf(const std::string& unfinished) {
    return unfinished + std::string(kAside);
}

void lockUnfinished(int descriptor) {
    static_cast<void>(::flock(descriptor, LOCK_EX | LOCK_NB));
}

void noteLeftovers(const OutputPlace& place) {
    const auto [folder, start] = startBeside(place.path);
    tyktree::FolderReader reader(folder);
    std::string_view name;
    unsigned char type = 0;
    while (reader.next(name, type)) {
        if (name.substr(0, start.size()) != start) continue;
        if (!isUnfinishedEnd(name.substr(start.size()))) continue;
        const std::string path = folder + std::string(name);
        if (!isLeft(path)) continue;
        const bool whole = !place.replaces && isRealFolder(path) && hasOutputList(path);
        const bool old = path.substr(path.size() - kAside.size()) == kAside;
        const std::string what =
            !whole ? "left by a killed run; to remove it: rm -r"
            : old
                ? fmt::format("was at {} until a run was killed; to restore it: mv -T", place.given)
                : fmt::format("complete output for {} of a killed run; to use it: mv -T",
                              place.given);
        const std::string target = whole ? " " + shellWord(place.path) : "";
        printNote(fmt::format("{}: {} {}{}", path, what, shellWord(path), target));
    }
}

void removeUnfinished(const std::string& path) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (error) printNote(fmt::format("{}: cannot be removed: {}", path, error.message()));
}

void showAs(const std::string& folder, const std::string& place) {
    const std::lock_guard lock(shown().mutex);
    shown().folder = folder + "/";
    shown().place = place + "/";
}

std::string shownPath(const std::string& path) {
    const std::lock_guard lock(shown().mutex);
    const std::string& folder = shown().folder;
    const bool below = !folder.empty() && path.compare(0, folder.size(), folder) == 0;
    return tyktree::escaped(below ? shown().place + path.substr(folder.size()) : path);
}

}  // namespace tyksim
