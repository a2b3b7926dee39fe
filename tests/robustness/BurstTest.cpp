// Records and replays bursts and compares every byte: on eight pipes and threads at once, on two
// that share two descriptors, and over many frames, of which the process keeps only the last eleven
// in the queue.
//
// TYK_SOAK_FRAMES sets the number of frames.
#include "tests/support/TestDevice.h"

#include <cstring>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

extern "C" [[gnu::weak]] void __tsan_init();

namespace {

constexpr int kWidth = 63, kHeight = 33;
constexpr size_t kImageBytes = 63 * 33 * 3 / 2;

/// Bytes that depend on camera, frame and use.
std::string pattern(size_t size, int cam, int frame, int use) {
    std::string bytes(size, '\0');
    const auto seed =
        static_cast<size_t>(cam) * 7 + static_cast<size_t>(frame) * 3 + static_cast<size_t>(use);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 253 + seed);
    return bytes;
}

class Burst : public TestDevice {
public:
    Burst() {
        tykhost::setProperty("persist.vendor.cam.isstest", "1");
        tykhost::setClock({1772719629, 0}, 1000);
    }

    /// A pipe that dumps `tags` and a block.
    PipelineSimulation& recorder(const char* tags) {
        PipelineSimulation& pipe = newPipe();
        write(pipe.configPath, std::string("<dumpconfig><common>") + tags +
                                   "</common><pipeline><node name='n'><tag name='block'>"
                                   "<pipe>VIDEO_TYPE</pipe><dumpType>1</dumpType></tag>"
                                   "</node></pipeline></dumpconfig>");
        pipe.init(0);
        return pipe;
    }

    static void record(PipelineSimulation& pipe, int cam, int frame, size_t fullBytes) {
        for (const auto& [tag, bytes] :
             {std::pair(kPlain, size_t{8}), {kFull, fullBytes}, {kBlock, size_t{9999}}}) {
            const std::string value = pattern(bytes, cam, frame, static_cast<int>(tag));
            tykhost::setLiveValue(static_cast<uint32_t>(cam), tag, value.data(), bytes);
        }
        std::string image = pattern(kImageBytes, cam, frame, 3);
        PipelineSimulation::imageInfo info{image.data(), frame,  100 + frame, cam,
                                           pipe.pipeId,  kWidth, kHeight,     0};
        PipelineSimulation::dumpIfneed(info);
    }

    /// Replays the frame at frameIndex and compares it with `frame`, byte for byte.
    static void replay(PipelineSimulation& pipe, int cam, int frame, size_t fullBytes) {
        tyk::Buffer* img = nullptr;
        pipe.loadParamAndImage(0, img);
        ASSERT_NE(img, nullptr);
        EXPECT_TRUE(std::string(static_cast<char*>(img->image->data), kImageBytes) ==
                    pattern(kImageBytes, cam, frame, 3));
        for (const auto& [tag, onPipe, bytes] :
             {std::tuple(kPlain, 0, size_t{8}), {kFull, 0, fullBytes}, {kBlock, 3, size_t{9999}}}) {
            if (bytes == 0) continue;
            tykhost::PublishedValue value{};
            const auto sof = static_cast<uint32_t>(100 + frame);
            ASSERT_TRUE(
                tykhost::publishedValue({static_cast<uint32_t>(cam), onPipe, sof, tag}, value));
            const char* const data = value.kind == tyktags::TagKind::fixed
                                         ? reinterpret_cast<const char*>(value.bytes.data())
                                         : static_cast<const char*>(value.block.data);
            EXPECT_TRUE(std::string(data, bytes) ==
                        pattern(bytes, cam, frame, static_cast<int>(tag)))
                << tag;
        }
    }

    void recordBurst(PipelineSimulation& pipe, int cam) {
        pipe.start();
        for (int i = 0; i < framesInBurst; ++i) record(pipe, cam, i, fullBytes);
        pipe.stop();
        pipe.deinit();
    }

    /// Replays the task recorded last.
    void replayBurst(PipelineSimulation& pipe, int cam) {
        pipe.taskList.clear();
        pipe.getTaskList();
        ASSERT_FALSE(pipe.taskList.empty());
        pipe.taskIndex = pipe.getTaskSize() - 1;
        pipe.start();
        ASSERT_EQ(pipe.getFrameSize(), framesInBurst);
        for (int i = 0; i < framesInBurst; ++i) replay(pipe, cam, i, fullBytes);
        pipe.stop();
        pipe.deinit();
    }

    /// Runs each pipe as a camera of its own on a thread of its own; even pipes run one function,
    /// odd pipes another.
    void onThreads(void (Burst::*even)(PipelineSimulation&, int),
                   void (Burst::*odd)(PipelineSimulation&, int)) {
        std::vector<std::thread> threads;
        for (size_t i = 0; i < pipes.size(); ++i) {
            threads.emplace_back(i % 2 == 0 ? even : odd, this, std::ref(*pipes[i]),
                                 static_cast<int>(i));
        }
        for (std::thread& thread : threads) thread.join();
    }

