// The desktop's platform, through its own headers and those of the platform.
#include "host/BufferPool.h"
#include "host/DeviceRoot.h"
#include "host/LogSink.h"
#include "host/ParamService.h"
#include "host/Properties.h"
#include "platform/Log.h"
#include "platform/ParamSet.h"
#include "platform/Properties.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace tykhost;
namespace fs = std::filesystem;

namespace {

std::string content(const std::string& path) {
    std::string text;
    std::getline(std::ifstream(path), text, '\0');
    return text;
}

// The device that the environment names, in use before main() begins.
struct EarlyDevice {
    EarlyDevice() {
        std::string pattern = (fs::temp_directory_path() / "hosttestXXXXXX").string();
        root = mkdtemp(pattern.data()) != nullptr ? pattern : "";
        fs::create_directories(root + "/data/vendor/cameraserver");
        fs::create_directories(root + "/vendor/firmware");
        setenv("TYKSIM_DEVICE_ROOT", (root + "//").c_str(), 1);
        setenv("TYKSIM_LOG_LEVEL", "4", 1);
        setenv("TYKSIM_PROPERTY_test_from_environment", "environment", 1);
        std::ofstream("/vendor/firmware/early") << "early";
    }
    ~EarlyDevice() { fs::remove_all(root); }
    std::string root;
};
const EarlyDevice device;

TEST(DeviceRootTest, PrefixesWholeComponentsOnly) {
    EXPECT_EQ(content(device.root + "/vendor/firmware/early"), "early");
    EXPECT_EQ(deviceRoot(), device.root);
    setDeviceRoot("/r/");
    EXPECT_EQ(hostPath("/data/vendor/cameraserver/a/b"), "/r/data/vendor/cameraserver/a/b");
    EXPECT_EQ(hostPath("/vendor/firmware"), "/r/vendor/firmware");
    for (const std::string path : {"", "/vendor", "/vendor/firmwareX", "vendor/firmware",
                                   "/data/vendor/cameraserver2/a", "/x/vendor/firmware"}) {
        EXPECT_EQ(hostPath(path), path);
    }
    setDeviceRoot(device.root);
}

TEST(DeviceRootTest, ReachesEveryPathFunction) {
    const std::string base = "/data/vendor/cameraserver/all";
    const std::string file = base + "/file";
    volatile int writing = O_WRONLY;  // not known to a compiler that would check it
    ASSERT_EQ(mkdir(base.c_str(), 0777), 0);
    for (const int descriptor :
         {open(file.c_str(), O_CREAT | O_WRONLY, 0640), open64(file.c_str(), writing),
          open64((file + "64").c_str(), O_CREAT | O_WRONLY, 0640), open(file.c_str(), writing),
          creat((file + "-made").c_str(), 0640), creat64(file.c_str(), 0640)}) {
        ASSERT_TRUE(descriptor >= 0 && close(descriptor) == 0);
    }
    for (const auto function : {fopen, fopen64}) {
        std::FILE* stream = function((base + "/stream").c_str(), "a");
        ASSERT_TRUE(stream != nullptr && fputs("x", stream) > 0 && fclose(stream) == 0);
    }
    EXPECT_EQ(content(base + "/stream"), "xx");
    struct stat status = {};
    struct stat64 status64 = {};
    for (const int result :
         {access(file.c_str(), F_OK), lstat(file.c_str(), &status), stat64(file.c_str(), &status64),
          lstat64(file.c_str(), &status64), stat(file.c_str(), &status)}) {
        EXPECT_EQ(result, 0);
    }
    EXPECT_TRUE((status.st_mode & 0740U) == 0640U && status.st_ino == status64.st_ino);
    DIR* folder = opendir(base.c_str());
    ASSERT_TRUE(folder != nullptr && closedir(folder) == 0);
    EXPECT_EQ(fs::remove_all(device.root + base), 5U);
}

TEST(LogSinkTest, PrintsUpToTheThreshold) {
    const struct {
        int threshold, level;
        const char* expected;
    } cases[] = {{-1, 4, "D Tag: 7, run: n=5\n"}, {-1, 5, ""},  // by the environment
                 {1, 1, "E Tag: 7, run: n=5\n"},  {1, 2, ""},
                 {5, 5, "V Tag: 7, run: n=5\n"},  {0, 1, ""}};
    for (const auto& each : cases) {
        if (each.threshold >= 0) setLogThreshold(each.threshold);
        testing::internal::CaptureStderr();
        errno = ENOSPC;
        _log("Tag", each.level).__print_log_("%d, %s: n=%d", 7, "run", 5);
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), each.expected);
    }
    setLogThreshold(4);
}

