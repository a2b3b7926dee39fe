#include "tree/read/FolderReader.h"

#include "tree/read/ExactNames.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tyktree {

namespace {

EntryType typeOf(mode_t mode) {
    if (S_ISREG(mode)) return EntryType::kRegular;
    if (S_ISDIR(mode)) return EntryType::kFolder;
    if (S_ISFIFO(mode)) return EntryType::kFifo;
    if (S_ISSOCK(mode)) return EntryType::kSocket;
    return EntryType::kDevice;
}

/// Whether the process may read the file. For most files the mode tells, without a system call.
bool mayRead(int folder, const char* name, const struct stat& status) {
    static const uid_t user = geteuid();
    constexpr mode_t kAll = S_IRUSR | S_IRGRP | S_IROTH;
    if ((status.st_mode & kAll) == kAll) return true;
    if (user == status.st_uid && (status.st_mode & S_IRUSR) != 0) return true;
    return ::faccessat(folder, name, R_OK, AT_EACCESS) == 0;
}

}  // namespace

FolderReader::FolderReader(std::string path)
    : path_(std::move(path)),
      folder_(::opendir(path_.c_str())),
      descriptor_(folder_ ? ::dirfd(folder_.get()) : -1) {
    if (!folder_) status_ = unlisted(errno);
}

FolderReader::~FolderReader() = default;

tyktags::Problem FolderReader::unlisted(int error) const {
    return {path_, "a folder that can be listed", "none", tyktags::systemReason(error)};
}

bool FolderReader::next(std::string_view& name, unsigned char& type) {
    while (folder_) {
        errno = 0;
        const dirent* const entry = ::readdir(folder_.get());
        if (entry == nullptr) {
            if (errno != 0) status_ = unlisted(errno);
            return false;
        }
        name = entry->d_name;
        type = entry->d_type;
        if (name != "." && name != "..") return true;
    }
    return false;
}

tyktags::Status FolderReader::examine(const char* name, unsigned char type, FileEntry& out) const {
    struct stat status {};
    out.typeKnown = type != DT_UNKNOWN;
    out.link = type == DT_LNK;
    out.type = EntryType::kUnknown;
    if (type == DT_DIR) {
        out.type = EntryType::kFolder;
        return {};
    }
    if (type == DT_UNKNOWN && ::fstatat(descriptor_, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        out.link = S_ISLNK(status.st_mode);
    }
    if (::fstatat(descriptor_, name, &status, 0) != 0) {
        if (!out.link && errno == ENOENT) return {};
        if (!out.link) return unlisted(errno);
        out.type = EntryType::kBrokenLink;
        return {};
    }
    out.type = typeOf(status.st_mode);
    if (!out.regular()) return {};
    out.bytes = static_cast<uint64_t>(status.st_size);
    out.readable = mayRead(descriptor_, name, status);
    return {};
}

bool holdsFolder(const std::string& path, bool (*wanted)(std::string_view name)) {
    FolderReader folder(path);
    std::string_view name;
    unsigned char type = DT_UNKNOWN;
    while (folder.next(name, type)) {
        FileEntry entry;
        if (wanted(name)) static_cast<void>(folder.examine(name.data(), type, entry));
        if (entry.type == EntryType::kFolder) return true;
    }
    return false;
}

bool isPipeName(std::string_view name) {
    int pipe = 0;
    return readPipeFolderName(name, pipe);
}

bool isTaskName(std::string_view name) {
    TaskFolderName parsed{};
    return readTaskFolderName(name, parsed);
}

bool isFrameName(std::string_view name) {
    FrameFolderName parsed{};
    return readFrameFolderName(name, parsed);
}

std::string_view lastName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

const char* nameOf(EntryType type) {
    switch (type) {
        case EntryType::kRegular:
            return "a file";
        case EntryType::kFolder:
            return "a folder";
        case EntryType::kFifo:
            return "a FIFO";
        case EntryType::kSocket:
            return "a socket";
        case EntryType::kDevice:
            return "a device";
        case EntryType::kBrokenLink:
            return "a symbolic link that leads nowhere";
        case EntryType::kUnknown:
            break;
    }
    return "an entry that cannot be examined";
}

}  // namespace tyktree
