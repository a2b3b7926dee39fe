#include "core/PipelineSimulation.h"

#include "core/FrameQueue.h"
#include "core/Globals.h"
#include "core/LogLine.h"
#include "core/NameTables.h"
#include "core/TreeNames.h"

#include <cstdlib>
#include <new>

namespace {
constexpr int kDumpMode = 0;
constexpr int kReplayMode = 1;
}  // namespace

void* PipelineSimulation::operator new(std::size_t size) {
    void* const storage = std::malloc(size);
    if (!storage) throw std::bad_alloc();
    return storage;
}

void PipelineSimulation::operator delete(void* storage) {
    std::free(storage);
}

PipelineSimulation::PipelineSimulation(const char* root) : rootPath(root), configPath(kDumpRoot) {
    TYK_LOG(kDetail, "root %s config %s", rootPath.c_str(), configPath.c_str());
}

PipelineSimulation::PipelineSimulation(const char* root, int pipe)
    : pipeId(pipe), rootPath(root), configPath(configFilePath(kDumpRoot, pipe)) {
    TYK_LOG(kDetail, "pipe %d root %s config %s", pipeId, rootPath.c_str(), configPath.c_str());
}

PipelineSimulation::~PipelineSimulation() = default;

void PipelineSimulation::init(int newMode) {
    mode = newMode;
    taskIndex = 0;
    frameIndex = 0;
    pPs = tyk::ParamSet::getInstance();
    if (!pPs) {
        pPs = tyk::ParamSet::createInstance();
        registerPsTag();
    }
    pPs->getTagInfo(gTagInfoTable);
    buildPipeNameMap(pipeNameMap);
    buildTagNameMap(gTagInfoTable, tagNameMap);
    if (mode == kReplayMode) {
        bufferManager = tyk::BufferManager::createInstance();
        taskList.push_back(rootPath);
    } else {
        createFolder(rootPath.c_str());
        parseConfig(configPath.c_str(), dumpTagList);
    }
    initialised = true;
    TYK_LOG(kDetail, "init done. mode %d", mode);
}

void PipelineSimulation::start() {
    if (mode == kDumpMode) {
        TYK_LOG(kDetail, "dumping start");
        mkTaskDir();
    } else if (mode == kReplayMode) {
        TYK_LOG(kDetail, "loading start");
        // Equality only: an index beyond the end is the caller's error.
        if (taskList.size() == static_cast<size_t>(taskIndex)) {
            TYK_LOG(kDetail, "all tasks completed, please call deinit.");
            return;
        }
        frameIndex = 0;
        currentTask = taskList[static_cast<size_t>(taskIndex)];
        getFrameList(currentTask.c_str());
    }
}

void PipelineSimulation::stop() {
    TYK_LOG(kDetail, "stop, mode %d", mode);
    if (mode != kReplayMode) return;
    ++taskIndex;
    frameList.clear();
    frameNameMap.clear();
}

void PipelineSimulation::deinit() {
    taskIndex = 0;
    frameIndex = 0;
    frameList.clear();
    if (mode == kReplayMode) {
        TYK_LOG(kDetail, "total free frames: %d", static_cast<int>(frameQueue.size()));
        while (!frameQueue.empty()) retireFrontFrame(*this, __func__);
    }
    initialised = false;
    TYK_LOG(kDetail, "X done.");
}

int PipelineSimulation::getTaskSize() {
    return static_cast<int>(taskList.size());
}

int PipelineSimulation::getFrameSize() {
    return static_cast<int>(frameList.size());
}
