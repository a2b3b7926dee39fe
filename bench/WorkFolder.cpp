#include "bench/WorkFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <linux/magic.h>
#include <map>
#include <stdexcept>
#include <sys/stat.h>
#include <sys/vfs.h>

namespace fs = std::filesystem;

namespace {

/// What the files of a folder hold, by name.
std::map<std::string, std::string> contentsOf(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        if (!file) failWithErrno("open", entry.path());
        files[entry.path().filename()].assign(std::istreambuf_iterator<char>(file), {});
    }
    return files;
}

struct statfs statusOf(const std::string& path) {
    struct statfs status {};
    if (::statfs(path.c_str(), &status) != 0) failWithErrno("statfs", path);
    return status;
}

}  // namespace

void failWithErrno(const char* operation, const std::string& path) {
    throw std::runtime_error(std::string(operation) + " " + path + ": " + std::strerror(errno));
}

void makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0777) != 0) failWithErrno("mkdir", path);
}

void removeFolder(const std::string& path, uintmax_t entries) {
    const uintmax_t removed = fs::remove_all(path);
    if (removed != entries) {
        throw std::runtime_error(path + ": expected " + std::to_string(entries) +
                                 " entries, found " + std::to_string(removed));
    }
}

void requireSameFiles(const std::string& one, const std::string& other) {
    if (contentsOf(one) == contentsOf(other)) return;
    throw std::runtime_error(one + " and " + other + " do not hold the same files");
}

void writeTextFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    if (!(file << text).flush()) failWithErrno("write", path);
}

WorkFolder::WorkFolder(const std::string& parent)
    : path_(parent + "/tykbench.XXXXXX"), isTmpfs_(false) {
    if (!::mkdtemp(path_.data())) failWithErrno("mkdtemp", path_);
    isTmpfs_ = statusOf(path_).f_type == TMPFS_MAGIC;
}

WorkFolder::~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void WorkFolder::requireRoom(int64_t bytes) const {
    const struct statfs status = statusOf(path_);
    const auto free = static_cast<int64_t>(status.f_bavail) * status.f_bsize;
    if (free < bytes) {
        throw std::runtime_error(path_ + ": expected " + std::to_string(bytes >> 20) +
                                 " MiB of room, found " + std::to_string(free >> 20));
    }
}
