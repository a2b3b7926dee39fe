// Tests of the entry points of a replay, and of files that change or are under a lease meanwhile.
// The corpus of frame_folder tests how the three loaders read a folder.
#include "tests/support/Lease.h"
#include "tests/support/TestDevice.h"

#include <unistd.h>

namespace {

constexpr const char* kImage = "FCWH_17_300_4_2_nv21.yuv";
constexpr const char* kBlockFile = "FCPDT_5_2_1_1_block.bin";

class Replay : public TestDevice {
protected:
    Replay() {
        close(STDIN_FILENO);  // the library must cope with descriptor 0
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

    // Each function loads the frame at index 0.
    void loadParams() {
        pipe.frameIndex = 0;
        pipe.loadParam(0);
    }
    void loadImage() {
        pipe.frameIndex = 0;
        pipe.loadParamAndImage(0, img);
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

TEST_F(Replay, ABlockThatShrankEndsInZeros) {
    write(at + kBlockFile, std::string(4000, 'x'));
    loadParams();
    pipe.deinit();  // frees memory that is not zero
    Strings open;
    tykhost::takeLogLines([&](const tykhost::LogLine& line) {
        if (line.text.find("malloc block") != 0) return;
        open = openFiles();
        fs::resize_file(host(at + kBlockFile), 3);
    });
    loadParams();
    tykhost::takeLogLines(nullptr);
    EXPECT_EQ(open, Strings({folder, at + kBlockFile}));
    const auto* const bytes = static_cast<char*>(pipe.frameQueue.back().params.at(0).get());
    EXPECT_TRUE(std::string(bytes, 4000) == "xxx" + std::string(3997, '\0'));
}

TEST_F(Replay, BlocksAreFreedLastToFirst) {
    for (const bool withImages : {false, true}) {
        restart();
        for (const char* const sof : {"1", "2", "3"}) {
            write(at + "FCPDT_" + sof + "_0_1_1_block.bin", "a");
        }
        withImages ? loadImage() : loadParams();
        published();  // while the blocks exist
        pipe.deinit();
        Strings made, freed;
        for (const std::string& line : texts(4)) {
            const std::string address = line.substr(line.rfind(' ') + 1);
            if (line.find("malloc block") == 0) made.push_back(address);
            if (line.find("free b") == 0) freed.push_back(address);
        }
        EXPECT_EQ(made.size(), 3U);
        EXPECT_EQ(freed, Strings(made.rbegin(), made.rend()));
    }
}

TEST_F(Replay, WaitsForALeaseOnAFile) {
    write(at + kBlockFile, "abc");
    Strings open;
    {
        const Lease lease(host(at + kBlockFile));
        if (!lease.isHeld()) GTEST_SKIP() << "no leases on this disk";
        tykhost::takeLogLines([&](const tykhost::LogLine& line) {
            if (line.text.find("malloc block") == 0) open = openFiles();
        });
        loadParams();
        tykhost::takeLogLines(nullptr);
    }
    EXPECT_EQ(open, Strings({folder, at + kBlockFile, at + kBlockFile}));
    EXPECT_EQ(published(), Strings({"2/1/5/9 [abc]"}));
}

TEST_F(Replay, EveryEntryAdvancesTheFrameIndex) {
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
    // Every loader advances the index, whichever folder it loads; the argument has no effect.
    EXPECT_TRUE(pipe.loadParam2(pipe.rootPath + "/none"));
    EXPECT_EQ(pipe.currentFramePath, "");
    published();
    pipe.loadParam(7);
    EXPECT_EQ(pipe.currentFramePath, pipe.rootPath + "/g");
    EXPECT_EQ(published(), Strings({"0/0/2/7 7365636f6e640000"}));
    // Two loaders initialise the object first, which starts at the first frame.
    pipe.frameIndex = 1;
    pipe.initialised = false;
    pipe.loadParamAndImage(0, img);
    EXPECT_FALSE(pipe.initialised);
    EXPECT_EQ(pipe.frameIndex, 2);
    pipe.mode = 0;
    pipe.loadParam(7);
    EXPECT_TRUE(pipe.initialised);
    EXPECT_EQ(pipe.mode, 1);
    EXPECT_EQ(pipe.frameIndex, 1);
}

TEST_F(Replay, ImageGoesIntoABuffer) {
    write(at + kImage, "0123456789abcdef");
    pipe.pipeId = -5;
    loadImage();
    ASSERT_NE(img, nullptr);
    const tyk::ImageDescriptor& image = *img->image;
    EXPECT_EQ((std::vector<int64_t>{image.camId, image.sofId, image.width, image.height}),
              (std::vector<int64_t>{300 % 256, 17, 4, 2}));
    EXPECT_EQ(image.pipeId, -5u);
    EXPECT_EQ(pixels(), "0123456789ab");
    EXPECT_EQ(pipe.frameQueue.back().image, img);
    // A file that is short or cannot be opened leaves the rest of the buffer; the frame is still
    // queued.
    for (const bool missing : {false, true}) {
        restart();
        if (!missing) write(at + kImage, "XY");
        if (missing) fs::create_symlink("nowhere", host(at + kImage));
        loadImage();
        EXPECT_EQ(pixels(), "XY23456789ab");
        EXPECT_EQ(queue(), "1, 1");
    }
    EXPECT_EQ(story().back(), "1 readBin: open failed: " + at + kImage);
    // A file whose size wraps below zero is not read.
    restart();
    tykhost::setMaxBufferBytes(size_t{2} << 30);
    write(at + "FCWH_1_0_30000_30000_nv21.yuv", "0123456789ab");
    loadImage();
    EXPECT_EQ(texts(),
              Strings({"size -797483648 is negative: " + at + "FCWH_1_0_30000_30000_nv21.yuv"}));
    EXPECT_EQ(queue(), "1, 1");
    EXPECT_EQ(static_cast<const char*>(img->image->data)[0], 0);
    // Without a pool.
    restart();
    pipe.bufferManager = nullptr;
    write(at + kImage, "0123456789abcdef");
    loadImage();
    EXPECT_EQ(queue(), "0, 0");
}

}  // namespace
