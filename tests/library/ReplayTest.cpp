// Replaying frame folders: the three loaders, the frame queue, and images.
#include "tests/support/TestDevice.h"

#include <climits>

#include <csignal>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

enum Loader { kFolderLoader, kParamLoader, kImageLoader };
constexpr Loader kLoaders[] = {kFolderLoader, kParamLoader, kImageLoader};

constexpr const char* kImage = "FCWH_17_300_4_2_nv21.yuv";
constexpr const char* kBlockFile = "FCPDT_5_2_1_1_block.bin";
constexpr const char* kPlainFile = "FCPDT_5_2_1_0_plain.bin";
constexpr const char* kPlainValue = "2/1/5/7 6162630000000000";  // "abc"
constexpr const char* kEmpty = "getBinSize return negative, size: 0";

class Replay : public TestDevice {
protected:
    Replay() {
        close(STDIN_FILENO);  // 0 is a descriptor like any other
        restart();
    }
    ~Replay() override { pipe.deinit(); }

    /// Empties the queue, the frame's folder and the log.
    void restart() {
        pipe.deinit();
        pipe.init(1);
        pipe.currentTask = pipe.rootPath;
        pipe.frameList = {"f", "g"};
        remove(at);
        makeFolder(at);
        published();
        log.clear();
    }

    /// Loads the frame at index 0.
    void load(Loader loader) {
        pipe.frameIndex = 0;
        if (loader == kFolderLoader) pipe.loadParam2(folder);
        if (loader == kParamLoader) pipe.loadParam(0);
        if (loader == kImageLoader) pipe.loadParamAndImage(0, img);
    }

    /// "frames queued, index of the next frame"
    std::string queue() const {
        return std::to_string(pipe.frameQueue.size()) + ", " + std::to_string(pipe.frameIndex);
    }

    std::string pixels() const { return {static_cast<char*>(img->image->data), 12}; }

    PipelineSimulation& pipe = newPipe();
    const std::string folder = pipe.rootPath + "/f", at = folder + "/";
    tyk::Buffer* img = nullptr;
};

TEST_F(Replay, OneFileByEveryLoader) {
    constexpr uintmax_t k2GiB = uintmax_t{1} << 31;
    const struct {
        const char* name;   // "": the folder stays empty
        uintmax_t size;     // of the file, which begins with "abc"
        std::string value;  // what is published, or the failure
        const char* sof;    // what the folder loader passes on
    } cases[] = {
        {kPlainFile, 3, kPlainValue, "5"},
        {"FCPDT_-1_2_-1_0_plain.bin", 3, "2/-1/4294967295/7 6162630000000000", "4294967295"},
        {kBlockFile, 3, "2/1/5/9 [abc]", "5"},
        {"FCPDT_5_2_1_-7_block_2.bin", 3, "2/1/5/10 [abc]", "5"},
        {"FCPDT_5_2_1_0_full.bin", 512000, "2/1/5/11 512000", "5"},
        {kPlainFile, 2 * k2GiB + 8, kPlainValue, "5"},
        {"", 0, "", "0"},
        {kPlainFile, 0, kEmpty, "5"},
        {kBlockFile, 0, kEmpty, "5"},
        {kBlockFile, k2GiB, "getBinSize return negative, size: -2147483648", "5"},
        {kPlainFile, 2 * k2GiB - 1, "getBinSize return negative, size: -1", "5"},
        {"FCPDT_5_2_1_0_full.bin", 512001,
         "size 512001 is above 512000: " + at + "FCPDT_5_2_1_0_full.bin", "5"},
        {"FCPDT_5_2_1_0_KELV_TAG_ISCENE_INFO.bin", 3, "2/1/5/2118 8512", "0"},
    };
    for (const auto& [name, size, value, sof] : cases) {
        for (const Loader loader : kLoaders) {
            SCOPED_TRACE(name + std::string(" by ") + std::to_string(loader));
            restart();
            if (*name) write(at + name, size ? "abc" : "", size);
            load(loader);
            const bool bad = value.find("size") != std::string::npos;
            const bool ofFolder = loader == kFolderLoader;
            Strings expected;
            if (!bad && !value.empty() && (!ofFolder || *sof != '0')) expected = {value};
            if (ofFolder) {
                expected.insert(expected.end(), {"0/1/0/8208 40010000f0000000", "0/1/0/8198 5f",
                                                 "0/1/" + std::string(sof) + "/65622 4096"});
            }
            EXPECT_EQ(published(), expected);
            EXPECT_EQ(queue(), bad && !ofFolder ? "0, 0" : "1, 1");
            const Strings failed = texts();
            EXPECT_EQ(failed.size(), (bad ? 1u : 0u) + (ofFolder ? 2u : 0u));
            EXPECT_EQ(bad ? failed.at(0) : value, value);
            EXPECT_EQ(img, nullptr);
        }
    }
}

