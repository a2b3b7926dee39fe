#include "tools/files/Files.h"

#include "tools/console/Console.h"
#include "tools/files/OutputPath.h"
#include "tools/files/Unfinished.h"
#include "tree/read/FileBytes.h"

#include <filesystem>

namespace tyksim {

std::vector<uint8_t> readFile(const std::string& path, uint64_t maxBytes) {
    std::vector<uint8_t> bytes;
    const tyktree::ReadResult result = tyktree::readFileBytes(path, maxBytes, bytes);
    if (!result.regular) {
        throw Failure(shownPath(path) + ": expected a file, found something else");
    }
    if (result.error != 0) {
        throw Failure(text(shownPath(path), ": cannot be opened: ", systemReason(result.error)));
    }
    if (result.size > maxBytes) {
        throw Failure(
            text(shownPath(path), ": expected at most ", maxBytes, " bytes, found ", result.size));
    }
    if (bytes.size() != result.size) {
        throw Failure(text(shownPath(path), ": expected ", result.size, " bytes, read ",
                           bytes.size(), ": the file became shorter"));
    }
    return bytes;
}

void writeFile(const std::string& path, std::string_view bytes) {
    OutputFile file = OutputFile::replacing(path);
    file.write(bytes);
    file.commit();
}

void makeFolders(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        throw Failure(text(shownPath(path), ": cannot make the folder: ", error.message()));
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
