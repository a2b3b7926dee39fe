// Makes outputs completely or not at all: under a hidden name beside the place, with a rename at
// the end. One thread at a time uses an object.
#pragma once

#include "core/Descriptor.h"
#include "tools/files/OutputPlace.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace tyksim {

/// The end of a file.
enum class Ending {
    kPlain,
    kSeal,  ///< with the comment of OutputMark.h: pages and drawings
};

/// A new file, or standard output.
class ResultFile {
public:
    /// Opens a temporary file beside the place. Throws like findPlace(), and Failure when the file
    /// cannot be made. Standard output must not be a terminal (WrongUsage).
    explicit ResultFile(const OutputRequest& request, Ending ending = Ending::kPlain);

    /// Makes a file that is part of a larger output, and may replace any file at `path`.
    static ResultFile replacing(const std::string& path);

    /// Removes the temporary file if commit() was not called.
    ~ResultFile();
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;

    /// Throws Failure, with the path and the system's reason, when not all bytes can be written,
    /// and Interrupted when standard output's reader has ended.
    void write(std::string_view bytes);

    bool isStandardOutput() const { return place_.path.empty(); }
    int descriptor() const { return isStandardOutput() ? STDOUT_FILENO : file_.number(); }
    /// The path of the file until commit(), for writers that need a path.
    const std::string& temporary() const { return temporary_; }

    /// Closes the file and gives it its name. Throws Failure and keeps an earlier file when that
    /// fails.
    void commit();

private:
    explicit ResultFile(OutputPlace place);
    void make();

    OutputPlace place_;
    bool anything_ = false;  ///< may replace a file that tyksim did not make
    Ending ending_ = Ending::kPlain;
    std::string temporary_;
    tykcore::Descriptor file_;  ///< not open for standard output
    uint32_t checksum_ = 0;
};

/// A new folder.
class OutputFolder {
public:
    /// Makes a temporary folder beside the place, and the folders above it. Throws like
    /// findPlace(), and Failure when the folder cannot be made.
    explicit OutputFolder(const OutputRequest& request);
    /// If commit() was not called, removes the temporary folder with its content, and the folders
    /// above that were made for it. Removes nothing in a forked copy of the process that made them.
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// The folder to write into until commit().
    const std::string& path() const { return temporary_; }

    /// Whether this process, and not its parent before a fork(), made the folder.
    bool isOwn() const;

    /// Writes the folder's list and gives the folder its name, then removes the earlier output.
    /// Throws Failure and keeps the earlier output when that fails.
    void commit();

private:
    void makeAbove();
    void removeAbove();

    OutputPlace place_;
    std::vector<std::string> madeAbove_;
    std::string temporary_;
    mode_t mode_ = 0;
    tykcore::Descriptor lock_;
    pid_t maker_;
};

}  // namespace tyksim