// Neither a sanitizer's nor an emulator's own memory lets itself be limited.
#if !defined(TYK_SANITIZED) && !TYK_EMULATED
TEST_F(Replay, ABlockWithoutMemoryIsPassedOver) {
    write(at + kBlockFile, "abc", INT_MAX);
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit tight{rlim_t{1} << 30, before.rlim_max};
    setrlimit(RLIMIT_AS, &tight);
    void* volatile block = std::malloc(INT_MAX);
    load(kFolderLoader);
    setrlimit(RLIMIT_AS, &before);
    const bool limited = block == nullptr;
    std::free(block);
    ASSERT_TRUE(limited) << "nothing limits memory here";
    const Strings lines = story();
    EXPECT_EQ(Strings(lines.begin() + 2, lines.begin() + 4),
              Strings({"1 loadParam2: blockParam null.", "4 operator(): free buffer (nil)"}));
    EXPECT_EQ(pipe.frameQueue.back().params.size(), 0u);
    EXPECT_EQ(published().size(), 3u);
}
#endif

TEST_F(Replay, ABlockThatShrankEndsInZeros) {
    write(at + kBlockFile, std::string(4000, 'x'));
    load(kParamLoader);
    pipe.deinit();  // leaves memory behind that is not zero
    Strings open;
    tykhost::takeLogLines([&](const tykhost::LogLine& line) {
        if (line.text.find("malloc block") != 0) return;
        open = openFiles();
        fs::resize_file(host(at + kBlockFile), 3);
    });
    load(kParamLoader);
    tykhost::takeLogLines(nullptr);
    EXPECT_EQ(open, Strings({folder, at + kBlockFile}));
    const auto* const bytes = static_cast<char*>(pipe.frameQueue.back().params.at(0).get());
    EXPECT_TRUE(std::string(bytes, 4000) == "xxx" + std::string(3997, '\0'));
}

TEST_F(Replay, AFileUnderALeaseIsWaitedFor) {
    write(at + kBlockFile, "abc");
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGIO);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const int holder = ::open(host(at + kBlockFile).c_str(), O_RDWR | O_CLOEXEC);
    if (fcntl(holder, F_SETLEASE, F_WRLCK) != 0) GTEST_SKIP() << "no leases on this disk";
    std::thread keeper([&] {
        int signal = 0;
        sigwait(&signals, &signal);
        fcntl(holder, F_SETLEASE, F_UNLCK);
    });
    Strings open;
    tykhost::takeLogLines([&](const tykhost::LogLine& line) {
        if (line.text.find("malloc block") == 0) open = openFiles();
    });
    load(kParamLoader);
    tykhost::takeLogLines(nullptr);
    kill(getpid(), SIGIO);  // in case nobody wanted the file
    keeper.join();
    close(holder);
    EXPECT_EQ(open, Strings({folder, at + kBlockFile, at + kBlockFile}));
    EXPECT_EQ(published(), Strings({"2/1/5/9 [abc]"}));
}

TEST_F(Replay, EntriesAndTheFrameIndex) {
    PipelineSimulation& fresh = newPipe();
    write(at + "FCPDT_1_0_0_0_plain.bin", "first");
    write(pipe.rootPath + "/g/FCPDT_2_0_0_0_plain.bin", "second");
    EXPECT_TRUE(PipelineSimulation::loadParam(fresh.pipeId, at, 6));
    EXPECT_TRUE(fresh.initialised);
    EXPECT_NE(fresh.bufferManager, nullptr);
    EXPECT_EQ(fresh.mode, 1);
    EXPECT_EQ(published(), Strings({"0/0/1/7 6669727374000000", "6/1/0/8208 40010000f0000000",
                                    "6/1/0/8198 5f", "6/1/1/65622 4096"}));
    fresh.deinit();
    // Every loader counts, whichever folder it loads; the argument does not.
    EXPECT_TRUE(pipe.loadParam2(pipe.rootPath + "/none"));
    EXPECT_EQ(pipe.currentFramePath, "");
    published();
    pipe.loadParam(7);
    EXPECT_EQ(pipe.currentFramePath, pipe.rootPath + "/g");
    EXPECT_EQ(published(), Strings({"0/0/2/7 7365636f6e640000"}));
    // An object that is not initialised starts from the beginning; only two loaders see to that.
    pipe.frameIndex = 1;
    pipe.initialised = false;
    pipe.loadParamAndImage(0, img);
    EXPECT_FALSE(pipe.initialised);
    EXPECT_EQ(pipe.frameIndex, 2);
    pipe.loadParam(7);
    EXPECT_TRUE(pipe.initialised);
    EXPECT_EQ(pipe.frameIndex, 1);
}

