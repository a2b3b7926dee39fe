#include "core/FrameQueue.h"

#include "core/LogLine.h"
#include "core/PipelineSimulation.h"

void retireFrontFrame(PipelineSimulation& simulation, const char* function) {
    PipelineSimulation::FrameData& frame = simulation.frameQueue.front();
    while (!frame.params.empty()) frame.params.pop_back();
    if (frame.image) {
        TYK_LOG_AS(kDetail, function, "return img: %p", static_cast<void*>(frame.image));
        simulation.bufferManager->returnBuffer(frame.image, tyk::kReplayBufferUsage, false);
    }
    simulation.frameQueue.pop();
}
