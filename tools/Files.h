// Files and folders with errors that say what was wrong.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tyksim {

/// The whole of a regular file. Failure when it cannot be read or has more than `maxBytes`.
std::vector<uint8_t> readFile(const std::string& path, uint64_t maxBytes);

/// Makes or replaces a file; the old one stays until the new one is complete. Failure when that
/// does not work.
void writeFile(const std::string& path, std::string_view bytes);

/// Gives `temporary` the name `path`, which it replaces. Failure when that does not work; then
/// `temporary` is removed.
void renameFile(const std::string& temporary, const std::string& path);

/// Makes a folder and the folders above it; one that is there is fine. Failure when that does not
/// work.
void makeFolders(const std::string& path);

bool isFolder(const std::string& path);
bool isThere(const std::string& path);

/// Bytes of the file at `path`; nothing, with errno set, when it cannot be asked.
std::optional<uint64_t> fileSize(const std::string& path);

/// How a file compares with memory.
struct Comparison {
    uint64_t fileBytes = 0;             ///< read; more than the memory's: the file is longer
    std::optional<uint64_t> different;  ///< first offset that differs within what both have
    int error = 0;                      ///< errno when the file cannot be read
};

/// Compares the file at `path` with `size` bytes at `data`, a piece at a time.
Comparison compareFile(const std::string& path, const void* data, uint64_t size);

}  // namespace tyksim