TEST_F(Replay, BlocksLiveWithTheirFrameAndValuesLeaveTheirRest) {
    // Enough files that every kind follows every other, whatever order the folder has.
    for (int i = 0; i < 8; ++i) {
        const std::string number = std::to_string(i), prefix = at + "FCPDT_" + number + "_0_0_";
        write(prefix + "0_plain.bin", "abcdefg" + number);
        write(prefix + "1_block.bin", "block " + number);
        write(prefix + "0_other_tag.bin", "x" + number);
    }
    Strings order, blocks, expected, frees;  // the last block is freed first
    pipe.getSubFiles(at.c_str(), order);
    std::string scratch(8, '\0');
    for (const std::string& name : order) {
        const std::string bytes = read(at + name);
        const bool isBlock = name.find("block") != std::string::npos;
        if (isBlock) blocks.push_back(bytes);
        // A short file leaves the rest of the value before; blocks change nothing.
        expected.push_back(isBlock ? "[" + bytes + "]"
                                   : hex(scratch.replace(0, bytes.size(), bytes)));
    }
    load(kParamLoader);
    Strings values = published();
    for (std::string& value : values) value.erase(0, value.find(' ') + 1);
    EXPECT_EQ(values, expected);
    const auto& params = pipe.frameQueue.front().params;
    ASSERT_EQ(params.size(), blocks.size());
    for (size_t i = 0; i < blocks.size(); ++i) {
        EXPECT_EQ(params[i].use_count(), 1);
        EXPECT_EQ(blocks[i].compare(0, 7, static_cast<char*>(params[i].get()), 7), 0);
        char text[40];
        std::snprintf(text, sizeof(text), "free buffer %p", params[i].get());
        frees.insert(frees.begin(), text);
    }
    log.clear();
    pipe.deinit();
    Strings lines = texts(4);
    EXPECT_EQ(Strings(lines.begin() + 1, lines.end() - 1), frees);
    // A frame that is given up lets go of its blocks at once.
    write(at + "FCPDT_1_0_0_1_zz.bin", "");
    load(kParamLoader);
    EXPECT_EQ(queue(), "0, 0");
    lines = story();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "4 loadParam: malloc block param buffer @"),
              std::count(lines.begin(), lines.end(), "4 operator(): free buffer @"));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), std::string("1 loadParam: ") + kEmpty), 1);
}

TEST_F(Replay, ImageGoesIntoABuffer) {
    write(at + kImage, "0123456789abcdef");
    pipe.pipeId = -5;
    load(kImageLoader);
    ASSERT_NE(img, nullptr);
    const tyk::ImageDescriptor& image = *img->image;
    EXPECT_EQ((std::vector<int64_t>{image.camId, image.sofId, image.width, image.height}),
              (std::vector<int64_t>{300 % 256, 17, 4, 2}));
    EXPECT_EQ(image.pipeId, -5u);
    EXPECT_EQ(pixels(), "0123456789ab");
    EXPECT_EQ(pipe.frameQueue.back().image, img);
    // A file that is short or cannot be opened leaves the rest of the buffer, and is a frame.
    for (const bool missing : {false, true}) {
        restart();
        if (!missing) write(at + kImage, "XY");
        if (missing) fs::create_symlink("nowhere", host(at + kImage));
        load(kImageLoader);
        EXPECT_EQ(pixels(), "XY23456789ab");
        EXPECT_EQ(queue(), "1, 1");
    }
    EXPECT_EQ(story().back(), "1 readBin: open failed: " + at + kImage);
    // A size that wraps below zero is not read.
    restart();
    tykhost::setMaxBufferBytes(size_t{2} << 30);
    write(at + "FCWH_1_0_30000_30000_nv21.yuv", "0123456789ab");
    load(kImageLoader);
    EXPECT_EQ(texts(),
              Strings({"size -797483648 is negative: " + at + "FCWH_1_0_30000_30000_nv21.yuv"}));
    EXPECT_EQ(queue(), "1, 1");
    EXPECT_EQ(static_cast<const char*>(img->image->data)[0], 0);
}

