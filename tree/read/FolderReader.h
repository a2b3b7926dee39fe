// Reads a folder's entries one after the other, and their types. Errors: std::bad_alloc.
#pragma once

#include "tree/read/FrameListing.h"

#include <dirent.h>
#include <memory>
#include <string>
#include <string_view>

namespace tyktree {

/// Lists one folder through one descriptor, without opening its entries. One thread at a time uses
/// an object.
class FolderReader {
public:
    explicit FolderReader(std::string path);
    ~FolderReader();
    FolderReader(const FolderReader&) = delete;
    FolderReader& operator=(const FolderReader&) = delete;

    /// Gets the next entry except "." and "..". `name` is terminated by NUL and valid until the
    /// next call; `type` is a DT_ value. Returns false at the end and after an error.
    bool next(std::string_view& name, unsigned char& type);

    /// Whether the folder was opened and next() has met no error. The problem has path and reason.
    const tyktags::Status& status() const { return status_; }

    /// Stores type, link, size and readability of the entry `name` in `out`. `type` comes from
    /// next(). A problem leaves the type unknown; so does an entry that is gone, which is no
    /// problem.
    tyktags::Status examine(const char* name, unsigned char type, FileEntry& out) const;

private:
    tyktags::Problem unlisted(int error) const;

    struct Closer {
        void operator()(DIR* folder) const { static_cast<void>(closedir(folder)); }
    };
    const std::string path_;
    std::unique_ptr<DIR, Closer> folder_;
    int descriptor_ = -1;  ///< folder_ owns it
    tyktags::Status status_;
};

/// Whether the folder at `path` contains a folder, or a link to one, whose name `wanted` accepts;
/// false if it cannot be listed. Threads: any.
bool holdsFolder(const std::string& path, bool (*wanted)(std::string_view name));

// Whether a recording makes folders of this name. Threads: any.
bool isPipeName(std::string_view name);
bool isTaskName(std::string_view name);
bool isFrameName(std::string_view name);

/// The last component of a path.
std::string_view lastName(std::string_view path);

/// The description of a type, such as "a FIFO".
const char* nameOf(EntryType type);

}  // namespace tyktree
