// Files as the library uses them: one transfer from or to memory, without a buffer in between.
//
// Opening never waits: a FIFO that nobody serves would otherwise hold up the camera for ever.
#pragma once

#include <cstddef>
#include <cstdint>

/// A regular file open for reading. Anything else (folder, FIFO, device) counts as a file that
/// cannot be opened: its length says nothing about what it would deliver.
class InputFile {
public:
    explicit InputFile(const char* path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    /// Length in bytes when it was opened; 0 when it is not open.
    int64_t size() const { return size_; }

    /// Reads up to `size` bytes from where the last read ended and returns how many came: fewer at
    /// the end of the file and after an error.
    size_t read(void* data, size_t size);

private:
    int descriptor_;
    int64_t size_ = 0;
};

/// A file open for writing, made or emptied.
class OutputFile {
public:
    explicit OutputFile(const char* path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    /// Writes `size` bytes; what the system refuses is lost without a word.
    void write(const void* data, size_t size);

private:
    int descriptor_;
};