TEST_F(Replay, EveryOtherFileAsksForABuffer) {
    for (const char* const name : {"iSceneInfo.xml", "ISCENE_CAP_INFO_DETECT_OUT.bin", "x.yuv",
                                   "FCWH_1_0_4_2_nv21.yuv", "FCWH_1_0_4_4_nv21.yuv"}) {
        write(at + name, std::string(24, 'p'));
    }
    Strings order;
    pipe.getSubFiles(at.c_str(), order);
    load(kImageLoader);
    const std::vector<tyk::Buffer*> out = tykhost::buffersOut();
    ASSERT_EQ(out.size(), order.size());
    for (size_t i = 0; i < out.size(); ++i) {
        const bool image = order[i].find("FCWH") == 0;
        EXPECT_EQ(out[i]->image->width, image ? 4 : 0) << order[i];
        EXPECT_EQ(out[i]->image->height, image ? order[i][11] - '0' : 0) << order[i];
    }
    EXPECT_EQ(img, out.back());
    EXPECT_EQ(pipe.frameQueue.back().image, out.back());
    pipe.deinit();
    EXPECT_EQ(tykhost::bufferPoolCounts().out, order.size() - 1);
}

TEST_F(Replay, WithoutABufferTheFrameIsGivenUp) {
    tyk::Buffer before{};
    tykhost::setMaxBuffersOut(0);
    for (const char* const size : {"4_2", "-4_2", "4_-2", "65536_65536", "99999999999_1"}) {
        restart();
        img = &before;
        write(at + "FCWH_1_0_" + size + "_nv21.yuv", "0123456789ab");
        load(kImageLoader);
        EXPECT_EQ(img, &before);
        EXPECT_EQ(texts(), Strings());
        EXPECT_EQ(queue(), "0, 0") << size;
        tykhost::setMaxBuffersOut(SIZE_MAX);  // the other sizes are no pool's
    }
    // A buffer that came before the failure is the caller's.
    restart();
    img = nullptr;
    write(at + kImage, "0123456789ab");
    write(at + "FCPDT_1_0_0_0_plain.bin", "");
    Strings order;
    pipe.getSubFiles(at.c_str(), order);
    load(kImageLoader);
    EXPECT_EQ(img != nullptr, order[0] == kImage);
    EXPECT_EQ(tykhost::bufferPoolCounts().out, order[0] == kImage ? 1u : 0u);
    EXPECT_EQ(queue(), "0, 0");
}

TEST_F(Replay, ElevenFramesStayQueued) {
    write(at + kImage, "0123456789ab");
    write(at + kBlockFile, "block");
    std::vector<tyk::Buffer*> images;
    for (size_t i = 0; i < 13; ++i) {
        log.clear();
        load(kImageLoader);
        images.push_back(img);
        EXPECT_EQ(pipe.frameQueue.size(), std::min<size_t>(i + 1, 11));
        EXPECT_EQ(tykhost::bufferPoolCounts().returned, i < 11 ? 0 : i - 10);
    }
    Strings lines = story();
    lines.resize(2);
    EXPECT_EQ(lines, Strings({"4 operator(): free block param buffer @",
                              "4 loadParamAndImage: return img: @"}));
    EXPECT_EQ(pipe.frameQueue.front().image, images[2]);
    // Frames without an image only join; one frame leaves per call that may bring an image.
    remove(at + kImage);
    for (const Loader loader : {kParamLoader, kFolderLoader, kParamLoader}) load(loader);
    for (int i = 0; i < 2; ++i) load(kImageLoader);
    EXPECT_EQ(pipe.frameQueue.size(), 14u);
    EXPECT_EQ(pipe.frameQueue.front().image, images[4]);
    // A call that is given up has retired one all the same.
    write(at + "FCPDT_1_0_0_0_plain.bin", "");
    load(kImageLoader);
    log.clear();
    pipe.deinit();
    lines = story();
    EXPECT_EQ(lines.front(), "4 deinit: total free frames: 13");
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "4 deinit: return img: @"), 8);
    EXPECT_EQ(tykhost::bufferPoolCounts().out + pipe.frameQueue.size(), 0u);
}

}  // namespace
