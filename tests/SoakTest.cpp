// Frames without end: what they leave in the process is the queue's last eleven.
//
// TYK_SOAK_FRAMES sets their number.
#include "tests/FullDiskMount.h"
#include "tests/TestDevice.h"

#include <cstring>
#include <unistd.h>

extern "C" [[gnu::weak]] void __tsan_init();

namespace {

namespace fs = std::filesystem;

long residentPages() {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident;
}

auto openDescriptors() {
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
}

TEST_F(TestDevice, SoakedInFrames) {
    const char* const wanted = std::getenv("TYK_SOAK_FRAMES");
    const long frames = wanted ? std::stol(wanted) : 10000;
    const MemoryDisk disk(root + "/data");
    tykhost::setClock({1772719629, 0}, 1000);
    size_t failed = 0;
    tykhost::takeLogLines([&failed](const tykhost::LogLine& line) { failed += line.level == 1; });
    makeFolder(std::string(kRoot) + "/pipe_1");
    PipelineSimulation& recorder = newPipe();
    PipelineSimulation& player = newPipe();
    PipelineSimulation& folders = newPipe();
    write(recorder.configPath, R"(<dumpconfig><common><tag value="plain"/>
        <tag value="KELV_TAG_ISCENE_INFO"><pipe>SNAPSHOT_TYPE</pipe></tag>
        <tag value="block"><dumpType>1</dumpType></tag></common></dumpconfig>)");
    recorder.init(0);
    recorder.start();
    player.init(1);
    player.currentTask = recorder.currentTask;
    std::string pixels(16 * 16 * 3 / 2, 'p');
    for (const uint32_t tag : {kBlock, kScene}) {
        tykhost::setLiveValue(0, tag, pixels.data(), pixels.size());
    }
    long pages = 0;
    const auto descriptors = openDescriptors();
    for (int i = 0; i < frames && !HasFailure(); ++i) {
        if (i == 1000) pages = residentPages();
        tykhost::setLiveValue(0, kPlain, &i, sizeof(i));
        recorder.dumpParam(i, i, 0);
        recorder.dumpNV21(pixels.data(), 16, 16, i, 0);
        const std::string frame = recorder.currentFramePath;
        EXPECT_TRUE(folders.loadParam2(frame));
        folders.deinit();
        folders.taskList.clear();  // each init() adds to it

        // The image loader takes the scene's files for images too, and would lose their buffers.
        for (const std::string& name : names(frame)) {
            if (name[0] != 'F') remove(frame + "/" + name);
        }
        player.frameList = {fs::path(frame).filename()};
        player.frameIndex = 0;
        tyk::Buffer* image = nullptr;
        player.loadParamAndImage(0, image);
        EXPECT_EQ(player.frameQueue.size(), static_cast<size_t>(std::min(i + 1, 11)));
        EXPECT_EQ(tykhost::bufferPoolCounts().out, player.frameQueue.size());
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(std::memcmp(image->image->data, pixels.data(), pixels.size()), 0);
        tykhost::PublishedValue plain{};
        ASSERT_TRUE(tykhost::publishedValue({0, 0, static_cast<uint32_t>(i), kPlain}, plain));
        EXPECT_EQ(std::memcmp(plain.bytes.data(), &i, sizeof(i)), 0);
        remove(frame);
    }
    const long grown = residentPages() - pages;
    const bool foreign = TYK_EMULATED != 0 || &__lsan_do_leak_check || &__tsan_init;
    std::printf("%ld frames, %ld pages more%s\n", frames, grown,
                foreign ? ", not judged: a sanitizer's or an emulator's are among them" : "");
    EXPECT_TRUE(foreign || frames <= 1000 || grown <= 64) << grown;
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(failed, 0U);
    EXPECT_EQ(tykhost::bufferPoolCounts().allocated, 11U);
    player.deinit();
    tykhost::takeLogLines(nullptr);
}

}  // namespace
