// Copies of files that share storage where the file system can.
#pragma once

#include <string>
#include <string_view>

namespace tyksim {

/// Makes `target`, which must not be there, a copy of the regular file `source`: a clone where the
/// file system has clones, never a hard link. Failure with the path and the system's reason.
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
