// Dumps three frames with one parameter each, as a camera pipeline would.
//
//   dump_frames FOLDER     FOLDER represents the device's root and must exist
#include "core/PipelineSimulation.h"
#include "host/DeviceRoot.h"
#include "host/ParamService.h"
#include "host/Properties.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }

    // The device: the place of its folders, the tags of its parameter-set service, the tags to
    // dump, and the property that asks for dumps.
    tykhost::setDeviceRoot(argv[1]);
    tykhost::setTagTable({{4711, "KELV_TAG_EXAMPLE", 4, tyktags::TagKind::fixed}});
    const std::filesystem::path dumpRoot = tykhost::hostPath("/data/vendor/cameraserver/tykdump");
    std::error_code error;
    std::filesystem::create_directories(dumpRoot, error);
    const std::filesystem::path config = dumpRoot / "pipe1_dumpConfig.xml";
    if (!(std::ofstream(config)
          << "<dumpconfig><common><tag value=\"KELV_TAG_EXAMPLE\"><pipe>SNAPSHOT_TYPE</pipe>"
             "</tag></common></dumpconfig>\n"
          << std::flush)) {
        std::fprintf(stderr, "%s: cannot be written: %s\n", config.c_str(), std::strerror(errno));
        return 1;
    }
    tykhost::setProperty("persist.vendor.cam.isstest", "1");

    // The pipeline: prepare once, then pass every frame.
    PipelineSimulation* const pipe = PipelineSimMgr::getPipeSimInstance(1);
    pipe->init(0);
    pipe->start();
    std::vector<unsigned char> image(64 * 48 * 3 / 2, 0x80);
    for (int frame = 1; frame <= 3; ++frame) {
        const int gain = 100 * frame;
        tykhost::setLiveValue(0, 4711, &gain, sizeof(gain));
        PipelineSimulation::imageInfo info{image.data(), frame, frame, 0, 1, 64, 48, 0};
        PipelineSimulation::dumpIfneed(info);
    }
    pipe->stop();
    std::printf("%s\n", tykhost::hostPath(pipe->currentTask).c_str());
    pipe->deinit();
    return 0;
}
