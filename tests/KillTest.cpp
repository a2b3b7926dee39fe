// A recording process that is killed at any moment leaves a tree whose finished frames replay to
// the last byte; of the one that was being written, what is empty is reported.
//
// TYK_KILLS sets how many processes die, TYK_KILL_SEED when.
#include "tests/FullDiskMount.h"
#include "tests/TestDevice.h"

#include <csignal>
#include <cstring>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kWidth = 128;
constexpr int kHeight = 96;
constexpr size_t kPixels = kWidth * kHeight * 3 / 2;

unsigned int fromEnvironment(const char* name, unsigned int otherwise) {
    const char* const value = std::getenv(name);
    return value ? static_cast<unsigned int>(std::stoul(value)) : otherwise;
}

/// Kills this process in a while, wherever it is then.
void killMeAfter(long microseconds) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer{};
    const itimerspec when{{0, 0}, {0, microseconds * 1000}};
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) _exit(1);
    if (timer_settime(timer, 0, &when, nullptr) != 0) _exit(1);
}

std::string patternOf(uint32_t sof, size_t bytes) {
    std::string pattern(bytes, static_cast<char>('a' + sof % 26));
    std::memcpy(pattern.data(), &sof, sizeof(sof));
    return pattern;
}

class Kill : public TestDevice {
protected:
    Kill() : disk_(root + "/data") {
        tykhost::setClock({1772719629, 0}, 1000);
        write(pipe.configPath, R"(<dumpconfig><common><tag value="plain"/>
            <tag value="KELV_TAG_ISCENE_INFO"><pipe>SNAPSHOT_TYPE</pipe></tag>
            <tag value="full"/><tag value="block"><dumpType>1</dumpType></tag>
            </common></dumpconfig>)");
        makeFolder(std::string(kRoot) + "/pipe_1");
    }

    /// Dies `delay` microseconds after it has begun with frame `first`.
    [[noreturn]] void recordUntilKilled(int first, long delay) {
        if (first == 0) killMeAfter(delay);
        pipe.init(0);
        pipe.start();
        for (int sof = 1;; ++sof) {
            if (sof == first) killMeAfter(delay);
            std::string bytes = patternOf(static_cast<uint32_t>(sof), 512000);
            for (const uint32_t tag : {kPlain, kFull, kScene}) {
                tykhost::setLiveValue(0, tag, bytes.data(), bytes.size());
            }
            tykhost::setLiveValue(0, kBlock, bytes.data(), 6000);
            pipe.dumpParam(sof, sof, 0);
            pipe.dumpNV21(bytes.data(), kWidth, kHeight, sof, 0);
        }
    }

    /// Files are written one after the other, so a frame is whole when its image is.
    bool isWhole(const std::string& frame) const {
        for (const std::string& name : names(frame)) {
            if (name.find("FCWH") == 0) return fs::file_size(host(frame + "/" + name)) == kPixels;
        }
        return false;
    }

    /// Compares the dumped values of frame `sof` with those that were published.
    void expectPublished(uint32_t sof, bool withScene) {
        size_t found = 0;
        for (const tykhost::PublishedValue& value : tykhost::publishedValues(0)) {
            if (value.key.sofId != sof || value.key.tag == kMfnr) continue;
            if (value.key.tag == kScene && !withScene) continue;
            const auto* const data = static_cast<const char*>(value.block.data);
            const std::string bytes = value.kind == tykhost::TagKind::block
                                          ? std::string(data, value.block.size)
                                          : std::string(value.bytes.begin(), value.bytes.end());
            EXPECT_TRUE(bytes == patternOf(sof, bytes.size())) << "tag " << value.key.tag;
            ++found;
        }
        EXPECT_EQ(found, withScene ? 4U : 3U);
    }

    void replayFrame(PipelineSimulation& player, bool whole) {
        const int index = player.frameIndex;
        const auto sof = static_cast<uint32_t>(index + 1);
        const std::string frame =
            player.currentTask + "/" + player.frameList[static_cast<size_t>(index)];
        long empty = 0;
        for (const std::string& name : names(frame)) {
            empty += name.find("FCPDT") == 0 && fs::is_empty(host(frame + "/" + name)) ? 1 : 0;
        }
        log.clear();
        tykhost::clearPublished();
        tyk::Buffer* image = nullptr;
        player.loadParamAndImage(0, image);
        EXPECT_EQ(player.frameIndex, index + (empty > 0 ? 0 : 1));
        EXPECT_EQ(texts().size(), empty > 0 ? 1U : 0U);
        if (whole) expectPublished(sof, true);
        for (const tyk::Buffer* const buffer : tykhost::buffersOut()) {
            if (!whole || buffer->image->sofId != sof) continue;  // or one of the scene's files
            EXPECT_EQ(std::memcmp(buffer->image->data, patternOf(sof, kPixels).data(), kPixels), 0);
        }
        tykhost::clearPublished();
        EXPECT_TRUE(player.loadParam2(frame));
        if (whole) expectPublished(sof, false);
        EXPECT_TRUE(!whole || texts().empty());
        player.frameIndex = index + 1;
    }

    MemoryDisk disk_;
    PipelineSimulation& pipe = newPipe();
};

TEST_F(Kill, LeavesWholeFramesAndOneTorn) {
    if (TYK_EMULATED) GTEST_SKIP() << "an emulator's process may not survive a fork";
    const unsigned int kills = fromEnvironment("TYK_KILLS", 20);
    const unsigned int seed = fromEnvironment("TYK_KILL_SEED", std::random_device()());
    std::mt19937 random(seed);
    size_t frames = 0;
    size_t torn = 0;
    for (unsigned int i = 0; i < kills && !HasFailure(); ++i) {
        alarm(60);  // a hang ends the test
        const long delay = std::uniform_int_distribution<long>(50, 12000)(random);
        const pid_t child = fork();
        if (child == 0) recordUntilKilled(static_cast<int>(i % 3), delay);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;

        Strings tasks;
        pipe.getSubDirs(pipe.rootPath.c_str(), tasks);
        for (const std::string& task : tasks) {
            PipelineSimulation player(task.c_str(), 1);
            player.init(1);
            player.start();
            for (const std::string& frame : player.frameList) {
                const bool whole = isWhole(task + "/" + frame);
                EXPECT_TRUE(whole || frame == player.frameList.back()) << frame;
                replayFrame(player, whole);
                ++frames;
                torn += whole ? 0U : 1U;
            }
            player.deinit();
            tykhost::resetBufferPool();
        }
        remove(pipe.rootPath);
        makeFolder(pipe.rootPath);
    }
    std::printf("%u kills, seed %u: %zu frames, %zu torn\n", kills, seed, frames, torn);
    EXPECT_GE(frames, kills / 3);
}

}  // namespace
