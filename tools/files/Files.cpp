#include "tools/files/Files.h"

#include "tools/console/Console.h"
#include "tools/files/OutputPath.h"
#include "tools/files/Unfinished.h"
#include "tree/read/FileBytes.h"
#include "tree/read/RegularFile.h"

#include <filesystem>
#include <fmt/format.h>

namespace tyksim {

std::vector<uint8_t> readFile(const std::string& path, uint64_t maxBytes) {
    std::vector<uint8_t> bytes;
    const auto size = tyktree::readFileBytes(path, maxBytes, bytes);
    if (!size.ok() && size.problem().reason == tyktree::kNotRegular) {
        throw Failure(shownPath(path) + ": expected a file, found something else");
    }
    if (!size.ok()) {
        throw Failure(
            fmt::format("{}: cannot be opened: {}", shownPath(path), size.problem().reason));
    }
    if (size.value() > maxBytes) {
        throw Failure(fmt::format("{}: expected at most {} bytes, found {}", shownPath(path),
                                  maxBytes, size.value()));
    }
    if (bytes.size() != size.value()) {
        throw Failure(fmt::format("{}: expected {} bytes, read {}: the file became shorter",
                                  shownPath(path), size.value(), bytes.size()));
    }
    return bytes;
}

void writeFile(const std::string& path, std::string_view bytes) {
    ResultFile file = ResultFile::replacing(path);
    file.write(bytes);
    file.commit();
}

void makeFolders(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        throw Failure(
            fmt::format("{}: cannot make the folder: {}", shownPath(path), error.message()));
    }
    if (!isFolder(path)) {
        throw Failure(shownPath(path) + ": expected a folder, found something else");
    }
}

bool isFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

bool isThere(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

}  // namespace tyksim
