// Files as the library uses them: one transfer from or to memory, without a buffer in between.
//
// Opening never waits: a FIFO that nobody serves would otherwise hold up the camera for ever.
#pragma once

#include <cstddef>
#include <cstdint>

/// A folder whose files are opened by name: the path to it is walked once, not once per file.
class Folder {
public:
    explicit Folder(const char* path);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

private:
    friend class InputFile;
    int descriptor_;
};

/// A regular file open for reading. Anything else (folder, FIFO, device) counts as a file that
/// cannot be opened: its length says nothing about what it would deliver.
class InputFile {
public:
    explicit InputFile(const char* path);

    /// The file `name` in `folder`. In a folder that could not be opened there is none.
    InputFile(const Folder& folder, const char* name);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    /// Length in bytes when it was opened; 0 when it is not open.
    int64_t size() const { return size_; }

    /// Reads up to `size` bytes from where the last read ended and returns how many came: fewer at
    /// the end of the file and after an error.
    size_t read(void* data, size_t size);

    /// Whether a read ended because of an error.
    bool failed() const { return failed_; }

private:
    void examine();

    int descriptor_;
    int64_t size_ = 0;
    bool failed_ = false;
};

/// A file open for writing, made or emptied.
class OutputFile {
public:
    explicit OutputFile(const char* path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    /// Writes `size` bytes. What the system refuses is lost without a word, and so is all that
    /// comes after it: the file is the beginning of what was to be in it.
    void write(const void* data, size_t size);

private:
    int descriptor_;
    bool failed_ = false;
};
