// Marks the tool's outputs, because --force replaces nothing else. Threads: any.
//
// A folder contains a list of its files, with sizes and times. As long as every entry of the folder
// agrees with the list, the folder counts as an output of the tool; added or changed files are the
// user's work. A page or a drawing ends in a comment with its checksum, and a video has a word in
// its header.
#pragma once

#include <cstdint>
#include <string>

namespace tyksim {

/// Name of the list.
constexpr const char* kOutputList = ".tyksim-output";

/// The end of a video's header. Players ignore words that begin with X.
constexpr const char* kVideoMark = " XTYKSIM";

/// Writes the list of the folder's present content. Throws Failure with the path and the system's
/// reason.
void writeOutputList(const std::string& folder);

/// Whether the folder has a list: the output was completed.
bool hasOutputList(const std::string& folder);

/// Describes what prevents replacing the folder at `path`; "" if nothing does, as for an empty
/// folder. Throws Failure when the folder cannot be listed.
std::string foreignInFolder(const std::string& path);

/// The same for the regular file at `path`.
std::string foreignInFile(const std::string& path);

/// The comment at the end of a page or a drawing; `checksum` is the CRC-32 of everything before it.
std::string sealOf(uint32_t checksum);

}  // namespace tyksim
