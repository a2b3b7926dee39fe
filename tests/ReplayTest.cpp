// Replaying frame folders: the three loaders, the frame queue, and images.
#include "tests/TestDevice.h"

namespace {

enum Loader { kFolderLoader, kParamLoader, kImageLoader };
constexpr Loader kLoaders[] = {kFolderLoader, kParamLoader, kImageLoader};

constexpr const char* kImage = "FCWH_17_300_4_2_nv21.yuv";
constexpr const char* kEmpty = "getBinSize return negative, size: 0";

class Replay : public TestDevice {
protected:
    Replay() { restart(); }
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
        if (loader == kFolderLoader) pipe.loadParam2(pipe.rootPath + "/f");
        if (loader == kParamLoader) pipe.loadParam(0);
        if (loader == kImageLoader) pipe.loadParamAndImage(0, img);
    }

    std::string pixels() const { return {static_cast<char*>(img->image->data), 12}; }

    PipelineSimulation& pipe = newPipe();
    const std::string at = pipe.rootPath + "/f/";
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
        {"FCPDT_5_2_1_0_plain.bin", 3, "2/1/5/7 6162630000000000", "5"},
        {"FCPDT_-1_2_-1_0_plain.bin", 3, "2/-1/4294967295/7 6162630000000000", "4294967295"},
        {"FCPDT_5_2_1_1_block.bin", 3, "2/1/5/9 [abc]", "5"},
        {"FCPDT_5_2_1_-7_block_2.bin", 3, "2/1/5/10 [abc]", "5"},
        {"FCPDT_5_2_1_0_full.bin", 512000, "2/1/5/11 512000", "5"},
        {"FCPDT_5_2_1_0_plain.bin", 2 * k2GiB + 8, "2/1/5/7 6162630000000000", "5"},
        {"", 0, "", "0"},
        {"FCPDT_5_2_1_0_plain.bin", 0, kEmpty, "5"},
        {"FCPDT_5_2_1_1_block.bin", 0, kEmpty, "5"},
        {"FCPDT_5_2_1_1_block.bin", k2GiB, "getBinSize return negative, size: -2147483648", "5"},
        {"FCPDT_5_2_1_0_plain.bin", 2 * k2GiB - 1, "getBinSize return negative, size: -1", "5"},
        {"FCPDT_5_2_1_0_full.bin", 512001, "size 512001 is above 512000: ", "5"},
        {"FCPDT_5_2_1_0_KELV_TAG_ISCENE_INFO.bin", 3, "2/1/5/2118 8512", "0"},
    };
    for (const auto& test : cases) {
        for (const Loader loader : kLoaders) {
            restart();
            const std::string what = test.name + std::string(" by ") + std::to_string(loader);
            if (*test.name) write(at + test.name, test.size ? "abc" : "", test.size);
            load(loader);
            const bool bad = test.value.find("size") != std::string::npos;
            const bool skipped =
                bad || test.value.empty() || (loader == kFolderLoader && *test.sof == '0');
            Strings expected;
            if (!skipped) expected.push_back(test.value);
            if (loader == kFolderLoader) {
                for (const std::string& value :
                     {std::string("0/8208 40010000f0000000"), std::string("0/8198 5f"),
                      std::string(test.sof) + "/65622 4096"}) {
                    expected.push_back("0/1/" + value);
                }
            }
            EXPECT_EQ(published(), expected) << what;
            const bool queued = !bad || loader == kFolderLoader;
            EXPECT_EQ(pipe.frameQueue.size(), queued ? 1u : 0u) << what;
            EXPECT_EQ(pipe.frameIndex, queued ? 1 : 0) << what;
            const Strings failed = texts();
            if (bad) {
                const bool named = test.size == 512001;
                EXPECT_EQ(failed[0], test.value + (named ? at + test.name : "")) << what;
            }
            EXPECT_EQ(failed.size(), (bad ? 1u : 0u) + (loader == kFolderLoader ? 2u : 0u)) << what;
            EXPECT_EQ(img, nullptr) << what;
        }
    }
}

TEST_F(Replay, LinesOfTheLoadersAndOfTheQueue) {
    const std::string folder = pipe.rootPath + "/f";
    write(at + "FCPDT_5_2_1_1_block.bin", "abc");
    Strings parsed = each("4 parseFileName: ", {"E name FCPDT_5_2_1_1_block.bin",
                                                "X cam 2, pipe 1, sof 5, tag 9, dump 1"});
    EXPECT_TRUE(pipe.loadParam2(folder));
    EXPECT_EQ(
        story(),
        Strings({parsed[0], parsed[1], "4 loadParam2: malloc block param buffer @",
                 "4 prepareParams: E",
                 "1 loadISceneInfo: Document not parsed successfully! with file path " + folder +
                     "/iSceneInfo.xml",
                 std::string("1 getSubFiles: Could not OpenDIR with Path ") + kRoot + "/pipe_1",
                 "4 loadMFNRXml: path: tyksimulation/mfnr5.2.xml, sofId: 5, cameraId: 0"}));
    EXPECT_EQ(pipe.currentFramePath, "");
    load(kParamLoader);
    EXPECT_EQ(story(), Strings({parsed[0], parsed[1], "4 loadParam: malloc block param buffer @"}));
    EXPECT_EQ(pipe.currentFramePath, folder);
    load(kImageLoader);
    EXPECT_EQ(story(),
              Strings({"4 loadParamAndImage: load path: " + folder + ", filesNum 1", parsed[0],
                       parsed[1], "4 loadParamAndImage: malloc block param buffer @"}));
    pipe.deinit();
    EXPECT_EQ(story(), Strings({"4 deinit: total free frames: 3", "4 operator(): free buffer @",
                                "4 operator(): free buffer @",
                                "4 operator(): free block param buffer @", "4 deinit: X done."}));
}

