// Makes and lists the folders of the dump tree.
#include "core/LogLine.h"
#include "core/NameTables.h"
#include "core/PipelineSimulation.h"
#include "core/TreeNames.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <iterator>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

timeval timeNow() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

/// Tests one bit and not the whole type, as device trees have always been listed. Sockets and block
/// devices therefore count as folders; a dump tree contains neither.
bool isFolder(const dirent& entry) {
    return (entry.d_type & DT_DIR) != 0;
}

bool isSelfOrParent(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

/// Characters of a subfolder's path; the rest is cut off.
constexpr size_t kLongestSubDir = 255;

struct FolderCloser {
    void operator()(DIR* folder) const { closedir(folder); }
};

/// Stores the names of the entries of folder `path` that are folders (or, if `folders` is false,
/// that are not) in the system's order. On failure logs in the name of `function` and returns
/// false; the names must then not be used, because half a listing would replay half a frame.
/// readdir() returns null both at an error and at the end; errno tells them apart.
bool listFolder(const char* function, const char* path, bool folders,
                std::vector<std::string>& names) {
    const std::unique_ptr<DIR, FolderCloser> folder(opendir(path));
    if (!folder) {
        TYK_LOG_AS(kFailure, function, "Could not OpenDIR with Path %s", path);
        return false;
    }
    errno = 0;
    while (const dirent* const entry = readdir(folder.get())) {
        if (isFolder(*entry) == folders && !isSelfOrParent(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
        errno = 0;
    }
    if (errno != 0) {
        TYK_LOG_AS(kFailure, function, "Could not read Path %s to its end: %s", path,
                   std::strerror(errno));
        return false;
    }
    return true;
}

/// Moves `names` to the end of `out`: all of them, or none when memory runs out.
void append(std::vector<std::string>& out, std::vector<std::string>& names) {
    out.insert(out.end(), std::make_move_iterator(names.begin()),
               std::make_move_iterator(names.end()));
}

}  // namespace

void createFolder(const char* path) {
    if (access(path, F_OK) == 0) return;
    const int result = mkdir(path, 0777);
    TYK_LOG(kTrace, "ret %d", result);
}

void PipelineSimulation::mkTaskDir() {
    currentTask = taskFolderPath(rootPath, timeNow(), taskIndex);
    createFolder(currentTask.c_str());
}

void PipelineSimulation::mkDumpDir(int reqId, int sofId) {
    // A client that dumps without start() gets its frames directly below the pipe's folder.
    if (currentTask.empty()) currentTask = rootPath;
    currentFramePath = frameFolderPath(currentTask, timeNow(), reqId, sofId);
    TYK_LOG(kDetail, "dump path: %s", currentFramePath.c_str());
    createFolder(currentFramePath.c_str());
}

char* PipelineSimulation::getFileName(char* dst, int cam, int sofId, int pipe, int dumpType,
                                      const char* tagName) {
    ParamFilePath path;
    makeParamFilePath(path, currentFramePath, sofId, cam, pipe, dumpType,
                      tagName ? tagName : "(null)");
    std::memcpy(dst, path.data(), std::strlen(path.data()) + 1);
    return dst;
}

void PipelineSimulation::getTaskList() {
    getSubDirs(rootPath.c_str(), taskList);
    std::sort(taskList.begin(), taskList.end());
}

void PipelineSimulation::getSubDirs(const char* path, std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (!listFolder(__func__, path, true, names)) return;
    const std::string prefix = std::string(path) + "/";
    for (std::string& name : names) {
        name.insert(0, prefix);
        if (name.size() > kLongestSubDir) name.resize(kLongestSubDir);
        TYK_LOG(kDetail, "dirList: %s", name.c_str());
    }
    append(out, names);
}

void PipelineSimulation::getSubFiles(const char* path, std::vector<std::string>& out) {
    std::vector<std::string> names;
    if (listFolder(__func__, path, false, names)) append(out, names);
}

void PipelineSimulation::getFrameList(const char* taskPath) {
    std::vector<std::string> names;
    if (!listFolder(__func__, taskPath, true, names)) return;
    for (const std::string& name : names) frameNameMap[name] = parseReqID(name);
    append(frameList, names);
    std::sort(frameList.begin(), frameList.end());
}

int PipelineSimulation::parseFileName(std::string name, tagInfo* out) {
    TYK_LOG(kDetail, "E name %s", name.c_str());
    ParamFileName parsed;
    if (!readParamFileName(name, parsed)) return 1;
    out->sofId = static_cast<uint32_t>(parsed.sofId);
    out->camId = static_cast<uint32_t>(parsed.camId);
    out->pipe = parsed.pipe;
    out->dumpType = parsed.dumpType;
    // Reuses `name` as the tag's name, which saves a second string for the look-up.
    const auto at = static_cast<size_t>(parsed.tagName.data() - name.data());
    name.resize(at + parsed.tagName.size());
    name.erase(0, at);
    out->tag = static_cast<uint32_t>(lookUpName(tagNameMap, name));
    TYK_LOG(kDetail, "X cam %d, pipe %d, sof %d, tag %d, dump %d", parsed.camId, parsed.pipe,
            parsed.sofId, static_cast<int>(out->tag), parsed.dumpType);
    return 0;
}

void PipelineSimulation::parseImageName(std::string name, imageInfo* out) {
    TYK_LOG(kDetail, "E name %s", name.c_str());
    ImageFileName parsed;
    if (!readImageFileName(name, parsed)) return;
    out->sofId = parsed.sofId;
    out->camId = parsed.camId;
    out->width = parsed.width;
    out->height = parsed.height;
    out->spare = 0;
    TYK_LOG(kDetail, "X cam %d, sof %d, w %d, h %d", parsed.camId, parsed.sofId, parsed.width,
            parsed.height);
}

// The first underscore ends a first piece. The second test then sees the same underscore and takes
// the rest of the name as one more piece. A request id needs four pieces, so the result is -1 for
// every name. frameNameMap has always held -1 for every frame, and its readers rely on that.
int PipelineSimulation::parseReqID(std::string name) {
    std::vector<std::string> pieces;
    size_t start = 0;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '_' && pieces.size() < 4) {
            pieces.push_back(name.substr(start, i - start));
            start = i + 1;
        }
        if (name[i] == '_' && pieces.size() < 4) {
            // The length is counted from the new start and wraps: to the end of the name.
            pieces.push_back(name.substr(start, i - start));
            start = i + 1;
            break;
        }
    }
    pieces.push_back(name.substr(start));
    if (pieces.size() != 4) return -1;
    return readNumber(pieces[2]);
}
