// Copies files, sharing storage if the file system supports it. Threads: any, for different files.
#pragma once

#include "core/Descriptor.h"
#include "tools/console/Console.h"

#include <string>
#include <string_view>

namespace tyksim {

/// The source of a copy cannot be read. The text has its path and the system's reason.
class SourceUnreadable : public Failure {
public:
    using Failure::Failure;
};

/// Makes `target`, which must not exist, a copy of the regular file `source`: a clone if the file
/// system has clones, never a hard link. Throws SourceUnreadable when `source` cannot be read to
/// its end, and leaves no target then. Throws Failure with the path and the system's reason when
/// the target cannot be made or written.
void cloneFile(const std::string& source, const std::string& target);

/// A new file, which must not exist before. Its operations throw Failure with the path and the
/// system's reason. One thread at a time uses an object.
class NewFile {
public:
    explicit NewFile(std::string path);

    void write(std::string_view bytes);
    /// Some file systems report a lack of space only now.
    void close();
    int descriptor() const { return descriptor_.number(); }

private:
    std::string path_;
    tykcore::Descriptor descriptor_;
};

/// Makes a file, which must not exist before. Throws Failure with the path and the system's reason.
void writeNewFile(const std::string& path, std::string_view bytes);

}  // namespace tyksim
