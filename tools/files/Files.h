// Files and folders, with errors that have path and reason. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// Reads a whole regular file. Throws Failure when it cannot be read or is larger than `maxBytes`.
std::vector<uint8_t> readFile(const std::string& path, uint64_t maxBytes);

/// Makes or replaces a file; the old one stays until the new one is complete. Throws Failure like
/// ResultFile.
void writeFile(const std::string& path, std::string_view bytes);

/// Makes a folder and the folders above it, as far as they do not exist. Throws Failure.
void makeFolders(const std::string& path);

bool isFolder(const std::string& path);
bool isThere(const std::string& path);

}  // namespace tyksim
