// Makes every call of the library fail once alone and once with all later calls, fills the disk at
// every byte, and limits descriptors. Each time the process must go on, other files and frames must
// be complete, no handle may stay open, the failure must be logged where that is possible, and the
// next frame must be right.
#include "records/SceneLayout.h"
#include "tests/support/FakeDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <set>
#include <unistd.h>

namespace {

using fake::Call;
using fake::device;
using fake::Fault;
using fake::Outcome;
using Files = std::map<std::string, std::string>;

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kFrames = 13;
const std::string kCopy = fake::kPipeFolder + "/mfnr5.2.xml";

std::string pixels() {
    std::string bytes(kWidth * kHeight * 3 / 2, '\0');
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 31 + i / 256);
    return bytes;
}

enum Doing { kDumping, kListing, kLoadingFolder, kLoading };

/// Whether a fault must have no effect: the library repeats or continues the call, or uses an
/// alternative, such as the whole path if it cannot hold the frame's folder, or waiting for a file
/// under a lease.
bool isHarmless(const Fault& fault, const Outcome& outcome, Doing doing) {
    const std::string path = outcome.path, name = path.substr(path.rfind('/') + 1);
    const bool isThere =
        doing != kDumping || name.find("_dumpConfig.xml") != name.npos || path == fake::kTuning;
    const bool isDetoured =
        name.find("_reqID_") != name.npos || (fault.error == EWOULDBLOCK && isThere);
    const bool passes = outcome.call == Call::close || outcome.call == Call::access ||
                        outcome.call == Call::limit || (outcome.call == Call::open && isDetoured);
    const bool isEnough = fault.error == fake::kDescriptors && fault.at > 0 && doing != kDumping;
    return outcome.call == Call::none || (passes && !fault.onwards) || isEnough ||
           fault.error == fake::kShort || fault.error == EINTR;
}

/// Whether the first failure must leave a line at level 1. There is no line for a scene XML that
/// cannot be created, raw blocks that cannot be read, transfers that end early (except for XML
/// files), and a null block in two of the loaders.
bool mustReport(const Fault& fault, const Outcome& outcome, Doing doing) {
    if (isHarmless(fault, outcome, doing)) return false;
    const std::string path = outcome.path;
    const std::string name = path.substr(path.rfind('/') + 1);
    switch (outcome.call) {
        case Call::allocate:
            return doing != kLoading || (outcome.bytes != 7777 && outcome.bytes != 7778);
        case Call::open:
        case Call::fstat:
            return doing == kDumping ? name != kSceneXmlName : name.find("ISCENE_CAP_INFO") != 0;
        case Call::read:
            return name == kSceneXmlName || name.find("_dumpConfig.xml") != name.npos;
        default:
            return outcome.call == Call::mkdir || outcome.call == Call::list;
    }
}

