// Files as the library uses them: one transfer from or to memory, without a buffer in between.
//
// Opening does not wait: a FIFO that nobody serves would otherwise hold up the camera for ever.
// Only for a regular file that another process holds a lease on it waits, as every open does, until
// the lease is given back or the system takes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

/// Closes what it holds.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    bool isOpen() const { return number_ >= 0; }
    int number() const { return number_; }
    void close();

private:
    int number_;
};

/// A folder that is held open, so that its files are opened by name and the path to it is walked
/// once. Where fewer than 64 descriptors are left below the process's limit it is not held: another
/// thread's file needs the descriptor more. Files are then opened by their whole paths.
class Folder {
public:
    explicit Folder(std::string path);

    /// Opens `path`: by name where the folder is held and `path` lies in it, else as a whole.
    int open(const char* path, int flags) const;

private:
    const std::string path_;
    Descriptor descriptor_;
};

/// A regular file open for reading. Anything else (folder, FIFO, device) counts as a file that
/// cannot be opened: its length says nothing about what it would deliver.
class InputFile {
public:
    /// `folder`, where it is not null, is used to open the file, and not kept.
    explicit InputFile(const char* path, const Folder* folder = nullptr);

    bool isOpen() const { return descriptor_.isOpen(); }

    /// Of the open file, or -1.
    int descriptor() const { return descriptor_.number(); }

    /// Length in bytes when it was opened; 0 when it is not open.
    int64_t size() const { return size_; }

    /// Reads up to `size` bytes from where the last read ended and returns how many came: fewer at
    /// the end of the file and at an error, none after one.
    size_t read(void* data, size_t size);

    /// Whether a read ended because of an error.
    bool failed() const { return failed_; }

private:
    Descriptor descriptor_;
    int64_t size_ = 0;
    bool failed_ = false;
};

/// A file open for writing, made or emptied.
class OutputFile {
public:
    /// `folder`, where it is not null, is used to open the file, and not kept.
    explicit OutputFile(const char* path, const Folder* folder = nullptr);

    bool isOpen() const { return descriptor_.isOpen(); }

    /// Writes `size` bytes. What the system refuses is lost without a word, and so is all that
    /// comes after it: the file is the beginning of what was to be in it.
    void write(const void* data, size_t size);

private:
    Descriptor descriptor_;
    bool failed_ = false;
};
