// Compares the log of a whole dump and replay with transcript.txt. If they differ, writes the new
// log to transcript.txt in the working folder, to be reviewed and copied.
#include "core/LogLine.h"
#include "tests/support/FakeDevice.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <regex>

namespace {

using fake::device;

void dump(PipelineSimulation& pipe) {
    fake::addFile(pipe.configPath, R"(<dumpconfig><common>
        <tag value='FIX_16'><sofid>7</sofid></tag><tag value='FIX_TOO_LARGE'/><tag value='none'/>
        <tag value='KELV_TAG_ISCENE_INFO'><pipe>SNAPSHOT_TYPE</pipe></tag></common><pipeline>
        <node name='isp'><tag name='BLOCK_40'><pipe>VIDEO_TYPE</pipe><camID>-2</camID>
        <sofID>-9</sofID><dumpType>1</dumpType></tag></node><node name='nr'>
        <tag name='MFNR_NAMES'/></node></pipeline></dumpconfig>)");
    fake::addFile(fake::kTuning, "a\n");
    char pixels[] = "123456";
    pipe.init(0);
    pipe.start();
    pipe.dumpParam(-3, -5, -6);
    pipe.dumpNV21(pixels, 2, 2, -5, -6);
    pipe.dumpNV21(pixels, -2, 2, -5, -6);
    pipe.stop();
    pipe.deinit();
}

void replay(PipelineSimulation& pipe) {
    const std::string task = pipe.currentTask, frame = pipe.currentFramePath;
    pipe.init(1);
    pipe.camId = -6;
    pipe.taskList.clear();
    pipe.getTaskList();
    pipe.start();
    tyk::Buffer* image = nullptr;
    pipe.loadParamAndImage(0, image);
    pipe.frameIndex = 0;
    pipe.loadParam(0U);
    fake::addFile(frame + "/iSceneInfo.xml",
                  "<iSceneInfo><cap_info><detect_out><hdr_detect_out><ev0>1.5</ev0><ev1>-2</ev1>"
                  "<ev2>3</ev2></hdr_detect_out></detect_out></cap_info></iSceneInfo>");
    pipe.loadParam2(frame);
    fake::addFile(frame + "/FCPDT_-5_-6_-1_0_FIX_0.bin", "");
    device().freeDescriptors = 0;
    pipe.loadParam2(frame);
    pipe.getFrameList(task.c_str());
    device().freeDescriptors = fake::Device().freeDescriptors;
    fake::addFile(frame + "/FCPDT_-5_-6_-1_0_FIX_LARGEST.bin", "x", 512001);
    fake::addFile(frame + "/FCPDT_-5_-6_-1_1_BLOCK_a_b.bin", "x", INT_MAX);
    pipe.loadParam2(frame);
    pipe.frameIndex = 0;
    pipe.loadParam(0U);
    while (pipe.frameQueue.size() < 11) pipe.frameQueue.emplace();
    pipe.frameIndex = 0;
    pipe.loadParamAndImage(0, image);
    std::vector<std::string> names;
    fake::arm({EIO, false, 3});
    pipe.getSubFiles(frame.c_str(), names);
    fake::disarm();
    EXPECT_EQ(names.size(), 0U);
    pipe.stop();
    pipe.start();
    pipe.deinit();
    PipelineSimulation::tagInfo tag{};
    pipe.parseFileName("FCPDT_-1_-2_-3_-4_x.", &tag);
    PipelineSimulation::imageInfo info{};
    pipe.parseImageName("_-1_-2_-3_-4_x.yuv", &info);
}

TEST(TranscriptTest, ADumpAndItsReplayLogTheSameLines) {
    setenv("TZ", "UTC0", 1);
    tzset();
    fake::restart();
    std::vector<std::string> lines;
    device().story = &lines;
    PipelineSimMgr::getPipeSimInstance(-1);
    PipelineSimulation& pipe = *PipelineSimMgr::getPipeSimInstance(-7);
    dump(pipe);
    replay(pipe);
    device().story = nullptr;
    std::string story;
    const std::regex address("0x[0-9a-f]{6,}");
    for (const std::string& line : lines) story += std::regex_replace(line, address, "@") + "\n";
    std::ifstream file(TYK_TRANSCRIPT);
    const std::string expected{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(story, expected);
    if (story != expected) std::ofstream("transcript.txt") << story;
    fake::checkLeaks();
}

}  // namespace
