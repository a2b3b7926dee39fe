// Replays the frames of a task folder of dump_frames, and prints the values that arrive.
//
//   replay_frames TASK-FOLDER
#include "core/PipelineSimulation.h"
#include "host/ParamService.h"

#include <cstdio>
#include <cstring>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s TASK-FOLDER\n", argv[0]);
        return 2;
    }
    tykhost::setTagTable({{4711, "KELV_TAG_EXAMPLE", 4, tyktags::TagKind::fixed}});

    // Any folder with frame folders is a task; the default object replays it without making a
    // folder.
    PipelineSimulation* const pipe = PipelineSimMgr::getPipeSimInstance(-1);
    pipe->init(1);
    pipe->taskList = {argv[1]};
    pipe->start();
    const int frames = pipe->getFrameSize();
    if (frames == 0) {
        std::fprintf(stderr, "%s: holds no frame folders\n", argv[1]);
        return 1;
    }
    for (int frame = 0; frame < frames; ++frame) {
        const int before = pipe->frameIndex;
        tyk::Buffer* image = nullptr;
        pipe->loadParamAndImage(0, image);
        if (pipe->frameIndex == before) {
            std::fprintf(stderr, "abandoned: %s\n", pipe->currentFramePath.c_str());
            return 1;
        }
        const std::vector<tykhost::PublishedValue> values = tykhost::publishedValues();
        if (values.empty() && !image) {
            std::fprintf(stderr, "no frame: %s\n", pipe->currentFramePath.c_str());
            return 1;
        }
        for (const tykhost::PublishedValue& value : values) {
            int gain = 0;
            std::memcpy(&gain, value.bytes.data(), sizeof(gain));
            std::printf("sof %u: gain %d\n", value.key.sofId, gain);
        }
        tykhost::clearPublished();
        if (image) std::printf("image %d x %d\n", image->image->width, image->image->height);
    }
    pipe->stop();
    pipe->deinit();
    return 0;
}