TEST(LogSinkTest, TakesNestedLongAndOddLines) {
    const std::string longText(5000, 'y');
    LogCapture capture;
    {
        LogMessage outer("A", 4);
        outer.__print_log_("%d, %s: %s", 1, "outer", "first");
        _log("B", 5).__print_log_("%d, %s: %s", 2, "inner", longText.c_str());
        outer.__print_log_("%d, %s: %s%c", 3, "outer", "last", '!');
        LogMessage unfilled("C", 1);
    }
    _log("D", 1).__print_log_("raw %s", 4, "function");
    const std::vector<LogLine> lines = capture.lines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0].text, longText);
    EXPECT_EQ(lines[1].tag + lines[1].function + lines[1].text, "Aouterlast!");
    EXPECT_EQ(lines[1].line, 3);
    EXPECT_EQ(capture.texts(1), std::vector<std::string>{"raw %s"});
}

TEST(PropertiesTest, CodeThenEnvironmentThenDefault) {
    const auto get = [](const char* key, const char* otherwise) {
        char value[kPropertyValueSize];
        const int length = property_get(key, value, otherwise);
        EXPECT_EQ(static_cast<size_t>(length), std::strlen(value));
        return std::string(value);
    };
    const char* const key = "test.from-environment";
    EXPECT_EQ(get(key, "default"), "environment");
    setProperty(key, "code");
    EXPECT_EQ(get(key, "default"), "code");
    setProperty(key, "");
    EXPECT_EQ(get(key, "default"), "default");
    clearProperties();
    EXPECT_EQ(get(key, "default"), "environment");
    EXPECT_EQ(get("test.unset", std::string(200, 'd').c_str()), std::string(91, 'd'));
}

// A service with a few tags, for whose operations it is the other side.
class ParamServiceTest : public testing::Test {
protected:
    ParamServiceTest() {
        resetParamService();
        setTagTable({{10, "block", 99, TagKind::block},
                     {4, "four", 4, TagKind::fixed},
                     {5, "huge", 512001, TagKind::fixed}});
    }
    static int set(uint32_t tag, const void* data, uint32_t sofId = 0) {
        return setPsParam(1, 2, sofId, tag, const_cast<void*>(data));
    }

    const std::string space_ = std::string(600000, 's');
};

TEST_F(ParamServiceTest, AnswersWithTheCamerasLiveValue) {
    registerPsTag();
    const std::pair<unsigned int, int> sizes[] = {{4, 4}, {10, 16}, {3, -1}};
    for (const auto& [tag, size] : sizes) {
        EXPECT_EQ(tyk::ParamSet::createInstance()->getSize(tag), size) << tag;
    }
    char value[6] = "-----";
    const auto get = [&value](unsigned int camId, unsigned int tag) {
        return tyk::ParamSet::getParam(camId, 0, 0, tag, value);
    };
    EXPECT_EQ(get(1, 4), -1);
    EXPECT_TRUE(setLiveValue(1, 4, "abcdef", 6) && setLiveValue(2, 4, "x", 1));
    EXPECT_EQ(get(1, 4), 0);
    EXPECT_STREQ(value, "abcd-");
    EXPECT_EQ(get(2, 4), 0);
    EXPECT_EQ(std::string(value, 5), std::string("x\0\0\0-", 5));
    EXPECT_EQ(get(3, 4) + get(1, 99) + tyk::ParamSet::getParam(1, 0, 0, 4, nullptr), -3);
    std::string block = "block";
    BlockParamDesc desc{};
    EXPECT_TRUE(setLiveValue(1, 10, block.data(), 5));
    EXPECT_EQ(tyk::ParamSet::getParam(1, 0, 0, 10, &desc), 0);
    block[0] = 'X';
    EXPECT_EQ(std::string(static_cast<char*>(desc.data), desc.size), "block");
    EXPECT_TRUE(setLiveBlock(1, 10, {block.data(), 3}));
    EXPECT_EQ(tyk::ParamSet::getParam(1, 0, 0, 10, &desc), 0);
    EXPECT_TRUE(desc.data == block.data() && desc.size == 3);
}

