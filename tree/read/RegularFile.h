// A regular file open for reading, and what went wrong with it.
#pragma once

#include "core/File.h"
#include "tags/Problem.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tyktree {

/// The reason in the problem of a path that is no regular file.
constexpr std::string_view kNotRegular = "not a regular file";

/// The library's InputFile with a status. One object serves one thread.
class RegularFile {
public:
    /// Opens without waiting. `folder`, where it is not null, is used to open the file, and not
    /// kept.
    explicit RegularFile(std::string path, const Folder* folder = nullptr);

    /// Whether it was opened and all reads so far worked. A problem has the path and the reason.
    const tyktags::Status& status() const { return status_; }

    /// Bytes when it was opened; 0 if it was not.
    uint64_t size() const { return static_cast<uint64_t>(file_.size()); }

    /// Reads up to `size` bytes from where the last read ended and returns how many came: fewer at
    /// the end of the file and at an error.
    size_t read(void* data, size_t size);

    /// For calls of the system; -1 if it is not open.
    int descriptor() const { return file_.descriptor(); }

private:
    void fail(int error);

    std::string path_;
    InputFile file_;
    tyktags::Status status_;
};

}  // namespace tyktree
