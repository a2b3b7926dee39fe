// The folder in which the benchmark works.
#pragma once

#include <cstdint>
#include <string>

/// Throws std::runtime_error: `operation` on `path` and the reason that errno gives.
[[noreturn]] void failWithErrno(const char* operation, const std::string& path);

/// Makes one folder. Errors: std::runtime_error.
void makeFolder(const std::string& path);

/// Removes a folder with all that it holds. Errors: std::runtime_error when that is not `entries`
/// entries, the folder itself included, or when it cannot be removed.
void removeFolder(const std::string& path, uintmax_t entries);

/// Throws std::runtime_error when two folders do not hold the same files, byte for byte.
void requireSameFiles(const std::string& one, const std::string& other);

/// Writes a new text file. Errors: std::runtime_error.
void writeTextFile(const std::string& path, const std::string& text);

/// A folder of the benchmark's own; removed at the end.
class WorkFolder {
public:
    /// Makes it in `parent`. Errors: std::runtime_error.
    explicit WorkFolder(const std::string& parent);
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    const std::string& path() const { return path_; }

    /// Whether the files live in memory; on anything else the ratios are those of a device.
    bool isTmpfs() const { return isTmpfs_; }

    /// Throws std::runtime_error when fewer than `bytes` bytes are free.
    void requireRoom(int64_t bytes) const;

private:
    std::string path_;
    bool isTmpfs_;
};