TEST_F(ParamServiceTest, KeepsCopiesOfWhatIsPublished) {
    const auto four = std::make_unique<char[]>(4);  // not a byte beyond may be read
    std::memcpy(four.get(), "1234", 4);
    EXPECT_EQ(set(4, four.get(), 7), 0);
    four[0] = 'X';
    const auto desc = std::make_unique<BlockParamDesc>(BlockParamDesc{four.get(), 4});
    EXPECT_EQ(set(10, desc.get()), 0);
    desc->size = 0;
    const void* const space = space_.data();
    EXPECT_EQ(set(99, space) + set(4, nullptr) + set(5, space), -3);
    const std::vector<PublishedValue> values = publishedValues();
    ASSERT_EQ(values.size(), 2U);
    EXPECT_EQ(std::string(values[0].bytes.begin(), values[0].bytes.end()), "1234");
    EXPECT_TRUE(values[0].key == (ParamKey{1, 2, 7, 4}) && values[0].kind == TagKind::fixed);
    EXPECT_TRUE(values[1].block.data == four.get() && values[1].block.size == 4);
}

TEST_F(ParamServiceTest, ForgetsTheOldestOfATag) {
    setHistoryLimit(3);
    for (uint32_t sofId = 1; sofId <= 5; ++sofId) {
        EXPECT_EQ(set(4, space_.data(), sofId) + set(10, space_.data(), sofId), 0);
    }
    EXPECT_EQ(set(4, space_.data(), 5), 0);
    EXPECT_EQ(paramServiceCounts().set, 11U);
    std::string order;
    for (const PublishedValue& value : publishedValues()) {
        order += std::to_string(value.key.sofId) + (value.key.tag == 4 ? "f " : "b ");
    }
    EXPECT_EQ(order, "3b 4f 4b 5f 5b 5f ");
}

TEST(TagTableTest, ReadsWhatItWroteAndSaysWhatIsWrong) {
    const std::string path = device.root + "/tags.xml";
    const std::vector<TagEntry> tags{{4294967295, "a <&\"'\t\n>", 2147483647, TagKind::fixed},
                                     {1, " ", 0, TagKind::block}};
    std::vector<TagEntry> read;
    std::string error;
    ASSERT_TRUE(writeTagTable(path, tags, error) && readTagTable(path, read, error)) << error;
    ASSERT_EQ(read.size(), tags.size());
    for (size_t i = 0; i < tags.size(); ++i) {
        EXPECT_TRUE(read[i].id == tags[i].id && read[i].name == tags[i].name &&
                    read[i].size == tags[i].size && read[i].kind == tags[i].kind);
    }

    const auto table = [](const std::string& last) {
        return "<tags><tag id='0x10' name='a' size='1' kind='fixed'/>\n<tag " + last + "/></tags>";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"<tags>\n<tag", "line 2: expected XML, found"},
        {"<tags>\n\n<tog/></tags>", "line 3: expected <tag>, found \"tog\""},
        {table("id='16' name='b' size='1' kind='fixed'"),
         "line 2: expected an id of its own, found 16, which line 1 has"},
        {table("id='1' name='b' size='1'"), "the attribute kind, found none"},
        {table("id='1' id='2'"), "each once, found \"id\""},
        {table("id='4294967296'"), "found \"4294967296\""},
        {table("id='0' name='b' size='1' kind='fixed'"), "from 1 to 4294967295, found 0"},
        {table("id='1' name='a.b' size='1' kind='fixed'"), "found \"a.b\""},
        {table("id='8208' name='b' size='9' kind='fixed'"),
         "size 8 of tag 8208, found fixed and 9"},
        {"", "No such file or directory"},  // for none is written
        {std::string(17000000, ' '), "expected a tag table of at most 16777216 bytes"},
    };
    for (const auto& [text, expected] : cases) {
        std::ofstream(path) << text;
        if (text.empty()) fs::remove(path);
        EXPECT_FALSE(readTagTable(path, read, error)) << expected;
        EXPECT_EQ(error.find(path + ": "), 0U);
        EXPECT_NE(error.find(expected), std::string::npos) << error;
        EXPECT_EQ(read.size(), tags.size());
    }
}