TEST_F(Replay, EntriesAndTheFrameIndex) {
    PipelineSimulation& fresh = newPipe();
    write(at + "FCPDT_1_0_0_0_plain.bin", "first");
    write(pipe.rootPath + "/g/FCPDT_2_0_0_0_plain.bin", "second");
    EXPECT_TRUE(PipelineSimulation::loadParam(fresh.pipeId, at, 6));
    EXPECT_TRUE(fresh.initialised && fresh.bufferManager && fresh.mode == 1 && fresh.camId == 6);
    EXPECT_EQ(published(), Strings({"0/0/1/7 6669727374000000", "6/1/0/8208 40010000f0000000",
                                    "6/1/0/8198 5f", "6/1/1/65622 4096"}));
    fresh.deinit();
    // Every loader counts, whichever folder it loads; the argument does not.
    EXPECT_TRUE(pipe.loadParam2(pipe.rootPath + "/none"));
    published();
    pipe.loadParam(7);
    EXPECT_EQ(published(), Strings({"0/0/2/7 7365636f6e640000"}));
    pipe.frameList.clear();
    pipe.start();
    EXPECT_EQ(pipe.frameIndex, 0);
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
    Strings order, blocks, expected;
    pipe.getSubFiles(at.c_str(), order);
    std::string scratch(8, '\0');
    for (const std::string& name : order) {
        const std::string bytes = read(at + name);
        if (name.find("block") != std::string::npos) {
            blocks.push_back(bytes);
            expected.push_back("[" + bytes + "]");
        } else {
            // A short file leaves the rest of the value before; blocks change nothing.
            expected.push_back(hex(scratch.replace(0, bytes.size(), bytes)));
        }
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
    }
    // A frame that is given up lets go of its blocks at once.
    write(at + "FCPDT_1_0_0_1_zz.bin", "");
    log.clear();
    load(kParamLoader);
    EXPECT_EQ(pipe.frameQueue.size(), 1u);
    const Strings lines = story();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "4 loadParam: malloc block param buffer @"),
              std::count(lines.begin(), lines.end(), "4 operator(): free buffer @"));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), std::string("1 loadParam: ") + kEmpty), 1);
}

TEST_F(Replay, ImageGoesIntoABuffer) {
    write(at + kImage, "0123456789abcdef");
    load(kImageLoader);
    const std::string name = kImage;
    const Strings lines = story();
    EXPECT_EQ(Strings(lines.begin() + 1, lines.end()),
              Strings({"4 parseFileName: E name " + name, "4 parseImageName: E name " + name,
                       "4 parseImageName: X cam 300, sof 17, w 4, h 2",
                       "4 loadParamAndImage: get img @, pipe " + std::to_string(pipe.pipeId)}));
    ASSERT_NE(img, nullptr);
    const tyk::ImageDescriptor& image = *img->image;
    EXPECT_EQ(image.camId, 300 % 256);
    EXPECT_EQ(image.width * 10 + image.height, 42);
    EXPECT_EQ(image.sofId, 17u);
    EXPECT_EQ(image.pipeId, static_cast<uint32_t>(pipe.pipeId));
    EXPECT_EQ(pixels(), "0123456789ab");
    EXPECT_EQ(pipe.frameQueue.back().image, img);
    // A file that is short or cannot be opened leaves the rest of the buffer, and is a frame.
    for (const bool missing : {false, true}) {
        restart();
        if (missing) {
            fs::create_symlink("nowhere", host(at + kImage));
        } else {
            write(at + kImage, "XY");
        }
        load(kImageLoader);
        EXPECT_EQ(pixels(), "XY23456789ab");
        EXPECT_EQ(pipe.frameQueue.size(), 1u);
    }
    EXPECT_EQ(story().back(), "1 readBin: open failed: " + at + kImage);
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

TEST_F(Replay, AnImageWhoseSizeWrapsBelowZeroIsNotRead) {
    tykhost::setMaxBufferBytes(size_t{2} << 30);
    const std::string path = at + "FCWH_1_0_30000_30000_nv21.yuv";
    write(path, "0123456789ab");
    load(kImageLoader);
    EXPECT_EQ(texts(), Strings({"size -797483648 is negative: " + path}));
    ASSERT_EQ(pipe.frameQueue.size(), 1u);
    EXPECT_EQ(static_cast<const char*>(img->image->data)[0], 0);
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
        EXPECT_EQ(pipe.frameQueue.size() + static_cast<size_t>(pipe.frameIndex), 0u) << size;
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
    EXPECT_EQ(pipe.frameQueue.size(), 0u);
}

TEST_F(Replay, ElevenFramesStayQueued) {
    write(at + kImage, "0123456789ab");
    write(at + "FCPDT_1_0_0_1_block.bin", "block");
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
