// The folders in which the benchmark works. Errors, throughout: std::runtime_error.
#pragma once

#include <cstdint>
#include <string>

/// Throws: `operation` on `path` and the reason that errno gives.
[[noreturn]] void failWithErrno(const char* operation, const std::string& path);

/// What a process took, with all that it started.
struct Cost {
    double seconds;          ///< that passed
    double processor = 0;    ///< seconds of all cores; 0: not known
    double residentMiB = 0;  ///< of the largest process; 0: not known
};

/// A folder of the benchmark's own; removed at the end with all that it holds.
class WorkFolder {
public:
    /// Makes it in `parent`, where that many bytes must be free.
    explicit WorkFolder(const std::string& parent, int64_t bytes = 0);
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    const std::string& path() const { return path_; }

    /// Makes a folder in it and returns its path.
    std::string make(const std::string& name) const;

    /// Removes a folder in it. An error when that is not `entries` entries, itself included.
    void remove(const std::string& name, int entries) const;

    /// Runs a command of the shell in it. An error when it ends with another status than 0.
    Cost run(const std::string& command) const;

    /// Whether the files live in memory; on anything else the ratios are those of a device.
    bool isTmpfs() const;

private:
    std::string path_;
};
