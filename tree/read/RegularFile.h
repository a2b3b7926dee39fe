// A regular file open for reading, with a status. Errors: std::bad_alloc.
#pragma once

#include "core/File.h"
#include "tags/Problem.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tyktree {

/// The reason in the problem of a path that is not a regular file.
constexpr std::string_view kNotRegular = "not a regular file";

/// The library's InputFile with a status. One thread at a time uses an object.
class RegularFile {
public:
    /// Opens the file without waiting, through `folder` unless it is null; `folder` is not kept.
    explicit RegularFile(std::string path, const Folder* folder = nullptr);

    /// Whether the file was opened and all reads so far succeeded. A problem has the path and the
    /// reason.
    const tyktags::Status& status() const { return status_; }

    /// The file's length in bytes at the time of opening; 0 if it is not open.
    uint64_t size() const { return static_cast<uint64_t>(file_.size()); }

    /// Reads up to `size` bytes from where the last read ended and returns their number: fewer at
    /// the end of the file and at an error.
    size_t read(void* data, size_t size);

    /// The open file's descriptor, or -1.
    int descriptor() const { return file_.descriptor(); }

private:
    void fail(int error);

    std::string path_;
    InputFile file_;
    tyktags::Status status_;
};

}  // namespace tyktree