/// Whether `run` throws std::bad_alloc.
template <typename Run>
bool throws(Run run) {
    try {
        run();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

/// The value that a call must have published, from its tag and sof id.
std::string expectedOf(const fake::Published& call) {
    if (call.tag == 8208) return {"\x40\1\0\0\xf0\0\0\0", 8};
    if (call.tag == 8198) return "\x5f";
    if (call.byNode && call.tag == 65622) {
        return std::string("tyksimulation/mfnr5.2.xml").append(4096 - 25, '\0');
    }
    const fake::Tag& tag = *fake::findTag(call.tag);
    std::string bytes(std::min<size_t>(static_cast<size_t>(tag.size), 8512), '\0');
    fake::valueOf(tag, call.sofId).copy(0, bytes.data(), bytes.size());
    if (!call.byNode) return bytes;
    // A replay of the scene record has the content of its three files, and zeros.
    std::string record(bytes.size(), '\0');
    for (const auto& [begin, end] : {std::pair(400, 412),
                                     {464, 6192},
                                     {7060, 7064},
                                     {7132, 7136},
                                     {7160, 7168},
                                     {8452, 8468}}) {
        const auto at = static_cast<size_t>(begin), size = static_cast<size_t>(end - begin);
        record.replace(at, size, bytes, at, size);
    }
    return record;
}

std::string bytesOf(const fake::Published& call) {
    return call.block.data ? std::string(static_cast<char*>(call.block.data), call.block.size)
                           : call.bytes;
}

class FaultTest : public testing::Test {
protected:
    FaultTest() {
        alarm(300);  // a hang ends the test
        throws([] {
            throw std::bad_alloc();
        });  // a thread's first exception allocates memory for good
        setenv("TZ", "UTC0", 1);
        tzset();
        fake::restart();
        std::string tuning;
        while (tuning.size() < 6000)
            tuning += "  <value>" + std::to_string(tuning.size()) + "</>\n";
        fake::addFile(fake::kTuning, tuning);
        for (const int pipe : {1, 2}) {
            std::string config = "<dumpconfig><common>\n";
            for (const uint32_t id : {100U, 107U, 108U, 109U, 65622U, 2118U}) {
                if (pipe == 2 && id > 109) continue;
                const fake::Tag& tag = *fake::findTag(id);
                config += std::string("<tag value='") + tag.name +
                          "'><pipe>SNAPSHOT_TYPE</pipe><dumpType>" + (tag.block ? "1" : "0") +
                          "</dumpType></tag>\n";
            }
            const std::string path = fake::kRoot + "/pipe" + std::to_string(pipe);
            fake::addFile(path + "_dumpConfig.xml", config + "</common></dumpconfig>\n");
        }
        device().properties["persist.vendor.cam.isstest"] = "1";
    }

    /// Restores a pipe's object to its state after construction.
    static PipelineSimulation& renewed(int pipeId) {
        PipelineSimulation* const pipe = PipelineSimMgr::getPipeSimInstance(pipeId);
        pipe->~PipelineSimulation();
        const std::string folder = fake::kRoot + "/pipe_" + std::to_string(pipeId);
        device().files[folder].type = DT_DIR;
        return *::new (static_cast<void*>(pipe)) PipelineSimulation(folder.c_str(), pipeId);
    }

    static void forget() {
        device().published = std::vector<fake::Published>();
        device().failures = std::vector<std::string>();
    }

    static void record(int pipeId, int sof) {
        static std::string bytes = pixels();
        PipelineSimulation::imageInfo image{bytes.data(), sof, sof, 0, pipeId, kWidth, kHeight, 0};
        PipelineSimulation::dumpIfneed(image);
    }

    /// Makes every call of `run` fail in every way, with `prepare` before and `judge` after each
    /// run. `judge` restores the state.
    template <typename Prepare, typename Run, typename Judge>
    void suffer(Prepare prepare, Run run, Judge judge, bool isBalanced = true) {
        const auto once = [&](const Fault& fault, bool isBalancedNow) {
            const long live = fake::liveAllocations;
            prepare();
            forget();
            fake::arm(fault);
            run();
            const Outcome outcome = fake::disarm();
            judge(fault, outcome);
            forget();
            EXPECT_EQ(device().openHandles, 0);
            EXPECT_TRUE(!isBalancedNow || fake::liveAllocations == live);
            EXPECT_FALSE(HasFailure())
                << "error " << fault.error << (fault.onwards ? " from call " : " at call ")
                << fault.at << ", kind " << static_cast<int>(outcome.call) << ": " << outcome.path
                << ", " << outcome.bytes << " bytes";
            points += outcome.hits > 0 ? 1 : 0;
            return outcome.hits > 0 && !HasFailure();
        };
        if (isBalanced) once({fake::kEnd, false, 0}, false);  // warms up
        for (const int error : {fake::kAllocations, EIO, ENOSPC, EACCES, EMFILE, ENFILE, ENOENT,
                                ENOMEM, EWOULDBLOCK, fake::kEnd, fake::kShort, EINTR}) {
            for (const bool onwards : {false, true}) {
                if (HasFailure()) return;
                if (error == EINTR && onwards) continue;  // an endless interruption does not occur
                for (long at = 1; once({error, onwards, at}, isBalanced); ++at) {
                }
            }
        }
        for (long left = 0; once({fake::kBytes, true, left}, isBalanced); left += 97) {
        }
        for (long left = 0; once({fake::kDescriptors, true, left}, isBalanced); ++left) {
        }
    }

public:
    static inline long points = 0;
};

/// Includes the manager if this test comes first.
TEST_F(FaultTest, ObjectsAreMadeCompletelyOrNotAtAll) {
    int pipeId = 1000;
    std::string folder;
    long live = 0;
    long allowed = 2;  // the manager may have been made
    PipelineSimulation* made = nullptr;
    const auto run = [&] {
        live = fake::liveAllocations;
        made = nullptr;
        throws([&] { made = PipelineSimMgr::getPipeSimInstance(pipeId); });
        device().files.erase(folder);
        live = fake::liveAllocations - live;
    };
    const auto judge = [&](const Fault&, const Outcome& outcome) {
        EXPECT_TRUE(made || outcome.call == Call::allocate);
        EXPECT_TRUE(made || live <= allowed) << live;
        allowed = 0;
        PipelineSimulation* const next = PipelineSimMgr::getPipeSimInstance(pipeId);
        EXPECT_EQ(next->pipeId, pipeId);
        EXPECT_EQ(next, made ? made : next);
    };
    const auto prepare = [&] { folder = fake::kRoot + "/pipe_" + std::to_string(++pipeId); };
    suffer(prepare, run, judge, false);
}

TEST_F(FaultTest, AnExceptionOfTheServiceEndsOneStep) {
    const std::vector<std::string> once{"given up: unknown exception"};
    PipelineSimulation& pipe = renewed(1);
    device().service = fake::Service::throws;
    record(1, 5);
    EXPECT_EQ(device().failures, once);
    const std::string folder = pipe.currentFramePath;
    EXPECT_EQ(fake::listedFiles(folder), std::vector<std::string>{"FCWH_5_0_64_48_nv21.yuv"});
    forget();
    EXPECT_FALSE(PipelineSimulation::loadParam(1, folder, 0));
    EXPECT_EQ(device().failures, once);
    device().logThrows = true;  // the log of the service's failure throws too
    record(1, 6);
    EXPECT_FALSE(PipelineSimulation::loadParam(1, folder, 0));
    EXPECT_EQ(pipe.frameIndex, 0);
    EXPECT_EQ(device().openHandles, 0);
}

TEST_F(FaultTest, MissingValuesOfTheServiceAreZeros) {
    device().service = fake::Service::refuses;
    record(1, 5);
    const std::string folder = PipelineSimMgr::getPipeSimInstance(1)->currentFramePath;
    EXPECT_EQ(device().files.at(folder + "/FCPDT_5_0_1_0_FIX_16.bin").bytes, std::string(16, '\0'));
    EXPECT_EQ(device().files.at(folder + "/FCPDT_5_0_1_0_FIX_9000.bin").bytes,
              std::string(9000, '\0'));
    EXPECT_EQ(device().files.at(folder + "/FCPDT_5_0_1_1_BLOCK_7777.bin").bytes, "");
}

TEST_F(FaultTest, AFolderIsHeldOpenIfThereAreEnoughDescriptors) {
    const PipelineSimulation& pipe = renewed(2);
    record(2, 1);
    const std::string folder = pipe.currentFramePath;
    for (const auto& [left, most] : {std::pair(63, 1), {64, 2}}) {
        device().freeDescriptors = left;
        for (const bool dumps : {true, false}) {
            device().mostHandles = device().foldersOpened = 0;
            if (dumps) record(2, left);
            if (!dumps) PipelineSimulation::loadParam(2, folder, 0);
            EXPECT_EQ(device().mostHandles, most) << left << dumps;
            EXPECT_EQ(device().foldersOpened, 1) << left << dumps;
        }
    }
}

TEST_F(FaultTest, ProgramsThatCompileTheSourcesCanReadFiles) {
    const std::string path = fake::kRoot + "/bytes";
    fake::addFile(path, "abc");
    std::string data = "wxyz";
    readBin(path.c_str(), data.data(), 2);
    EXPECT_EQ(data, "abyz");
    const std::string missing = path + "2";
    readBin(missing.c_str(), data.data(), -1);
    readBin(missing.c_str(), data.data(), 4);
    EXPECT_EQ(data, "abyz");
    EXPECT_EQ(device().failures, (std::vector<std::string>{"size -1 is negative: " + missing,
                                                           "open failed: " + missing}));
    // A lease is waited for only on a regular file.
    forget();
    device().files[path].type = DT_FIFO;
    fake::arm({EWOULDBLOCK, false, 1});
    readBin(path.c_str(), data.data(), 1);
    fake::disarm();
    EXPECT_EQ(device().failures, std::vector<std::string>{"open failed: " + path});
}

enum Beginning { kFirstOfPipe, kFirstOfTask, kLater };

class FaultyRecording : public FaultTest, public testing::WithParamInterface<Beginning> {
protected:
    static constexpr int kSof = 5;  // of the frame with the fault

    /// The names of a frame's files and of the tuning copy.
    static Files files(int sof) {
        Files found;
        const std::string mark = "_sofID_" + std::to_string(sof) + "/";
        for (const auto& [path, file] : device().files) {
            if (path.find(mark) == path.npos && path != kCopy) continue;
            found[path.substr(path.rfind('/') + 1)] = file.bytes;
            EXPECT_EQ(file.size, static_cast<int64_t>(file.bytes.size()));
        }
        return found;
    }

    /// Records without a fault.
    Files recorded(int sof) {
        cleanUp();
        record(1, sof);
        Files found = files(sof);
        cleanUp();
        return found;
    }

    void cleanUp() {
        pipe = &renewed(1);
        device().files = std::map<std::string, fake::File>(clean_);
    }

    void begin() {
        threw = throws([this] {
            pipe->init(0);
            pipe->start();
        });
    }

    const std::map<std::string, fake::File> clean_ = device().files;
    PipelineSimulation* pipe = nullptr;
    bool threw = false;
};

TEST_P(FaultyRecording, LosesAtMostOneFile) {
    const Files right = recorded(kSof), next = recorded(kSof + 1), earlier = recorded(1);
    ASSERT_EQ(right.size(), 11U);
    for (const uint32_t id : {100U, 107U, 108U, 109U, 65622U, 2118U}) {
        const fake::Tag& tag = *fake::findTag(id);
        std::string value(static_cast<size_t>(tag.size), '\0');
        fake::valueOf(tag, kSof).copy(0, value.data(), value.size());
        EXPECT_TRUE(right.at(std::string("FCPDT_5_0_1_") + (tag.block ? "1_" : "0_") + tag.name +
                             ".bin") == value)
            << tag.name;
    }
    EXPECT_TRUE(right.at("FCWH_5_0_64_48_nv21.yuv") == pixels());
    const auto prepare = [&] {
        cleanUp();
        threw = false;
        if (GetParam() != kLater) return;
        begin();
        record(1, 1);
        device().files.erase(kCopy);
    };
    const auto run = [&] {
        if (GetParam() == kFirstOfTask) begin();
        record(1, kSof);
    };
    const auto judge = [&](const Fault& fault, const Outcome& outcome) {
        const bool reported = threw || !device().failures.empty();
        const bool isConfigured = !pipe->dumpTagList.empty();
        const Files frame = files(kSof);
        size_t whole = 0;
        for (const auto& [name, bytes] : frame) {
            // A source that ends early is like a shorter source, whose last line gets its newline.
            const bool isShorter = fault.error == fake::kEnd && name == "mfnr5.2.xml";
            EXPECT_EQ(right.count(name), 1U) << name;
            const std::string& all = isShorter || !right.count(name) ? bytes : right.at(name);
            EXPECT_EQ(all.compare(0, bytes.size(), bytes), 0) << name;
            whole += bytes == all ? 1U : 0U;
            if (name != "mfnr5.2.xml" || outcome.call != Call::read || bytes.empty()) continue;
            EXPECT_EQ(bytes.back(), '\n') << "a line that was not read to its end";
        }
        // One descriptor is enough for everything but the tuning copy.
        const bool isOneFiles = fault.error == fake::kDescriptors ? fault.at > 0 : !fault.onwards;
        if (isOneFiles && isConfigured && outcome.call != Call::mkdir &&
            outcome.call != Call::allocate) {
            EXPECT_GE(whole + 1, right.size());
        }
        // A single failed allocation loses parameters or the image.
        EXPECT_TRUE(fault.onwards || outcome.call != Call::allocate || whole + 1 >= right.size() ||
                    frame.count("FCWH_5_0_64_48_nv21.yuv") == 1 || pipe->currentFramePath.empty());
        if (isHarmless(fault, outcome, kDumping)) {
            EXPECT_FALSE(reported);
            EXPECT_TRUE(frame == right);
        }
        EXPECT_TRUE(reported || frame == right ||
                    (isConfigured && !mustReport(fault, outcome, kDumping)));
        device().files.erase(kCopy);
        if (GetParam() == kLater) {
            Files untouched = files(1);
            untouched[kCopy.substr(kCopy.rfind('/') + 1)] = earlier.at("mfnr5.2.xml");
            EXPECT_TRUE(untouched == earlier);
        }

        // Repeats a failed preparation.
        if (!isConfigured && pipe->initialised) pipe->init(0);
        if (!pipe->currentTask.empty() && !fake::findFile(pipe->currentTask)) pipe->start();
        forget();
        record(1, kSof + 1);
        EXPECT_TRUE(files(kSof + 1) == next);
        EXPECT_EQ(device().failures, std::vector<std::string>());
        cleanUp();
    };
    suffer(prepare, run, judge);
}
INSTANTIATE_TEST_SUITE_P(Frames, FaultyRecording,
                         testing::Values(kFirstOfPipe, kFirstOfTask, kLater));

TEST_F(FaultTest, TasksAreListedCompletelyOrNotAtAll) {
    renewed(2);
    for (int sof = 1; sof <= kFrames; ++sof) record(2, sof);
    bool threw = false;
    PipelineSimulation* pipe = nullptr;
    const auto run = [&] {
        threw = throws([&] {
            pipe->init(1);
            pipe->start();
        });
    };
    const auto judge = [&](const Fault& fault, const Outcome& outcome) {
        const bool reported = threw || !device().failures.empty();
        EXPECT_EQ(reported, mustReport(fault, outcome, kListing));
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

    /// Whether the frame was replayed completely and without a failure in the log.
    bool isRight() const {
        const auto& calls = device().published;
        if (!device().failures.empty()) return false;
        if (calls.size() != (loader == "folder" ? 10U : 4U)) return false;
        for (const fake::Published& call : calls) {
            if (bytesOf(call) != expectedOf(call)) return false;
        }
        if (loader != "image") return true;
        const std::string expected = pixels();
        return image && device().asked == &image && image->image->width == kWidth &&
               image->image->height == kHeight &&
               std::memcmp(image->image->data, expected.data(), expected.size()) == 0;
    }

    /// Expects zeros in the rest of a block that could not be read to its end.
    static void expectBlocksWithoutOldMemory() {
        for (const fake::Published& call : device().published) {
            if (!call.block.data) continue;
            const std::string bytes = bytesOf(call), all = expectedOf(call);
            const auto end = std::mismatch(bytes.begin(), bytes.end(), all.begin()).first;
            EXPECT_EQ(std::count(end, bytes.end(), '\0'), bytes.end() - end);
        }
    }

    /// Expects `size` frames in the queue, with unchanged blocks in all but the last two, one of
    /// which may have the fault, and no other buffers out than theirs and that of an abandoned
    /// frame.
    void expectQueue(size_t size, bool isAbandoned) const {
        EXPECT_EQ(pipe->frameQueue.size(), size);
        std::set<tyk::Buffer*> images;
        for (auto frames = pipe->frameQueue; !frames.empty(); frames.pop()) {
            tyk::Buffer* const held = frames.front().image;
            EXPECT_TRUE(!held || images.insert(held).second);
            for (const auto& block : frames.front().params) {
                const auto* const bytes = static_cast<const char*>(block.get());
                if (frames.size() <= 2) continue;
                EXPECT_TRUE(
                    std::all_of(bytes, bytes + 7777, [](int b) { return b > 0 && b < 64; }));
            }
        }
        EXPECT_TRUE(!isAbandoned || !image || images.insert(image).second);
        std::set<tyk::Buffer*> out;
        for (const auto& held : device().out) out.insert(&held->buffer);
        EXPECT_EQ(out, images);
    }
};

TEST_P(FaultyReplay, LosesAtMostOneFrame) {
    renewed(2);
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
        ASSERT_EQ(pipe->frameQueue.size(), queued);
        image = nullptr;
        argument = other.currentFramePath;  // the caller makes the copy of the argument
    };
    const auto judge = [&](const Fault& fault, const Outcome& outcome) {
        const bool isQueued = static_cast<size_t>(pipe->frameIndex) > queued;
        EXPECT_EQ(loaded, loader == "folder" ? isQueued : true);
        const Doing doing = loader == "folder" ? kLoadingFolder : kLoading;
        const bool isWhole = isQueued && isRight();
        EXPECT_TRUE(isWhole || !device().failures.empty() || !mustReport(fault, outcome, doing));
        EXPECT_TRUE(isWhole || !isHarmless(fault, outcome, doing));
        if (isQueued) expectBlocksWithoutOldMemory();
        expectQueue(queued - retired(queued) + (isQueued ? 1 : 0), !isQueued);
        if (!isQueued && image) {
            pipe->bufferManager->returnBuffer(image, tyk::kReplayBufferUsage, false);
        }

        const size_t before = pipe->frameQueue.size();
        const int frameIndex = pipe->frameIndex;
        forget();
        image = nullptr;
        argument = other.currentFramePath;
        load(argument);
        EXPECT_TRUE(isRight()) << "the next frame";
        EXPECT_EQ(pipe->frameIndex, frameIndex + 1);
        expectQueue(before - retired(before) + 1, false);
        pipe->deinit();
        EXPECT_TRUE(device().out.empty());
        EXPECT_EQ(device().failures, std::vector<std::string>());
        renewed(2);
        argument = std::string();
        device().out = std::vector<std::shared_ptr<fake::PoolBuffer>>();
    };
    const auto run = [&] { loaded = load(argument); };
    suffer(prepare, run, judge);
}
INSTANTIATE_TEST_SUITE_P(QueuedBefore, FaultyReplay,
                         testing::Values(std::pair("folder", 0), std::pair("folder", 11),
                                         std::pair("params", 0), std::pair("image", 0),
                                         std::pair("image", 11)));

/// Detects calls that are not intercepted: their faults would be missing.
class EnoughPoints : public testing::Environment {
    void TearDown() override {
        std::printf("%ld fault points\n", FaultTest::points);
        const auto& tests = *testing::UnitTest::GetInstance();
        const bool ranAll = tests.test_to_run_count() == tests.total_test_count();
        EXPECT_TRUE(!ranAll || FaultTest::points >= 5000);
        fake::checkLeaks();
    }
};
const testing::Environment* const kEnoughPoints =
    testing::AddGlobalTestEnvironment(new EnoughPoints);

}  // namespace
