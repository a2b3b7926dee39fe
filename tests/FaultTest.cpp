// Every call that the library makes fails once, and then everything from there on: the process goes
// on, nothing is lost or left open, what must be reported is, and the next frame is right.
#include "core/PipelineSimulation.h"
#include "tests/FaultInjector.h"
#include "tests/FaultPlatform.h"
#include "tests/FullDiskMount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <optional>
#include <set>
#include <unistd.h>

extern "C" [[gnu::weak]] void __lsan_do_leak_check();

namespace {

namespace fs = std::filesystem;
using fault::Call;
using fault::Outcome;
using fault::Plan;
using Files = std::map<std::string, std::string>;

const std::string kRoot = "/data/vendor/cameraserver/tykdump";
constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kPixels = kWidth * kHeight * 3 / 2;
constexpr int kFrames = 13;

/// What must make no difference: the system finishes or repeats the call.
bool isHarmless(const Plan& plan, const Outcome& outcome) {
    const bool passes = outcome.call == Call::close || outcome.call == Call::access;
    return outcome.call == Call::none || (passes && !plan.onwards) || plan.error == fault::kShort ||
           plan.error == EINTR;
}

enum Doing { kDumping, kListing, kLoadingFolder, kLoading };

/// Whether the first failure must leave a line at level 1. Silent are: the scene XML that cannot be
/// made, raw blocks that cannot be read, transfers that end early (but for XML files), and a null
/// block in two of the loaders.
bool mustReport(const Plan& plan, const Outcome& outcome, Doing doing) {
    if (isHarmless(plan, outcome)) return false;
    const std::string name = fs::path(outcome.path).filename();
    const bool isSceneXml = name == "iSceneInfo.xml";
    switch (outcome.call) {
        case Call::allocate:
            return doing != kLoading || (outcome.bytes != 7777 && outcome.bytes != 7778);
        case Call::open:
        case Call::fstat:
            return doing == kDumping ? !isSceneXml : name.find("ISCENE_CAP_INFO") != 0;
        case Call::read:
            return isSceneXml || name.find("_dumpConfig.xml") != name.npos;
        default:
            return outcome.call == Call::mkdir || outcome.call == Call::list;
    }
}

/// The lowest free descriptor: higher when one stayed open.
int freeDescriptor() {
    const int descriptor = dup(STDERR_FILENO);
    close(descriptor);
    return descriptor;
}

/// Whether `run` is short of memory.
template <typename Run>
bool throws(Run run) {
    try {
        run();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

class FaultTest : public testing::Test {
protected:
    FaultTest() {
        alarm(300);                              // a hang ends the test
        throws([] { throw std::bad_alloc(); });  // a thread's first exception leaves memory behind
        setenv("TZ", "UTC0", 1);
        tzset();
        std::string pattern = testing::TempDir() + "tykXXXXXX";
        root = mkdtemp(pattern.data());
        disk_.emplace(root);
        fault::setRoot(root);
        fs::create_directories(root + kRoot);
        fs::create_directories(root + "/vendor/firmware");
        std::ofstream tuning(root + device::kTuning);
        for (int line = 0; line < 300; ++line) tuning << "  <value>" << line * 123 << "</value>\n";
        std::ofstream configs[] = {std::ofstream(root + kRoot + "/pipe1_dumpConfig.xml"),
                                   std::ofstream(root + kRoot + "/pipe2_dumpConfig.xml")};
        for (std::ofstream& config : configs) {
            config << "<dumpconfig><common>\n";
            for (const device::Tag& tag : device::kTags) {
                if (&config != configs && (tag.id == 2118 || tag.id == 65622)) continue;
                config << "<tag value='" << tag.name << "'><pipe>SNAPSHOT_TYPE</pipe><dumpType>"
                       << tag.isBlock << "</dumpType></tag>\n";
            }
            config << "</common></dumpconfig>\n";
        }
    }

    ~FaultTest() override {
        disk_.reset();
        fs::remove_all(root);
    }

    static void TearDownTestSuite() {
        std::printf("%ld fault points%s\n", points_,
                    fault::ownsMalloc ? "" : "; malloc() and the balance of memory left out");
        if (&__lsan_do_leak_check) __lsan_do_leak_check();
    }

    /// Puts a pipe's object back to its state after construction.
    static PipelineSimulation& renewed(int pipeId) {
        PipelineSimulation* const pipe = PipelineSimMgr::getPipeSimInstance(pipeId);
        pipe->~PipelineSimulation();
        const std::string folder = kRoot + "/pipe_" + std::to_string(pipeId);
        return *::new (static_cast<void*>(pipe)) PipelineSimulation(folder.c_str(), pipeId);
    }

    static void record(int pipeId, int sof) {
        static unsigned char pixels[kPixels];
        std::fill(pixels, pixels + kPixels, 0x21);
        PipelineSimulation::imageInfo image{pixels, sof, sof, 0, pipeId, kWidth, kHeight, 0};
        PipelineSimulation::dumpIfneed(image);
    }

    /// Lets every call that `run` makes between `prepare` and `judge`, which leaves things as they
    /// were, fail in every way.
    template <typename Prepare, typename Run, typename Judge>
    void suffer(Prepare prepare, Run run, Judge judge, bool isBalanced = true) {
        const auto once = [&](const Plan& plan, bool isBalancedNow) {
            const int descriptor = freeDescriptor();
            const long live = fault::liveAllocations;
            prepare();
            device::forget();
            fault::arm(plan);
            run();
            const Outcome outcome = fault::disarm();
            judge(plan, outcome);
            EXPECT_EQ(freeDescriptor(), descriptor);
            EXPECT_TRUE(!isBalancedNow || fault::liveAllocations == live);
            EXPECT_FALSE(HasFailure())
                << "error " << plan.error << (plan.onwards ? " from call " : " at call ") << plan.at
                << ", kind " << static_cast<int>(outcome.call) << ": " << outcome.path << ", "
                << outcome.bytes << " bytes";
            points_ += outcome.hits > 0 ? 1 : 0;
            return outcome.hits > 0 && !HasFailure();
        };
        if (isBalanced) once({fault::kEnd, false, 0}, false);  // fails nothing, warms up everything
        for (const int error : {fault::kAllocations, EIO, ENOSPC, EACCES, EMFILE, ENOENT, ENOMEM,
                                fault::kEnd, fault::kShort, EINTR}) {
            for (const bool onwards : {false, true}) {
                if (HasFailure()) return;
                if (error == EINTR && onwards) continue;  // nobody is interrupted for ever
                for (long at = 1; once({error, onwards, at}, isBalanced); ++at) {
                }
            }
        }
    }

    std::string root;

private:
    std::optional<MemoryDisk> disk_;  // thousands of frames take long on some others
    static inline long points_ = 0;
};

/// The manager included, when this test comes first.
TEST_F(FaultTest, ObjectsAreMadeWholeOrNotAtAll) {
    int pipeId = 1000;
    long live = 0;
    long allowed = 2;  // the manager may have come to be
    PipelineSimulation* made = nullptr;
    const auto run = [&] {
        live = fault::liveAllocations;
        made = nullptr;
        throws([&] { made = PipelineSimMgr::getPipeSimInstance(pipeId); });
        live = fault::liveAllocations - live;
    };
    const auto judge = [&](const Plan&, const Outcome& outcome) {
        EXPECT_TRUE(made || (outcome.call == Call::allocate && live <= allowed));
        allowed = 0;
        PipelineSimulation* const next = PipelineSimMgr::getPipeSimInstance(pipeId);
        EXPECT_TRUE(next->pipeId == pipeId && (!made || next == made));
    };
    suffer([&] { ++pipeId; }, run, judge, false);
}

enum Beginning { kFirstOfPipe, kFirstOfTask, kLater };

class FaultyRecording : public FaultTest, public testing::WithParamInterface<Beginning> {
protected:
    static constexpr int kSof = 5;  // of the frame that suffers
    const std::string folder = root + kRoot + "/pipe_1";
    const std::string copy = folder + "/mfnr5.2.xml";

    /// What is there by now is not the next frame's.
    void forgetFrame() {
        before_ = pipe->currentFramePath;
        fs::remove(copy);
    }

    Files files() const {
        std::vector<fs::path> paths;
        const std::string frame = root + pipe->currentFramePath;
        if (pipe->currentFramePath != before_ && fs::exists(frame)) {
            paths.assign(fs::directory_iterator(frame), {});
        }
        if (fs::exists(copy)) paths.push_back(copy);
        Files found;
        for (const fs::path& path : paths) {
            std::ifstream file(path, std::ios::binary);
            found[path.filename()] = {std::istreambuf_iterator<char>(file), {}};
        }
        return found;
    }

    void cleanUp() {
        pipe = &renewed(1);
        before_.clear();
        fs::remove_all(folder);
        fs::create_directory(folder);
    }

    PipelineSimulation* pipe = nullptr;
    std::string before_;
};

TEST_P(FaultyRecording, LosesAFileAtMost) {
    std::map<int, Files> right;
    for (const int sof : {kSof, kSof + 1}) {
        pipe = &renewed(1);
        record(1, sof);
        right[sof] = files();
        cleanUp();
        EXPECT_EQ(right[sof].size(), 11U);
        for (const device::Tag& tag : device::kTags) {
            const std::string name = "FCPDT_" + std::to_string(sof) + "_0_1_" +
                                     (tag.isBlock ? "1_" : "0_") + tag.name + ".bin";
            EXPECT_TRUE(right[sof][name] == device::valueOf(tag, static_cast<uint32_t>(sof)));
        }
    }
    bool threw = false;
    const auto begin = [&] {
        threw = throws([&] {
            pipe->init(0);
            pipe->start();
        });
    };
    const auto prepare = [&] {
        pipe = &renewed(1);
        threw = false;
        if (GetParam() == kLater) {
            begin();
            record(1, 1);
        }
        forgetFrame();
    };
    const auto run = [&] {
        if (GetParam() == kFirstOfTask) begin();
        record(1, kSof);
    };
    const auto judge = [&](const Plan& plan, const Outcome& outcome) {
        const bool reported = threw || device::record.failures > 0;
        const bool isConfigured = !pipe->dumpTagList.empty();
        const bool hasTask = pipe->currentTask.empty() || fs::exists(root + pipe->currentTask);
        const Files frame = files();
        size_t whole = 0;
        for (const auto& [name, bytes] : frame) {
            // A source that ends early is a shorter source, whose last line gets its newline.
            const bool isShorter = plan.error == fault::kEnd && name == "mfnr5.2.xml";
            const std::string& all = isShorter ? bytes : right[kSof][name];
            EXPECT_EQ(all.compare(0, bytes.size(), bytes), 0) << name;
            whole += bytes == all ? 1U : 0U;
        }
        const bool isOneFiles = !plan.onwards && isConfigured && outcome.call != Call::mkdir &&
                                outcome.call != Call::allocate;
        EXPECT_TRUE(!isOneFiles || whole + 1 >= right[kSof].size()) << whole << " whole files";
        EXPECT_TRUE(!isHarmless(plan, outcome) || (!reported && frame == right[kSof]));
        EXPECT_TRUE(reported || (isConfigured && !mustReport(plan, outcome, kDumping)));

        // Lost preliminaries are repeated; a frame's own cannot be.
        if (!isConfigured && pipe->initialised) pipe->init(0);
        if (!hasTask) pipe->start();
        device::forget();
        forgetFrame();
        record(1, kSof + 1);
        EXPECT_TRUE(files() == right[kSof + 1] && device::record.failures == 0)
            << "the next frame: " << device::record.failure;
        cleanUp();
    };
    suffer(prepare, run, judge);
}
INSTANTIATE_TEST_SUITE_P(Frames, FaultyRecording,
                         testing::Values(kFirstOfPipe, kFirstOfTask, kLater));

TEST_F(FaultTest, TasksAreListedWholeOrNotAtAll) {
    for (int sof = 1; sof <= kFrames; ++sof) record(2, sof);
    bool threw = false;
    PipelineSimulation* pipe = nullptr;
    const auto run = [&] {
        threw = throws([&] {
            pipe->init(1);
            pipe->start();
        });
    };
    const auto judge = [&](const Plan& plan, const Outcome& outcome) {
        const bool reported = threw || device::record.failures > 0;
        EXPECT_EQ(reported, mustReport(plan, outcome, kListing));
        EXPECT_EQ(pipe->getFrameSize(), reported ? 0 : kFrames);
        if (!pipe->initialised) pipe->init(1);
        if (reported) pipe->start();
        EXPECT_EQ(pipe->getFrameSize(), kFrames);
        EXPECT_EQ(pipe->frameNameMap.size(), static_cast<size_t>(kFrames));
        renewed(2);
    };
    suffer([&] { pipe = &renewed(2); }, run, judge);
}

class FaultyReplay : public FaultTest,
                     public testing::WithParamInterface<std::pair<std::string, size_t>> {
protected:
    const std::string loader = GetParam().first;
    const Doing doing = loader == "folder" ? kLoadingFolder : kLoading;
    const size_t queued = GetParam().second;
    PipelineSimulation* pipe = nullptr;
    tyk::Buffer* image = nullptr;

    bool load(std::string& path) {
        if (loader == "folder") return PipelineSimulation::loadParam(2, std::move(path), 0);
        if (loader == "params") pipe->loadParam(0U);
        if (loader == "image") pipe->loadParamAndImage(0, image);
        return true;
    }

    size_t retired(size_t before) const { return loader == "image" && before >= 11 ? 1 : 0; }

    /// The frame was replayed to its last byte, without a complaint.
    bool isRight() const {
        const device::Record& record = device::record;
        const int published = loader == "folder" ? 10 : 4;
        if (record.failures > 0 || record.wrong > 0 || record.published != published) return false;
        if (loader != "image") return true;
        const auto* const pixels = image ? static_cast<char*>(image->image->data) : nullptr;
        return pixels && std::count(pixels, pixels + kPixels, 0x21) == kPixels;
    }

    /// The queue holds `size` frames; but for the last two, one of which may have suffered, every
    /// block is untouched. No buffer is out but theirs and that of an abandoned frame.
    void expectQueue(size_t size, bool isAbandoned) const {
        EXPECT_EQ(pipe->frameQueue.size(), size);
        std::set<tyk::Buffer*> images;
        for (auto frames = pipe->frameQueue; !frames.empty(); frames.pop()) {
            tyk::Buffer* const held = frames.front().image;
            EXPECT_TRUE(!held || images.insert(held).second);
            for (const auto& block : frames.front().params) {
                const auto* const bytes = static_cast<const unsigned char*>(block.get());
                if (frames.size() <= 2) continue;
                EXPECT_TRUE(std::all_of(bytes, bytes + 7777, [](int byte) { return byte < 0x40; }));
            }
        }
        EXPECT_TRUE(!isAbandoned || !image || images.insert(image).second);
        EXPECT_EQ(device::buffersOut(), images);
    }
};

TEST_P(FaultyReplay, LosesAFrameAtMost) {
    for (int sof = 1; sof <= kFrames; ++sof) record(2, sof);
    const PipelineSimulation& other = renewed(1);
    record(1, 1);
    std::string argument;
    bool loaded = false;
    const auto prepare = [&] {
        pipe = &renewed(2);
        if (loader != "folder" || queued > 0) pipe->init(1);
        if (pipe->initialised) pipe->start();
        for (size_t i = 0; i < queued; ++i) pipe->loadParamAndImage(0, image);
        EXPECT_EQ(pipe->frameQueue.size(), queued);
        image = nullptr;
        argument = other.currentFramePath;  // the caller's copy is not the library's to answer for
    };
    const auto judge = [&](const Plan& plan, const Outcome& outcome) {
        const bool isQueued = static_cast<size_t>(pipe->frameIndex) > queued;
        EXPECT_TRUE(loader != "folder" || loaded == isQueued);
        EXPECT_TRUE(device::record.failures > 0 || !mustReport(plan, outcome, doing));
        EXPECT_TRUE(!isHarmless(plan, outcome) || (isQueued && isRight()));
        expectQueue(queued - retired(queued) + (isQueued ? 1 : 0), !isQueued);
        if (!isQueued && image) pipe->bufferManager->returnBuffer(image, {}, false);

        const size_t before = pipe->frameQueue.size();
        const int frameIndex = pipe->frameIndex;
        device::forget();
        image = nullptr;
        argument = other.currentFramePath;
        load(argument);
        EXPECT_TRUE(isRight()) << "the next frame: " << device::record.failure;
        EXPECT_EQ(pipe->frameIndex, frameIndex + 1);
        expectQueue(before - retired(before) + 1, false);
        pipe->deinit();
        EXPECT_TRUE(device::buffersOut().empty() && device::record.failures == 0);
        renewed(2);
        argument = {};
    };
    const auto run = [&] { loaded = load(argument); };
    suffer(prepare, run, judge);
}
INSTANTIATE_TEST_SUITE_P(QueuedBefore, FaultyReplay,
                         testing::Values(std::pair("folder", 0), std::pair("folder", 11),
                                         std::pair("params", 0), std::pair("image", 0),
                                         std::pair("image", 11)));

}  // namespace
