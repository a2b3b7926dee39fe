// A disk that fills up in the middle of a frame, at every place, and descriptors that run out: the
// frame is lost in part, the process is not, and the next frame is whole.
#include "tests/FullDiskMount.h"
#include "tests/TestDevice.h"

#include <sys/resource.h>

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

auto count(const Strings& lines, const std::string& part) {
    return std::count_if(lines.begin(), lines.end(), [&part](const std::string& line) {
        return line.find(part) != std::string::npos;
    });
}

class FullDisk : public TestDevice {
protected:
    FullDisk() : disk_(root + "/data") {
        tykhost::setClock({1772719629, 0}, 1000);
        write("/vendor/firmware/mfnr5.2.xml", std::string(300, 'x') + "\n");
        makeFolder(std::string(kRoot) + "/pipe_1");
        write(pipe.configPath, R"(<dumpconfig><common><tag value="plain"/><tag value="full"/>
            <tag value="block"><dumpType>1</dumpType></tag><tag value="mfnr"/>
            <tag value="KELV_TAG_ISCENE_INFO"><pipe>SNAPSHOT_TYPE</pipe></tag>
            </common></dumpconfig>)");
        const std::string value(512000, 'v');
        for (const uint32_t tag : {kPlain, kFull, kScene}) {
            tykhost::setLiveValue(0, tag, value.data(), value.size());
        }
        tykhost::setLiveValue(0, kBlock, value.data(), 6000);
        tykhost::setLiveValue(0, kMfnr, "mfnr5.2.xml", 11);
        pipe.init(0);
        right_ = record();
        EXPECT_EQ(right_.size(), 10U);
    }

    Files record() {
        std::string pixels(64 * 64 * 3 / 2, 'p');
        remove(copy_);
        log.clear();
        pipe.dumpParam(1, 1, 0);
        pipe.dumpNV21(pixels.data(), 64, 64, 1, 0);
        Files found;
        if (fs::exists(host(copy_))) found["copy"] = read(copy_);
        if (!fs::exists(host(pipe.currentFramePath))) return found;
        for (const std::string& name : names(pipe.currentFramePath)) {
            found[name] = read(pipe.currentFramePath + "/" + name);
        }
        return found;
    }

    /// Every file of `found` ends where the space did, if not whole. What is left is replayed: a
    /// parameter file without a byte is reported.
    void expectBeginnings(const Files& found) {
        Strings empty;
        for (const auto& [name, bytes] : found) {
            EXPECT_EQ(right_[name].compare(0, bytes.size(), bytes), 0) << name;
            if (bytes.empty()) empty.push_back(name);
        }
        PipelineSimulation player(pipe.rootPath.c_str(), 1);
        log.clear();
        EXPECT_TRUE(player.loadParam2(pipe.currentFramePath));
        EXPECT_EQ(count(texts(), "getBinSize return negative"),
                  count(empty, "FCPDT") - count(empty, "KELV_TAG_ISCENE_INFO"));
        player.deinit();
    }

    void expectNextFrameRight() {
        remove(pipe.currentFramePath);
        EXPECT_TRUE(record() == right_);
        EXPECT_EQ(texts(), Strings());
        remove(pipe.currentFramePath);
        remove(copy_);
    }

    MemoryDisk disk_;
    PipelineSimulation& pipe = newPipe();
    const std::string copy_ = std::string(kRoot) + "/pipe_1/mfnr5.2.xml";
    Files right_;
};

TEST_F(FullDisk, EverySizeUpToAFrame) {
    if (!disk_.isMounted()) GTEST_SKIP() << "this machine does not let the test mount a disk";
    expectNextFrameRight();
    const fs::space_info space = fs::space(host("/data"));
    int sizes = 0;
    for (Files found; found != right_; ++sizes) {
        const uintmax_t bytes = space.capacity - space.free + static_cast<uintmax_t>(sizes) * 4096;
        ASSERT_TRUE(disk_.resize("size=" + std::to_string(bytes)));
        found = record();
        EXPECT_EQ(texts(), Strings());  // a short write is nobody's business
        expectBeginnings(found);
        ASSERT_TRUE(disk_.resize("size=64m"));
        expectNextFrameRight();
    }
    EXPECT_GT(sizes, 100);
}

TEST_F(FullDisk, NoDescriptors) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int used = dup(STDERR_FILENO);  // all lower ones are taken
    close(used);
    PipelineSimulation player(pipe.rootPath.c_str(), 1);
    player.init(1);
    player.currentTask = pipe.rootPath;
    for (const int left : {0, 1, 2}) {
        record();
        const std::string frame = pipe.currentFramePath;
        player.frameList = {fs::path(frame).filename()};
        const rlimit limit{static_cast<rlim_t>(used + left), before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
        log.clear();
        pipe.init(0);
        pipe.dumpMFNRXml(std::string("mfnr5.2.xml").append(4096, '\0').data());
        pipe.dumpNV21(nullptr, 0, 0, 1, 0);
        player.loadParam2(frame);
        player.frameIndex = 0;
        player.loadParam(0U);
        player.getFrameList(pipe.rootPath.c_str());
        const Strings lines = texts();
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
        // Two are enough for everything.
        const int none = left == 0 ? 1 : 0;
        EXPECT_EQ(count(lines, "pipe" + std::to_string(pipe.pipeId) + "_dumpConfig.xml"), none);
        EXPECT_EQ(count(lines, "src /vendor/firmware/mfnr5.2.xml open failed!"), none);
        EXPECT_EQ(count(lines, "dst " + copy_ + " open failed!"), left == 1 ? 1 : 0);
        EXPECT_EQ(count(lines, "FCWH_1_0_0_0_nv21.yuv"), none);
        EXPECT_TRUE(left == 1 || count(lines, "Could not OpenDIR") == 4 * none);
        EXPECT_EQ(lines.empty(), left == 2);
        pipe.init(0);
        expectNextFrameRight();
    }
    player.deinit();
}

}  // namespace
