// Finds the place of an output, and refuses places that an output must not replace.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tyksim {

/// A user's request for an output.
struct OutputRequest {
    std::string path;                 ///< the user's text
    std::vector<std::string> inputs;  ///< folders and files that the verb reads
    bool force = false;               ///< replace an earlier output
};

enum class OutputKind { kFile, kFolder };

/// The path of an output that means standard output.
constexpr const char* kStandardOutput = "-";

/// A place that an output may have.
struct OutputPlace {
    std::string given;      ///< the user's text
    std::string path;       ///< absolute; only the last component may be a link
    bool replaces = false;  ///< there is an entry to replace
    mode_t mode = 0;        ///< permissions of the replaced entry
};

/// The place of the output. Throws WrongUsage for a place
///   - that is, lies in, or contains one of the inputs, by any path: folders are compared by
///     device and inode,
///   - with an entry of another kind: a link, a device, a FIFO, a folder for a file,
///   - that is the working folder, a folder above it, or a mount point,
///   - with an existing entry if `force` is not set, or with one that tyksim did not make (see
///     OutputMark.h). Empty files and folders may be replaced.
/// Throws Failure when the place cannot be examined. Changes nothing. Threads: any.
OutputPlace findPlace(const OutputRequest& request, OutputKind kind);

/// The absolute form of `path`, with links resolved. The part that does not exist stays unchanged;
/// throws WrongUsage if that part contains "..". Throws Failure when the path cannot be examined.
std::string physicalPath(const std::string& path);

/// Whether `path` is `folder` or is below it, by device and inode. Both must be physical paths.
bool liesIn(const std::string& path, const std::string& folder);

}  // namespace tyksim