    std::vector<PipelineSimulation*> pipes;
    int framesInBurst = 5;
    size_t fullBytes = 512000;  ///< size of the tag "full"; 0: no pipe dumps it
};

TEST_F(Burst, EightPipesOnEightThreads) {
    for (int i = 0; i < 8; ++i) {
        pipes.push_back(&recorder("<tag value='plain'/><tag value='full'/>"));
    }
    tykhost::setHistoryLimit(40);
    const auto prepare = [this](int evenMode, int oddMode) {
        for (size_t i = 0; i < 8; ++i) pipes[i]->init(i % 2 == 0 ? evenMode : oddMode);
    };
    onThreads(&Burst::recordBurst, &Burst::recordBurst);
    prepare(1, 0);
    onThreads(&Burst::replayBurst, &Burst::recordBurst);
    prepare(0, 1);
    onThreads(&Burst::recordBurst, &Burst::replayBurst);
    EXPECT_EQ(texts(), Strings());
    EXPECT_EQ(tykhost::bufferPoolCounts().out, 0U);
    EXPECT_EQ(tykhost::paramServiceCounts().refusedSet, 0U);
}

/// Leaves the process `count` more descriptors.
class DescriptorLimit {
public:
    explicit DescriptorLimit(int count) {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        std::vector<int> free;  // the system hands out the lowest numbers first
        while (count-- > 0) free.push_back(dup(STDERR_FILENO));
        for (const int number : free) close(number);
        const rlimit limit{static_cast<rlim_t>(free.back()) + 1, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit before_{};
};

TEST_F(Burst, TwoDescriptorsAreEnoughForTwoPipes) {
    framesInBurst = 200;
    fullBytes = 0;
    for (int i = 0; i < 2; ++i) pipes.push_back(&recorder("<tag value='plain'/>"));
    tykhost::setHistoryLimit(400);
    for (const auto step : {&Burst::recordBurst, &Burst::replayBurst}) {
        {
            const DescriptorLimit limit(2);
            onThreads(step, step);
        }
        for (PipelineSimulation* const pipe : pipes) pipe->init(1);
    }
    EXPECT_EQ(texts(), Strings());
    for (PipelineSimulation* const pipe : pipes) pipe->deinit();
}

TEST_F(Burst, ManyFramesNeedConstantMemory) {
    const auto resident = [] {
        long total = 0, pages = 0;
        std::ifstream("/proc/self/statm") >> total >> pages;
        return pages;
    };
    const auto descriptors = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), {});
    };
    const char* const wanted = std::getenv("TYK_SOAK_FRAMES");
    const long frames = wanted ? std::stol(wanted) : 4000;
    PipelineSimulation& pipe = recorder(
        "<tag value='plain'/>"
        "<tag value='KELV_TAG_ISCENE_INFO'><pipe>SNAPSHOT_TYPE</pipe></tag>");
    PipelineSimulation &player = newPipe(), &folders = newPipe();
    makeFolder(std::string(kRoot) + "/pipe_1");
    pipe.start();
    player.init(1);
    player.currentTask = pipe.currentTask;
    size_t failed = 0;
    tykhost::takeLogLines([&failed](const tykhost::LogLine& line) { failed += line.level == 1; });
    long pages = 0;
    const auto open = descriptors();
    for (int i = 0; i < frames && !HasFailure(); ++i) {
        if (i == 1000) pages = resident();
        record(pipe, 0, i, 0);
        const std::string frame = pipe.currentFramePath;
        EXPECT_TRUE(folders.loadParam2(frame));
        folders.deinit();
        folders.taskList.clear();  // each init() adds to it

        // The image loader takes the scene's files for images too, and their buffers would stay
        // out.
        for (const std::string& name : names(frame)) {
            if (name[0] != 'F') remove(frame + "/" + name);
        }
        player.frameList = {fs::path(frame).filename()};
        player.frameIndex = 0;
        replay(player, 0, i, 0);
        EXPECT_EQ(player.frameQueue.size(), static_cast<size_t>(std::min(i + 1, 11)));
        EXPECT_EQ(tykhost::bufferPoolCounts().out, player.frameQueue.size());
        remove(frame);
    }
    const long grown = resident() - pages;
    // The memory of a sanitizer or an emulator is unknown.
    const bool foreign = TYK_EMULATED != 0 || &__lsan_do_leak_check || &__tsan_init;
    EXPECT_TRUE(foreign || frames <= 1000 || grown <= 64) << grown << " pages";
    EXPECT_EQ(descriptors(), open);
    EXPECT_EQ(failed, 0U);
    EXPECT_EQ(tykhost::bufferPoolCounts().allocated, 11U);
    player.deinit();
    tykhost::takeLogLines(nullptr);
}

}  // namespace
