// The folders of the benchmark. Errors of all operations: std::runtime_error.
#pragma once

#include <cstdint>
#include <string>

/// Throws an error with `operation`, `path` and the reason in errno.
[[noreturn]] void failWithErrno(const char* operation, const std::string& path);

/// The cost of a process and its children.
struct Cost {
    double seconds;          ///< elapsed
    double processor = 0;    ///< seconds of all cores; 0: unknown
    double residentMiB = 0;  ///< of the largest process; 0: unknown
};

/// A temporary folder; the destructor removes it with its content.
class WorkFolder {
public:
    /// Makes it in `parent`, which must have `bytes` free bytes.
    explicit WorkFolder(const std::string& parent, int64_t bytes = 0);
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    const std::string& path() const { return path_; }

    /// Makes a folder in it and returns its path.
    std::string make(const std::string& name) const;

    /// Removes a folder in it. Fails if that removes not exactly `entries` entries, including the
    /// folder.
    void remove(const std::string& name, int entries) const;

    /// Runs a shell command in it. Fails if the command ends with a status other than 0.
    Cost run(const std::string& command) const;

    /// Whether the files are in memory; else the ratios depend on the storage device.
    bool isTmpfs() const;

private:
    std::string path_;
};
