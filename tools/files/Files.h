// Files and folders with errors that say what was wrong.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// The whole of a regular file. Failure when it cannot be read or has more than `maxBytes`.
std::vector<uint8_t> readFile(const std::string& path, uint64_t maxBytes);

/// Makes or replaces a file; the old one stays until the new one is complete. Failure as of
/// OutputFile.
void writeFile(const std::string& path, std::string_view bytes);

/// Makes a folder and the folders above it; one that is there is fine. Failure when that does not
/// work.
void makeFolders(const std::string& path);

bool isFolder(const std::string& path);
bool isThere(const std::string& path);

}  // namespace tyksim
