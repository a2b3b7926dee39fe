// A folder's entries, one after the other, and what the system says of each.
#pragma once

#include "tree/read/FrameListing.h"

#include <dirent.h>
#include <memory>
#include <string>
#include <string_view>

namespace tyktree {

/// Lists one folder through one descriptor. Opens nothing that is in it.
class FolderReader {
public:
    explicit FolderReader(const char* path);
    ~FolderReader();
    FolderReader(const FolderReader&) = delete;
    FolderReader& operator=(const FolderReader&) = delete;

    /// The next entry but "." and "..", terminated by NUL and valid until the next call; false at
    /// the end and after an error. `type` is a DT_ value.
    bool next(std::string_view& name, unsigned char& type);

    /// errno of what went wrong, else 0.
    int error() const { return error_; }

    /// What the entry `name` is: type, link, size, and whether it may be read. `type` is what
    /// next() gave. Returns 0, or the errno for which the type stays unknown: ENOENT of an entry
    /// that is gone by now.
    int examine(const char* name, unsigned char type, FileEntry& out) const;

private:
    struct Closer {
        void operator()(DIR* folder) const { static_cast<void>(closedir(folder)); }
    };
    std::unique_ptr<DIR, Closer> folder_;
    int descriptor_ = -1;
    int error_ = 0;
};

/// Whether the folder at `path` holds a folder, or a link to one, whose name `wanted` takes; false
/// where it cannot be listed.
bool holdsFolder(const std::string& path, bool (*wanted)(std::string_view name));

// Whether a name is one that a recording gives.
bool isPipeName(std::string_view name);
bool isTaskName(std::string_view name);
bool isFrameName(std::string_view name);

/// The name that a path ends in.
std::string_view lastName(std::string_view path);

/// The words for a type: "a FIFO".
const char* nameOf(EntryType type);

}  // namespace tyktree