class BufferPoolTest : public testing::Test {
protected:
    BufferPoolTest() { resetBufferPool(); }
    ~BufferPoolTest() override { resetBufferPool(); }

    // A buffer for an image, null when the pool refuses.
    tyk::Buffer* get(int width, int height) {
        tyk::Buffer* buffer = nullptr;
        const int result = pool_->getBuffer(tyk::kReplayBufferUsage, width, height, buffer, false);
        EXPECT_EQ(result == 0, buffer != nullptr);
        return buffer;
    }
    int put(tyk::Buffer* buffer) {
        return pool_->returnBuffer(buffer, tyk::kReplayBufferUsage, false);
    }

    tyk::BufferManager* pool_ = tyk::BufferManager::createInstance();
};

TEST_F(BufferPoolTest, FitsEverySizeAndRecyclesTheSmallestThatDoes) {
    for (const auto& [side, bytes] : {std::pair<int, size_t>(0, 0), {3, 14}, {9999, 149970002}}) {
        tyk::Buffer* buffer = get(side, side);
        const size_t capacity = bufferCapacity(buffer);
        EXPECT_GE(capacity, bytes);
        EXPECT_EQ(static_cast<unsigned char*>(buffer->image->data)[capacity - 1]++, 0);
    }
    resetBufferPool();
    tyk::Buffer *const large = get(100, 100), *const small = get(10, 10),
                       *const medium = get(9, 99);
    EXPECT_EQ(buffersOut(), (std::vector<tyk::Buffer*>{large, small, medium}));
    EXPECT_TRUE(small->image->width == 10 && small->image->height == 10);
    small->image->sofId = 5;
    small->image->data = nullptr;
    for (tyk::Buffer* buffer : {large, small, medium}) EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ(get(11, 11), medium);
    EXPECT_EQ(get(1, 1), small);
    EXPECT_TRUE(small->image->data != nullptr && small->image->sofId == 0);
    EXPECT_EQ(get(1, 1), large);
    get(1, 1);
    EXPECT_EQ(bufferPoolCounts().allocated, 4U);
}

TEST_F(BufferPoolTest, RefusesWhatItMust) {
    tyk::Buffer foreign{nullptr};
    tyk::Buffer* const buffer = get(4, 4);
    EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ(put(buffer) + put(&foreign) + put(nullptr), -3);
    for (const auto& [width, height] :
         {std::pair(-1, 4), {4, -1}, {0, -1}, {INT32_MAX, INT32_MAX}, {32768, 32768}}) {
        EXPECT_EQ(get(width, height), nullptr);
    }
    EXPECT_EQ(get(4, 4), buffer);
    setMaxBuffersOut(1);
    EXPECT_EQ(get(1, 1), nullptr);
    EXPECT_EQ(put(buffer), 0);
    setMaxBufferBytes(23);
    EXPECT_EQ(get(4, 4), nullptr);
    const BufferPoolCounts counts = bufferPoolCounts();
    EXPECT_TRUE(counts.refusedGet == 7 && counts.refusedReturn == 3 && counts.handedOut == 2);
    EXPECT_TRUE(counts.returned == 2 && counts.out == 0 && counts.idle == 1);
}

TEST_F(BufferPoolTest, AndTheOtherServicesServeThreads) {
    resetParamService();
    setTagTable({{4, "four", 4, TagKind::fixed}});
    LogCapture capture;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this, number] {
            int value = number;
            for (int i = 0; i < 200; ++i) {
                setLiveValue(0, 4, &number, sizeof(number));
                EXPECT_EQ(tyk::ParamSet::getParam(0, 0, 0, 4, &value), 0);
                EXPECT_EQ(setPsParam(1, 2, 3, 4, &value), 0);
                publishedValues();
                tyk::Buffer* buffer = get(i % 7, i % 5 + 1);
                std::memset(buffer->image->data, number, bufferCapacity(buffer));
                EXPECT_EQ(put(buffer), 0);
                _log("T", 1).__print_log_("%d, %s: %d", 1, "f", i);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(paramServiceCounts().set == 800 && bufferPoolCounts().returned == 800);
    EXPECT_EQ(capture.texts().size(), 800U);
}

}  // namespace
