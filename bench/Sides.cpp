#include "bench/Sides.h"

#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kDefaultObject = -1;

// The same length as the library's name, so that the system does the same work on the path.
constexpr const char* kFrameFolderName = "/0101000000000_reqID_42_sofID_17";

unsigned int idOf(size_t tag) {
    return kFirstTag + static_cast<unsigned int>(tag);
}

int openAt(int folder, const std::string& name, int flags) {
    const int descriptor = ::openat(folder, name.c_str(), flags | O_CLOEXEC, 0666);
    if (descriptor < 0) failWithErrno("open", name);
    return descriptor;
}

}  // namespace

LibrarySide::LibrarySide(Frame& frame, const WorkFolder& work, const char* name)
    : frame_(frame), simulation_(*PipelineSimMgr::getPipeSimInstance(kDefaultObject)) {
    forgetAll();
    simulation_.rootPath = work.make(name);
    simulation_.configPath = work.path() + "/dumpConfig.xml";
    if (!(std::ofstream(simulation_.configPath) << frame.configuration()).flush()) {
        failWithErrno("write", simulation_.configPath);
    }
    simulation_.init(0);
    simulation_.currentTask = simulation_.rootPath;
}

void LibrarySide::forgetAll() {
    simulation_.deinit();
    simulation_.taskList.clear();
    simulation_.frameNameMap.clear();
    simulation_.tagNameMap.clear();
}

void LibrarySide::dump() {
    if (frame_.image.empty()) {
        simulation_.dumpParam(kReqId, kSofId, kCamId);
        return;
    }
    PipelineSimulation::imageInfo info{
        frame_.image.data(), kReqId, kSofId, kCamId, kDefaultObject, frame_.shape.width,
        frame_.shape.height, 0};
    PipelineSimulation::dumpIfneed(info);
}

void LibrarySide::openTask(const std::string& task) {
    forgetAll();
    simulation_.rootPath = task;
    simulation_.init(1);
    simulation_.start();
}

void LibrarySide::replay() {
    simulation_.frameIndex = 0;
    tyk::Buffer* image = nullptr;
    simulation_.loadParamAndImage(0, image);
    if (simulation_.frameIndex != 1) {
        throw std::runtime_error("the library gave up " + simulation_.currentFramePath);
    }
}

FloorSide::FloorSide(Frame& frame, const WorkFolder& work, const char* name, bool byName)
    : frame_(frame),
      byName_(byName),
      frameFolder_(work.make(name) + kFrameFolderName),
      resident_(static_cast<size_t>(frame.shape.fixedBytes), 1) {
    for (const std::string& file : frame.fileNames()) addFile(file, files_.size());
}

FloorSide::~FloorSide() {
    while (!alive_.empty()) retireOldest();
}

void FloorSide::addFile(const std::string& name, size_t tag) {
    files_.push_back({byName_ ? name : frameFolder_ + "/" + name, tag});
}

void FloorSide::dump() {
    if (::mkdir(frameFolder_.c_str(), 0777) != 0) failWithErrno("mkdir", frameFolder_);
    const int folder = byName_ ? openAt(AT_FDCWD, frameFolder_, O_RDONLY | O_DIRECTORY) : AT_FDCWD;
    for (const File& file : files_) writeFile(folder, file);
    if (byName_) ::close(folder);
}

void FloorSide::writeFile(int folder, const File& file) {
    const void* data = resident_.data();
    size_t size = resident_.size();
    if (file.tag == frame_.tags.size()) {
        data = frame_.image.data();
        size = frame_.image.size();
    } else if (frame_.tags[file.tag].isBlock) {
        BlockParamDesc block{};
        tyk::ParamSet::getParam(kCamId, kPipe, kSofId, idOf(file.tag), &block);
        data = block.data;
        size = block.size;
    } else {
        tyk::ParamSet::getParam(kCamId, kPipe, kSofId, idOf(file.tag), resident_.data());
    }
    const int descriptor = openAt(folder, file.name, O_WRONLY | O_CREAT | O_TRUNC);
    if (::write(descriptor, data, size) != static_cast<ssize_t>(size)) {
        failWithErrno("write", file.name);
    }
    ::close(descriptor);
}

void FloorSide::openTask(const std::string& task) {
    frameFolder_ = std::filesystem::directory_iterator(task)->path();
    std::map<std::string, size_t> tags;
    for (const std::string& name : frame_.fileNames()) tags.emplace(name, tags.size());
    files_.clear();
    for (const auto& entry : std::filesystem::directory_iterator(frameFolder_)) {
        const std::string name = entry.path().filename();
        addFile(name, tags.at(name));
    }
}

void FloorSide::replay() {
    if (alive_.size() >= kFramesAlive) retireOldest();
    DIR* const folder = ::opendir(frameFolder_.c_str());
    if (!folder) failWithErrno("opendir", frameFolder_);
    size_t listed = 0;
    while (const dirent* const entry = ::readdir(folder)) listed += entry->d_type == DT_REG;
    if (listed != files_.size()) throw std::runtime_error(frameFolder_ + " has changed");
    std::vector<void*> blocks;
    blocks.reserve(static_cast<size_t>(frame_.shape.blockCount));
    for (const File& file : files_) {
        readFile(byName_ ? ::dirfd(folder) : AT_FDCWD, file, blocks);
    }
    ::closedir(folder);
    alive_.push_back(std::move(blocks));
}

void FloorSide::readFile(int folder, const File& file, std::vector<void*>& blocks) {
    const int descriptor = openAt(folder, file.name, O_RDONLY);
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) failWithErrno("fstat", file.name);
    const auto size = static_cast<size_t>(status.st_size);
    const bool isImage = file.tag == frame_.tags.size();
    const bool isBlock = !isImage && frame_.tags[file.tag].isBlock;
    void* to = isImage ? frame_.pixels.data() : resident_.data();
    if (isBlock) blocks.push_back(to = std::malloc(size));
    if (::read(descriptor, to, size) != static_cast<ssize_t>(size)) {
        failWithErrno("read", file.name);
    }
    ::close(descriptor);
    if (isImage) return;
    BlockParamDesc block{to, static_cast<uint32_t>(size)};
    tyk::ParamSet::setParam(kCamId, kPipe, kSofId, idOf(file.tag), isBlock ? &block : to);
}

void FloorSide::retireOldest() {
    for (void* const block : alive_.front()) std::free(block);
    alive_.pop_front();
}
