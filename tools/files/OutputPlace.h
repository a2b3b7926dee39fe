// Where an output goes: what it may replace, and what no output touches.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tyksim {

/// What a user asks a verb to make.
struct OutputRequest {
    std::string path;                 ///< as the user wrote it
    std::vector<std::string> inputs;  ///< folders that the verb reads
    bool force = false;               ///< replace an earlier output
};

enum class OutputKind { kFile, kFolder };

/// "-" as the path of an output: standard output.
constexpr const char* kStandardOutput = "-";

/// A place that an output may have.
struct OutputPlace {
    std::string given;      ///< as the user wrote it
    std::string path;       ///< from the root; only the last name may be a link
    bool replaces = false;  ///< something stands there that the output replaces
    mode_t mode = 0;        ///< permissions of what it replaces
};

/// Where the output will stand. Throws WrongUsage for a place
///   - that is, lies in, or holds one of the inputs, whatever path leads there: folders are
///   compared
///     by device and inode,
///   - where something of another kind stands: a link, a device, a FIFO, a folder for a file,
///   - that is the working folder, a folder above it, or a mount point,
///   - where something stands and `force` is not set, or something that tyksim did not make (see
///     OutputMark.h). Something empty may be replaced.
/// Failure when the system does not let it look. Changes nothing.
OutputPlace findPlace(const OutputRequest& request, OutputKind kind);

/// `path` from the root with its links resolved. What is not there yet stays as it is written;
/// WrongUsage where that part steps upwards. Failure when the system does not let it look.
std::string physicalPath(const std::string& path);

/// Whether `path` is `folder` or lies below it, by device and inode; both are physical paths.
bool liesIn(const std::string& path, const std::string& folder);

}  // namespace tyksim
