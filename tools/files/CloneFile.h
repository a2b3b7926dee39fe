// Copies of files that share storage where the file system can.
#pragma once

#include "tools/console/Console.h"

#include <string>
#include <string_view>

namespace tyksim {

/// The source of a copy cannot be read. The text names it, with the system's reason.
class SourceUnreadable : public Failure {
public:
    using Failure::Failure;
};

/// Makes `target`, which must not be there, a copy of the regular file `source`: a clone where the
/// file system has clones, never a hard link. SourceUnreadable when `source` cannot be read to its
/// end; there is no target then. Failure with the path and the system's reason when the target
/// cannot be made or written.
void cloneFile(const std::string& source, const std::string& target);

/// A file being made, which must not be there. Its calls throw Failure with the path and the
/// system's reason.
class NewFile {
public:
    explicit NewFile(std::string path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::string_view bytes);
    /// Some file systems tell only now that there was no room.
    void close();
    int descriptor() const { return descriptor_; }

private:
    std::string path_;
    int descriptor_;
};

/// Makes a file, which must not be there. Failure with the path and the system's reason.
void writeNewFile(const std::string& path, std::string_view bytes);

}  // namespace tyksim
