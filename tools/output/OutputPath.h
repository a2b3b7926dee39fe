// Output that is made whole or not at all: under a temporary name beside its place, and renamed
// when it is complete.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// What every verb that writes does first. Failure where `target` is, lies in, or holds one of
/// `inputs` (after links are resolved); WrongUsage where something stands there and `force` is not
/// set.
void checkOutput(const std::string& target, const std::vector<std::string>& inputs, bool force);

/// A file being made.
class OutputFile {
public:
    /// Opens a temporary file beside `path`. Failure when that does not work.
    explicit OutputFile(std::string path);
    /// Removes the temporary file where commit() was not reached.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Failure, with the path and the system's reason, when not all of it can be written.
    void write(std::string_view bytes);
    int descriptor() const { return descriptor_; }
    /// Where the file lies until commit(), for writers that take a path.
    const std::string& temporary() const { return temporary_; }

    /// Closes the file and gives it its name, which it takes over from what stood there.
    void commit();

private:
    std::string path_;
    std::string temporary_;
    int descriptor_ = -1;
};

/// A folder being made.
class OutputFolder {
public:
    /// Makes a temporary folder beside `path` (and the folders above it).
    explicit OutputFolder(std::string path);
    /// Removes the temporary folder and all in it where commit() was not reached.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// The folder to write into until commit().
    const std::string& path() const { return temporary_; }

    /// Gives the folder its name; what stood there is removed first.
    void commit();

private:
    std::string path_;
    std::string temporary_;
};

}  // namespace tyksim
