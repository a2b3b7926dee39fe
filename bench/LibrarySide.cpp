#include "bench/Sides.h"
#include "bench/WorkFolder.h"

#include <stdexcept>

namespace {
constexpr int kDefaultObject = -1;
}  // namespace

LibrarySide::LibrarySide(Frame& frame, const std::string& folder)
    : frame_(frame), simulation_(*PipelineSimMgr::getPipeSimInstance(kDefaultObject)) {
    forgetAll();
    simulation_.rootPath = folder;
    simulation_.configPath = folder + "_dumpConfig.xml";
    writeTextFile(simulation_.configPath, Frame::configuration());
    simulation_.init(0);
    simulation_.currentTask = folder;
}

LibrarySide::~LibrarySide() {
    forgetAll();
}

void LibrarySide::forgetAll() {
    simulation_.deinit();
    simulation_.taskList.clear();
    simulation_.frameNameMap.clear();
    simulation_.tagNameMap.clear();
}

void LibrarySide::dump() {
    if (!frame_.hasImage()) {
        simulation_.dumpParam(kReqId, kSofId, kCamId);
        return;
    }
    PipelineSimulation::imageInfo info{
        frame_.image(),        kReqId, kSofId, kCamId, kDefaultObject, frame_.shape().width,
        frame_.shape().height, 0};
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
