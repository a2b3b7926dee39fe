// File access for the library: direct transfers from or to memory, without a buffer in between.
//
// Threads: one thread at a time uses an object; several may open files through one Folder at once.
// Errors: std::bad_alloc from the constructor of Folder alone.
#pragma once

#include "core/Descriptor.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Holds a folder open, so that the system resolves the folder's path once and opens its files by
/// name. When fewer than 64 descriptors are left below the process's limit, the folder is not held,
/// because other threads need the descriptors; files are then opened by their whole paths.
class Folder {
public:
    explicit Folder(std::string path);

    /// Opens `path`: by name if the folder is held and `path` lies in it, else by the whole path.
    int open(const char* path, int flags) const;

private:
    const std::string path_;
    tykcore::Descriptor descriptor_;
};

/// A regular file open for reading. Anything else (folder, FIFO, device) counts as a file that
/// cannot be opened, because its length does not tell how much can be read from it.
class InputFile {
public:
    /// Opens the file through `folder` unless that is null; does not keep `folder`.
    explicit InputFile(const char* path, const Folder* folder = nullptr);

    bool isOpen() const { return descriptor_.isOpen(); }

    /// The open file's descriptor, or -1.
    int descriptor() const { return descriptor_.number(); }

    /// The file's length in bytes at the time of opening; 0 when it is not open.
    int64_t size() const { return size_; }

    /// Reads up to `size` bytes from where the last read ended and returns their number: fewer at
    /// the end of the file and at an error, 0 after an error.
    size_t read(void* data, size_t size);

    /// Whether a read ended because of an error.
    bool failed() const { return failed_; }

private:
    tykcore::Descriptor descriptor_;
    int64_t size_ = 0;
    bool failed_ = false;
};

/// A file open for writing. Opening creates the file or empties it.
class OutputFile {
public:
    /// Opens the file through `folder` unless that is null; does not keep `folder`.
    explicit OutputFile(const char* path, const Folder* folder = nullptr);

    bool isOpen() const { return descriptor_.isOpen(); }

    /// Writes `size` bytes. After a failed write, this and all later data are dropped without a
    /// report, so the file holds the beginning of the data.
    void write(const void* data, size_t size);

private:
    tykcore::Descriptor descriptor_;
    bool failed_ = false;
};
