// Output that is made whole or not at all: under a hidden name beside its place, which it takes in
// one step when it is complete.
#pragma once

#include "tools/files/OutputPlace.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// How a file ends.
enum class Ending {
    kPlain,
    kSeal,  ///< in the comment of OutputMark.h: pages and drawings, which take one
};

/// A file being made, or standard output.
class OutputFile {
public:
    /// Opens a temporary file beside the place. Throws as findPlace() does, and Failure when the
    /// file cannot be made. Standard output is taken as it is, but for a terminal (WrongUsage).
    explicit OutputFile(const OutputRequest& request, Ending ending = Ending::kPlain);

    /// For a file that belongs to something larger, and replaces whatever file stands at `path`.
    static OutputFile replacing(const std::string& path);

    /// Removes the temporary file where commit() was not reached.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Failure, with the path and the system's reason, when not all of it can be written;
    /// Interrupted when nobody reads standard output any more.
    void write(std::string_view bytes);

    bool isStandardOutput() const { return place_.path.empty(); }
    int descriptor() const { return descriptor_; }
    /// Where the file lies until commit(), for writers that take a path.
    const std::string& temporary() const { return temporary_; }

    /// Closes the file and gives it its name. Failure, and what stood there stands as before, when
    /// that does not work.
    void commit();

private:
    explicit OutputFile(OutputPlace place);
    void make();

    OutputPlace place_;
    bool anything_ = false;  ///< what is replaced need not be tyksim's
    Ending ending_ = Ending::kPlain;
    std::string temporary_;
    int descriptor_ = -1;
    uint32_t checksum_ = 0;
};

/// A folder being made.
class OutputFolder {
public:
    /// Makes a temporary folder beside the place, and the folders above it. Throws as findPlace()
    /// does, and Failure when the folder cannot be made.
    explicit OutputFolder(const OutputRequest& request);
    /// Removes the temporary folder and all in it where commit() was not reached, and folders above
    /// it that were made for it.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// The folder to write into until commit().
    const std::string& path() const { return temporary_; }

    /// Lists what is in the folder and gives it its name; what it replaces is removed afterwards.
    /// Failure, and what stood there stands as before, when that does not work.
    void commit();

private:
    void makeAbove();
    void removeAbove();

    OutputPlace place_;
    std::vector<std::string> madeAbove_;
    std::string temporary_;
    mode_t mode_ = 0;
    int lock_ = -1;
};

}  // namespace tyksim
