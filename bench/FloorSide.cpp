#include "bench/Platform.h"
#include "bench/Sides.h"
#include "bench/WorkFolder.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t kFramesAlive = 11;

// As long as the library's, so that the system resolves the same paths.
constexpr const char* kFrameFolderName = "/0101000000000_reqID_42_sofID_17";

unsigned int idOf(size_t tag) {
    return kFirstTag + static_cast<unsigned int>(tag);
}

void writeFile(const std::string& path, const void* data, size_t size) {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) failWithErrno("open", path);
    if (::write(descriptor, data, size) != static_cast<ssize_t>(size)) failWithErrno("write", path);
    ::close(descriptor);
}

void readWhole(const std::string& path, int descriptor, void* data, size_t size) {
    if (::read(descriptor, data, size) != static_cast<ssize_t>(size)) failWithErrno("read", path);
}

/// Calls `visit` for every file name in a folder, in the system's order.
template <typename Visit>
void listFiles(const std::string& path, Visit visit) {
    DIR* const folder = ::opendir(path.c_str());
    if (!folder) failWithErrno("opendir", path);
    while (const dirent* const entry = ::readdir(folder)) {
        if (entry->d_type == DT_REG) visit(entry->d_name);
    }
    ::closedir(folder);
}

}  // namespace

FloorSide::FloorSide(Frame& frame, const std::string& folder)
    : frame_(frame),
      frameFolder_(folder + kFrameFolderName),
      resident_(static_cast<size_t>(frame.shape().fixedBytes), 1) {
    for (const std::string& name : frame.fileNames()) {
        toWrite_.push_back({frameFolder_ + "/" + name, toWrite_.size()});
    }
}

FloorSide::~FloorSide() {
    while (!alive_.empty()) retireOldest();
}

void FloorSide::dump() {
    makeFolder(frameFolder_);
    for (const File& file : toWrite_) {
        if (file.tag == framework().tags.size()) {
            writeFile(file.path, frame_.image(), frame_.imageBytes());
        } else if (framework().tags[file.tag].isBlock) {
            BlockParamDesc block{};
            tyk::ParamSet::getParam(kCamId, kPipe, kSofId, idOf(file.tag), &block);
            writeFile(file.path, block.data, block.size);
        } else {
            tyk::ParamSet::getParam(kCamId, kPipe, kSofId, idOf(file.tag), resident_.data());
            writeFile(file.path, resident_.data(), resident_.size());
        }
    }
}

void FloorSide::openTask(const std::string& task) {
    replayFolder_ = std::filesystem::directory_iterator(task)->path();
    std::map<std::string, size_t> tags;
    for (const std::string& name : frame_.fileNames()) tags.emplace(name, tags.size());
    toRead_.clear();
    listFiles(replayFolder_, [&](const char* name) {
        toRead_.push_back({replayFolder_ + "/" + name, tags.at(name)});
    });
}

void FloorSide::retireOldest() {
    for (void* const block : alive_.front()) std::free(block);
    alive_.pop_front();
}

void FloorSide::readParam(const File& file, int descriptor, size_t size,
                          std::vector<void*>& blocks) {
    if (!framework().tags[file.tag].isBlock) {
        readWhole(file.path, descriptor, resident_.data(), size);
        tyk::ParamSet::setParam(kCamId, kPipe, kSofId, idOf(file.tag), resident_.data());
        return;
    }
    BlockParamDesc block{std::malloc(size), static_cast<uint32_t>(size)};
    blocks.push_back(block.data);
    readWhole(file.path, descriptor, block.data, size);
    tyk::ParamSet::setParam(kCamId, kPipe, kSofId, idOf(file.tag), &block);
}

void FloorSide::replay() {
    if (alive_.size() >= kFramesAlive) retireOldest();
    size_t listed = 0;
    listFiles(replayFolder_, [&listed](const char*) { ++listed; });
    if (listed != toRead_.size()) throw std::runtime_error(replayFolder_ + " has changed");
    std::vector<void*> blocks;
    blocks.reserve(static_cast<size_t>(frame_.shape().blockCount));
    for (const File& file : toRead_) {
        const int descriptor = ::open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) failWithErrno("open", file.path);
        struct stat status {};
        if (::fstat(descriptor, &status) != 0) failWithErrno("fstat", file.path);
        const auto size = static_cast<size_t>(status.st_size);
        if (file.tag == framework().tags.size()) {
            readWhole(file.path, descriptor, framework().pixels.data(), size);
        } else {
            readParam(file, descriptor, size, blocks);
        }
        ::close(descriptor);
    }
    alive_.push_back(std::move(blocks));
}
