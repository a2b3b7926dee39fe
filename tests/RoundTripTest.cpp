// What was recorded is what is replayed: eight pipes on eight threads, through the exported
// interface.
#include "tests/TestDevice.h"

#include <thread>

namespace {

constexpr int kFrames = 5, kWidth = 63, kHeight = 33;
constexpr size_t kImageBytes = 63 * 33 * 3 / 2;

/// Bytes that differ with camera, frame and use.
std::string pattern(size_t size, int cam, int frame, int use) {
    std::string bytes(size, '\0');
    const auto seed = static_cast<size_t>(cam * 7 + frame * 3 + use);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 253 + seed);
    return bytes;
}

void record(PipelineSimulation& pipe, int cam) {
    for (int frame = 0; frame < kFrames; ++frame) {
        const auto live = [cam](uint32_t tag, const std::string& value) {
            tykhost::setLiveValue(static_cast<uint32_t>(cam), tag, value.data(), value.size());
        };
        live(kPlain, pattern(8, cam, frame, 0));
        live(kFull, pattern(512000, cam, frame, 1));
        live(kBlock, pattern(100000, cam, frame, 2));
        std::string image = pattern(kImageBytes, cam, frame, 3);
        PipelineSimulation::imageInfo info{image.data(), frame,  100 + frame, cam,
                                           pipe.pipeId,  kWidth, kHeight,     0};
        PipelineSimulation::dumpIfneed(info);
    }
    pipe.stop();
    pipe.deinit();
}

void replay(PipelineSimulation& pipe, int cam) {
    pipe.taskList.clear();
    pipe.getTaskList();
    ASSERT_EQ(pipe.getTaskSize(), 1);
    pipe.start();
    ASSERT_EQ(pipe.getFrameSize(), kFrames);
    for (int frame = 0; frame < kFrames; ++frame) {
        tyk::Buffer* img = nullptr;
        pipe.loadParamAndImage(0, img);
        ASSERT_NE(img, nullptr);
        EXPECT_TRUE(std::string(static_cast<char*>(img->image->data), kImageBytes) ==
                    pattern(kImageBytes, cam, frame, 3));
        const auto value = [cam, frame](int onPipe, uint32_t tag) {
            tykhost::PublishedValue result{};
            EXPECT_TRUE(tykhost::publishedValue(
                {static_cast<uint32_t>(cam), onPipe, static_cast<uint32_t>(100 + frame), tag},
                result));
            if (result.kind == tykhost::TagKind::fixed) {
                return std::string(result.bytes.begin(), result.bytes.end());
            }
            return std::string(static_cast<char*>(result.block.data), result.block.size);
        };
        EXPECT_TRUE(value(0, kPlain) == pattern(8, cam, frame, 0));
        EXPECT_TRUE(value(0, kFull) == pattern(512000, cam, frame, 1));
        EXPECT_TRUE(value(3, kBlock) == pattern(100000, cam, frame, 2));
    }
    pipe.stop();
    pipe.deinit();
}

using RoundTrip = TestDevice;

TEST_F(RoundTrip, EightPipesOnEightThreads) {
    constexpr int kPipes = 8;
    tykhost::setProperty("persist.vendor.cam.isstest", "1");
    tykhost::setClock({1772719629, 0}, 1000);
    tykhost::setHistoryLimit(static_cast<size_t>(kPipes) * kFrames);
    std::vector<PipelineSimulation*> pipes;
    for (int i = 0; i < kPipes; ++i) {
        PipelineSimulation& pipe = *pipes.emplace_back(&newPipe());
        write(pipe.configPath,
              "<dumpconfig><common><tag value='plain'/><tag value='full'/></common>"
              "<pipeline><node name='n'><tag name='block'><pipe>VIDEO_TYPE</pipe>"
              "<dumpType>1</dumpType></tag></node></pipeline></dumpconfig>");
        pipe.init(0);
        pipe.start();
    }
    // Each pipe is a camera of its own; the even ones take one step and the odd ones another.
    const auto onThreads = [&pipes](auto even, auto odd) {
        std::vector<std::thread> threads;
        for (int i = 0; i < kPipes; ++i) {
            threads.emplace_back(i % 2 == 0 ? even : odd, std::ref(*pipes[static_cast<size_t>(i)]),
                                 i);
        }
        for (std::thread& thread : threads) thread.join();
    };
    onThreads(&record, &record);
    for (int i = 0; i < kPipes; i += 2) pipes[static_cast<size_t>(i)]->init(1);
    for (int i = 1; i < kPipes; i += 2) pipes[static_cast<size_t>(i)]->init(0);
    onThreads(&replay, &record);
    EXPECT_EQ(texts(), Strings());
    EXPECT_EQ(tykhost::bufferPoolCounts().out, 0u);
    EXPECT_EQ(tykhost::paramServiceCounts().refusedSet, 0u);
}

}  // namespace
