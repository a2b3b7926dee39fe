#include "tools/Files.h"

#include "tools/Console.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <sys/stat.h>

namespace tyksim {

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// The size of what `file` has open, which must be a regular file: a FIFO never ends.
uint64_t regularSize(std::FILE* file, const std::string& path) {
    struct stat info {};
    if (fstat(fileno(file), &info) != 0) {
        throw Failure(text(path, ": ", systemReason(errno)));
    }
    if (!S_ISREG(info.st_mode)) throw Failure(path + ": expected a file, found something else");
    return static_cast<uint64_t>(info.st_size);
}

}  // namespace

std::vector<uint8_t> readFile(const std::string& path, uint64_t maxBytes) {
    // Asked before it is opened: opening a FIFO would wait for a writer.
    if (isThere(path) && !std::filesystem::is_regular_file(path)) {
        throw Failure(path + ": expected a file, found something else");
    }
    const File file(std::fopen(path.c_str(), "rb"));
    if (!file) throw Failure(text(path, ": cannot be opened: ", systemReason(errno)));
    const uint64_t size = regularSize(file.get(), path);
    if (size > maxBytes) {
        throw Failure(text(path, ": expected at most ", maxBytes, " bytes, found ", size));
    }
    std::vector<uint8_t> bytes(size);
    errno = 0;
    const size_t got = std::fread(bytes.data(), 1, bytes.size(), file.get());
    if (got != bytes.size()) {
        throw Failure(text(path, ": expected ", size, " bytes, read ", got, ": ",
                           errno != 0 ? systemReason(errno) : "the file became shorter"));
    }
    return bytes;
}

void writeFile(const std::string& path, std::string_view bytes) {
    const std::string temporary = path + ".new";
    File file(std::fopen(temporary.c_str(), "wb"));
    if (!file) throw Failure(text(temporary, ": cannot be made: ", systemReason(errno)));
    const size_t written = std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    int error = written == bytes.size() ? 0 : errno;
    if (std::fclose(file.release()) != 0 && error == 0) error = errno;
    if (error != 0) {
        static_cast<void>(std::remove(temporary.c_str()));
        throw Failure(text(path, ": cannot write ", bytes.size(), " bytes: ", systemReason(error)));
    }
    renameFile(temporary, path);
}

void renameFile(const std::string& temporary, const std::string& path) {
    if (std::rename(temporary.c_str(), path.c_str()) == 0) return;
    const int error = errno;
    static_cast<void>(std::remove(temporary.c_str()));
    throw Failure(text(path, ": cannot be replaced: ", systemReason(error)));
}

void makeFolders(const std::string& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) throw Failure(text(path, ": cannot make the folder: ", error.message()));
    if (!isFolder(path)) throw Failure(path + ": expected a folder, found something else");
}

bool isFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

bool isThere(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

std::optional<uint64_t> fileSize(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return std::nullopt;
    return static_cast<uint64_t>(info.st_size);
}

Comparison compareFile(const std::string& path, const void* data, uint64_t size) {
    Comparison result;
    const File file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        result.error = errno;
        return result;
    }
    const auto* const memory = static_cast<const uint8_t*>(data);
    std::vector<uint8_t> piece(65536);
    while (result.fileBytes <= size) {
        errno = 0;
        const size_t got = std::fread(piece.data(), 1, piece.size(), file.get());
        if (got == 0) {
            if (std::ferror(file.get()) != 0) result.error = errno != 0 ? errno : EIO;
            return result;
        }
        const auto common = static_cast<size_t>(std::min<uint64_t>(got, size - result.fileBytes));
        const uint8_t* const other = memory + result.fileBytes;
        const auto place = std::mismatch(piece.data(), piece.data() + common, other).first;
        if (place != piece.data() + common && !result.different) {
            result.different = result.fileBytes + static_cast<uint64_t>(place - piece.data());
        }
        result.fileBytes += got;
    }
    return result;
}

}  // namespace tyksim
