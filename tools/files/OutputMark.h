// How the tool knows what it made: --force replaces that and nothing else.
//
// A folder holds a list of what was made in it, with sizes and times. While everything in the
// folder is on the list, and as it is there, the folder is the tool's; something that was added or
// changed is somebody's work. A page or a drawing ends in a comment with its checksum, and a video
// has a word in its header.
#pragma once

#include <cstdint>
#include <string>

namespace tyksim {

/// Name of the list.
constexpr const char* kOutputList = ".tyksim-output";

/// What a video's header ends in. Players pass over words that begin with X.
constexpr const char* kVideoMark = " XTYKSIM";

/// Writes the list of all that is in the folder now. Failure with the path and the system's reason.
void writeOutputList(const std::string& folder);

/// Whether a list stands in the folder: the output was complete.
bool hasOutputList(const std::string& folder);

/// What is in the way of replacing the folder at `path`, in words; "" where nothing is, as in an
/// empty folder. Failure when the folder cannot be listed.
std::string foreignInFolder(const std::string& path);

/// The same for the regular file at `path`.
std::string foreignInFile(const std::string& path);

/// The comment that a page or a drawing ends in; `checksum` is the CRC-32 of all before it.
std::string sealOf(uint32_t checksum);

}  // namespace tyksim
