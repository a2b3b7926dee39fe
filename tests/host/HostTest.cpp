// The desktop's platform, through its own headers and those of the platform.
#include "host/BufferPool.h"
#include "host/Clock.h"
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
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
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

/// Several values to be compared at once; calls that depend on each other stand in lines of their
/// own.
template <typename... Values>
std::string all(const Values&... values) {
    std::ostringstream text;
    (..., (text << values << ' '));
    return text.str();
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
    for (const std::string path : {"/data/vendor/cameraserver", "/data/vendor/cameraserver/a/b",
                                   "/vendor/firmware", "/vendor/firmware/"}) {
        EXPECT_EQ(hostPath(path), "/r" + path);
    }
    for (const std::string path : {"", "/vendor", "/vendor/firmwareX", "vendor/firmware",
                                   "/data/vendor/cameraserver2/a", "/x/vendor/firmware"}) {
        EXPECT_EQ(hostPath(path), path);
    }
    setDeviceRoot("");
    EXPECT_EQ(hostPath("/vendor/firmware"), "/vendor/firmware");
    setDeviceRoot(device.root);
}

TEST(DeviceRootTest, ReachesEveryPathFunction) {
    const std::string base = "/data/vendor/cameraserver/all", file = base + "/file";
    const char* const path = file.c_str();
    volatile int writing = O_WRONLY;  // not known to a compiler that would check it
    ASSERT_EQ(mkdir(base.c_str(), 0777), 0);
    for (const int descriptor :
         {open(path, O_CREAT | O_WRONLY, 0640), open64(path, writing),
          open64((file + "64").c_str(), O_CREAT | O_WRONLY, 0640), open(path, writing),
          creat((file + "-made").c_str(), 0640), creat64(path, 0640)}) {
        EXPECT_EQ(close(descriptor), 0);
    }
    for (const auto function : {fopen, fopen64}) {
        std::FILE* const stream = function((base + "/stream").c_str(), "a");
        ASSERT_NE(stream, nullptr);
        EXPECT_GT(fputs("x", stream), 0);
        fclose(stream);
    }
    EXPECT_EQ(content(base + "/stream"), "xx");
    struct stat status[2] = {};
    struct stat64 status64[2] = {};
    EXPECT_EQ(all(access(path, F_OK), stat(path, &status[0]), lstat(path, &status[1]),
                  stat64(path, &status64[0]), lstat64(path, &status64[1])),
              "0 0 0 0 0 ");
    const auto inode = status[0].st_ino;
    EXPECT_EQ(all(status[1].st_ino, status64[0].st_ino, status64[1].st_ino),
              all(inode, inode, inode));
    EXPECT_EQ(status[0].st_mode & 0740U, 0640U);
    DIR* const folder = opendir(base.c_str());
    ASSERT_NE(folder, nullptr);
    closedir(folder);
    EXPECT_EQ(fs::remove_all(device.root + base), 5U);
    EXPECT_EQ(open(path, O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fopen((base + std::string(4095 - base.size(), '/')).c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(LogSinkTest, PrintsUpToTheThreshold) {
    const struct {
        int threshold, level;
        const char* expected;
    } cases[] = {{-1, 4, "D Tag: 7, run: n=5\n"}, {-1, 5, ""},  // by the environment
                 {1, 1, "E Tag: 7, run: n=5\n"},  {1, 2, ""},
                 {5, 3, "I Tag: 7, run: n=5\n"},  {5, 5, "V Tag: 7, run: n=5\n"},
                 {2, 2, "W Tag: 7, run: n=5\n"},  {0, 1, ""}};
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
        auto older = std::make_unique<LogMessage>("E", 5);
        LogMessage newer("E", 5);
        older.reset();
        newer.__print_log_("%d, %s: outlived", 5, "f");
    }
    _log("D", 1).__print_log_("raw %s", 4, "function");
    std::vector<std::string> lines;
    for (const LogLine& line : capture.lines()) {
        lines.push_back(line.tag + std::to_string(line.line) + line.function + " " + line.text);
    }
    EXPECT_EQ(lines, (std::vector<std::string>{"B2inner " + longText, "E5f outlived",
                                               "A3outer last!", "D0 raw %s"}));
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
    setProperty(key, std::string(200, 'p'));
    EXPECT_EQ(get(key, nullptr), std::string(91, 'p'));
    clearProperties();
    EXPECT_EQ(get(key, "default"), "environment");
    EXPECT_EQ(get("test.unset", std::string(200, 'd').c_str()), std::string(91, 'd'));
    EXPECT_EQ(get("test.unset", nullptr), "");
}

TEST(ClockTest, StandsStepsAndGoesOn) {
    timeval time{};
    const auto now = [&time] {
        gettimeofday(&time, nullptr);
        return all(time.tv_sec, time.tv_usec);
    };
    setClock({100, 999999}, 2);
    EXPECT_EQ(now(), "100 999999 ");
    EXPECT_EQ(now(), "101 1 ");
    setClock({0, 0}, -1);
    now();
    EXPECT_EQ(now(), "-1 999999 ");
    const time_t before = std::time(nullptr);
    resetClock();
    now();
    EXPECT_GE(time.tv_sec, before);
}

// A service with a few tags, for whose operations it is the other side.
class ParamServiceTest : public testing::Test {
protected:
    ParamServiceTest() {
        resetParamService();
        setTagTable({{10, "block", 99, TagKind::block},
                     {4, "four", 4, TagKind::fixed},
                     {6, "negative", -6, TagKind::fixed},
                     {5, "huge", 512001, TagKind::fixed}});
    }

    static int set(uint32_t tag, const void* data, uint32_t sofId = 0) {
        return setPsParam(1, 2, sofId, tag, const_cast<void*>(data));
    }
    static int get(unsigned int camId, unsigned int tag, void* value) {
        return tyk::ParamSet::getParam(camId, 0, 0, tag, value);
    }

    const std::string space_ = std::string(600000, 's');
};

TEST_F(ParamServiceTest, ComesToBeAndKnowsItsTags) {
    EXPECT_EQ(tyk::ParamSet::getInstance(), nullptr);
    tyk::ParamSet* const service = tyk::ParamSet::createInstance();
    EXPECT_EQ(tyk::ParamSet::getInstance(), service);
    std::map<unsigned int, tyk::tag_info_t> tags;
    service->getTagInfo(tags);
    EXPECT_TRUE(tags.empty());
    registerPsTag();
    service->getTagInfo(tags);
    EXPECT_EQ(all(tags.size(), tags[10].name), "4 block ");
    EXPECT_EQ(all(service->getSize(4), service->getSize(10), service->getSize(6),
                  service->getSize(5), service->getSize(3)),
              "4 16 -6 512001 -1 ");
}

TEST_F(ParamServiceTest, AnswersWithTheCamerasLiveValue) {
    char value[6] = "-----";
    EXPECT_EQ(get(1, 4, value), -1);
    EXPECT_EQ(all(setLiveValue(1, 4, "abcdef", 6), setLiveValue(2, 4, "x", 1)), "1 1 ");
    EXPECT_EQ(get(1, 4, value), 0);
    EXPECT_STREQ(value, "abcd-");
    EXPECT_EQ(get(2, 4, value), 0);
    EXPECT_EQ(std::string(value, 5), std::string("x\0\0\0-", 5));
    EXPECT_EQ(all(get(3, 4, value), get(1, 99, value), get(1, 4, nullptr)), "-1 -1 -1 ");
    EXPECT_EQ(all(setLiveValue(1, 99, "a", 1), setLiveValue(1, 6, "a", 1),
                  setLiveValue(1, 4, nullptr, 1), setLiveBlock(1, 4, {})),
              "0 0 0 0 ");
    std::string block = "block";
    BlockParamDesc desc{};
    EXPECT_TRUE(setLiveValue(1, 10, block.data(), 5));
    EXPECT_EQ(get(1, 10, &desc), 0);
    block[0] = 'X';
    EXPECT_EQ(std::string(static_cast<char*>(desc.data), desc.size), "block");
    EXPECT_TRUE(setLiveBlock(1, 10, {block.data(), 3}));
    EXPECT_EQ(get(1, 10, &desc), 0);
    EXPECT_EQ(all(desc.data, desc.size), all(static_cast<void*>(block.data()), 3));
    EXPECT_EQ(all(paramServiceCounts().got, paramServiceCounts().refusedGet), "4 4 ");
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
    EXPECT_EQ(all(set(99, space), set(4, nullptr), set(5, space), set(6, space)), "-1 -1 -1 -1 ");
    const std::vector<PublishedValue> values = publishedValues();
    ASSERT_EQ(values.size(), 2U);
    EXPECT_EQ(std::string(values[0].bytes.begin(), values[0].bytes.end()), "1234");
    EXPECT_TRUE(values[0].key == (ParamKey{1, 2, 7, 4}));
    EXPECT_EQ(values[0].kind, TagKind::fixed);
    EXPECT_EQ(all(values[1].block.data, values[1].block.size), all(desc->data, 4));
    EXPECT_EQ(
        all(publishedValues(1).size(), paramServiceCounts().set, paramServiceCounts().refusedSet),
        "1 2 4 ");
}

TEST_F(ParamServiceTest, ForgetsTheOldestOfATag) {
    setHistoryLimit(3);
    for (uint32_t sofId = 1; sofId <= 5; ++sofId) {
        EXPECT_EQ(set(4, space_.data(), sofId), 0);
        EXPECT_EQ(set(10, space_.data(), sofId), 0);
    }
    EXPECT_EQ(set(4, space_.data(), 5), 0);
    std::string order;
    for (const PublishedValue& value : publishedValues()) {
        order += std::to_string(value.key.sofId) + (value.key.tag == 4 ? "f " : "b ");
    }
    EXPECT_EQ(order, "3b 4f 4b 5f 5b 5f ");
    PublishedValue value{};
    EXPECT_FALSE(publishedValue({1, 2, 3, 4}, value));
    EXPECT_TRUE(publishedValue({1, 2, 5, 4}, value));
    EXPECT_EQ(value.serial, 11U);
    setHistoryLimit(1);
    EXPECT_EQ(publishedValues().size(), 2U);
    clearPublished();
    EXPECT_TRUE(publishedValues().empty());
    EXPECT_EQ(set(4, space_.data()), 0);
    EXPECT_EQ(publishedValues().at(0).serial, 12U);
    setTagTable(tagTable());
    EXPECT_TRUE(publishedValues().empty());
}

TEST(TagTableTest, WritesWhatItReads) {
    const std::string path = device.root + "/tags.xml", again = device.root + "/again.xml";
    const std::string text = R"(<?xml version="1.0"?>
<tags>
  <tag id="4294967295" name="a &lt;&amp;&quot;'&#09;&#10;" size="2147483647" kind="fixed" />
  <tag id="2118" name=" " size="8512" kind="fixed" />
  <tag id="2" name="fields" size="12" kind="block">
    <field name="gain" offset="0" type="f32" />
    <field name="all &quot;of it&quot;" offset="0" type="char" count="12" />
  </tag>
</tags>
)";
    std::ofstream(path) << text;
    std::vector<TagEntry> tags;
    std::string error;
    ASSERT_TRUE(readTagTable(path, tags, error)) << error;
    ASSERT_EQ(tags.size(), 3U);
    EXPECT_EQ(all(tags[0].id, tags[0].name, tags[0].size), "4294967295 a <&\"'\t\n 2147483647 ");
    EXPECT_EQ(tags[2].kind, TagKind::block);
    ASSERT_EQ(tags[2].fields.size(), 2U);
    EXPECT_EQ(all(tags[2].fields[0].name, tags[2].fields[0].count, tags[2].fields[1].bytes()),
              "gain 1 12 ");
    ASSERT_TRUE(writeTagTable(again, tags, error)) << error;
    EXPECT_EQ(content(again), text);
    const std::string refused = device.root + "/refused.xml";
    EXPECT_FALSE(writeTagTable(refused, {{1, "a/b", 1, TagKind::fixed}}, error));
    EXPECT_EQ(error,
              refused + ": entry 1: expected a name without '/', '.' and NUL, found \"a/b\"");
    EXPECT_FALSE(fs::exists(refused));
    EXPECT_FALSE(writeTagTable(device.root + "/none/t.xml", tags, error));
    EXPECT_NE(error.find("No such file or directory"), std::string::npos);
    EXPECT_FALSE(writeTagTable("/dev/full", tags, error));
    EXPECT_NE(error.find("No space left on device"), std::string::npos);
}

TEST(TagTableTest, SaysWhatIsWrongAndWhere) {
    const auto table = [](const std::string& attributes) {
        return "<tags><tag id='0x10' name='a' size='1' kind='fixed'/>\n<tag " + attributes +
               "/></tags>";
    };
    const auto field = [](const std::string& attributes) {
        return "<tags><tag id='1' name='b' size='9' kind='fixed'><field name='f' offset=" +
               attributes + "/></tag></tags>";
    };
    const std::pair<std::string, std::string> cases[] = {
        {"<tags><tag id='1' name='b' size='9' kind='fixed'><f/></tag></tags>",
         "expected <field>, found \"f\""},
        {field("'0' type='u33'"), "i64, f32, f64, char, found \"u33\""},
        {field("'0x1' type='u8'"), "4294967295, found \"0x1\""},
        {field("'2' type='u64'"), "the field \"f\" within the tag's 9 bytes, found 2 to 10"},
        {field("'4294967295' type='f64' count='4294967295'"), "found 4294967295 to 38654705655"},
        {field("'2' type='u8' count='0'"), "found 0"},
        {field("'2' type='u8'/><field name='f[1]' offset='2' type='u8'"), "found \"f[1]\""},
        {field("'2' type='u8'/><field name='f' offset='0' type='i8'"),
         "with names of their own, found \"f\" twice"},
        {"<tags>\n<tag", "line 2: expected XML, found"},
        {"<tags>\n\n<tog/></tags>", "line 3: expected <tag>, found \"tog\""},
        {"<tags>text</tags>", "expected <tag>, found \"text\""},
        {table("id='16' name='b' size='1' kind='fixed'"),
         "line 2: expected an id of its own, found 16, which line 1 has"},
        {table("id='1' name='a' size='1' kind='fixed'"), "found \"a\", which line 1 has"},
        {table("id='1' name='b' size='1'"), "the attribute kind, found none"},
        {table("id='1' id='2'"), "each once, found \"id\""},
        {table("id='4294967296'"), "found \"4294967296\""},
        {table("id='0x'"), "found \"0x\""},
        {table("size='1k'"), "a size from 0 to 2147483647, found \"1k\""},
        {table("id='0' name='b' size='1' kind='fixed'"), "from 1 to 4294967295, found 0"},
        {table("id='1' name='a.b' size='1' kind='fixed'"), "found \"a.b\""},
        {table("id='1' name='' size='1' kind='fixed'"), "found \"\""},
        {table("id='8208' name='b' size='9' kind='fixed'"),
         "size 8 of tag 8208, found fixed and 9"},
        {table("id='8198' name='b' size='1' kind='block'"), "found block and 1"},
        {std::string(17000000, ' '), "expected a tag table of at most 16777216 bytes"},
        {"none", "No such file or directory"},
        {"folder", "Is a directory"},
        {"FIFO", "expected a tag table, found no regular file"},  // that nobody serves
    };
    const std::string path = device.root + "/wrong.xml";
    std::vector<TagEntry> tags(7);
    std::string error;
    for (const auto& [text, expected] : cases) {
        fs::remove(path);
        if (text == "folder") {
            fs::create_directory(path);
        } else if (text == "FIFO") {
            mkfifo(path.c_str(), 0600);
        } else if (text != "none") {
            std::ofstream(path) << text;
        }
        EXPECT_FALSE(readTagTable(path, tags, error)) << expected;
        EXPECT_EQ(error.find(path + ": "), 0U);
        EXPECT_NE(error.find(expected), std::string::npos) << error;
        EXPECT_EQ(tags.size(), 7U);
    }
    // One that is served may be asked for.
    std::thread server([&path] { std::ofstream(path) << "<tags/>"; });
    EXPECT_TRUE(readTagTable(path, tags, error, TableSource::fileOrPipe)) << error;
    EXPECT_TRUE(tags.empty());
    server.join();
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
    for (const auto& [width, height] : {std::pair(0, 0), {0, 9}, {1, 1}, {3, 5}, {16384, 12288}}) {
        tyk::Buffer* const buffer = get(width, height);
        ASSERT_NE(buffer, nullptr);
        const size_t capacity = bufferCapacity(buffer);
        EXPECT_GE(static_cast<int64_t>(capacity), (int64_t{width} * height * 3 + 1) / 2);
        EXPECT_EQ(static_cast<unsigned char*>(buffer->image->data)[capacity - 1]++, 0);
        EXPECT_EQ(all(buffer->image->width, buffer->image->height), all(width, height));
    }
    resetBufferPool();
    tyk::Buffer *const large = get(100, 100), *const small = get(10, 10),
                       *const medium = get(50, 50);
    EXPECT_EQ(buffersOut(), (std::vector<tyk::Buffer*>{large, small, medium}));
    small->image->sofId = 5;
    small->image->data = nullptr;
    for (tyk::Buffer* const buffer : {large, small, medium}) EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ(get(11, 11), medium);
    EXPECT_EQ(get(1, 1), small);
    EXPECT_EQ(get(1, 1), large);
    EXPECT_NE(small->image->data, nullptr);
    EXPECT_EQ(all(small->image->sofId, bufferPoolCounts().allocated), "0 3 ");
    get(1, 1);
    EXPECT_EQ(bufferPoolCounts().allocated, 4U);
}

TEST_F(BufferPoolTest, RefusesWhatItMust) {
    tyk::Buffer foreign{nullptr};
    tyk::Buffer* const buffer = get(4, 4);
    EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ(all(put(buffer), put(&foreign), put(nullptr)), "-1 -1 -1 ");
    EXPECT_EQ(bufferCapacity(&foreign), 0U);
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
    EXPECT_EQ(all(counts.refusedGet, counts.refusedReturn, counts.handedOut, counts.returned,
                  counts.out, counts.idle),
              "7 3 2 2 0 1 ");
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
                tyk::Buffer* const buffer = get(i % 7, i % 5 + 1);
                std::memset(buffer->image->data, number, bufferCapacity(buffer));
                EXPECT_EQ(put(buffer), 0);
                _log("T", 1).__print_log_("%d, %s: %d", 1, "f", i);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(all(paramServiceCounts().set, bufferPoolCounts().returned, capture.texts().size()),
              "800 800 800 ");
}

}  // namespace

// Where this program may have an allocation of its own; one sanitizer's runtime brings it along.
#ifdef __has_feature
#if __has_feature(thread_sanitizer)
#define ALLOCATION_IS_TAKEN
#endif
#endif
#ifndef ALLOCATION_IS_TAKEN

// How many more allocations this thread gets before they fail.
static thread_local size_t allocationsLeft = SIZE_MAX;

[[gnu::noinline]] void* operator new(size_t size) {
    void* const memory = allocationsLeft > 0 ? std::malloc(size) : nullptr;
    if (memory == nullptr) throw std::bad_alloc();
    --allocationsLeft;
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

TEST(MemoryTest, NoneIsARefusalAndNoCrash) {
    const std::string text(1000, 't');
    char value[kPropertyValueSize];
    setProperty(text, "set");
    resetParamService();
    setTagTable({{4, "four", 4, TagKind::fixed}});
    setHistoryLimit(1);
    resetBufferPool();
    auto* const pool = tyk::BufferManager::createInstance();
    tyk::Buffer* buffer = nullptr;
    int taken = 0;
    const auto get = [&] { return pool->getBuffer(tyk::kReplayBufferUsage, 4, 4, buffer, false); };
    const auto log = [&] {
        _log(text.c_str(), 1).__print_log_("%d, %s: %s", 1, text.c_str(), text.c_str());
        return taken;
    };
    const auto set = [&] { return setPsParam(0, 0, 0, 4, value); };
    takeLogLines([&taken](const LogLine&) { ++taken; });
    const struct {
        std::function<int()> operation;
        int success;
        bool allocates;
    } cases[] = {
        {[&] { return property_get(text.c_str(), value, "none"); }, 3, true},
        {set, 0, true},
        {set, 0, false},  // in place of the oldest
        {get, 0, true},
        {[&] { return pool->returnBuffer(buffer, tyk::kReplayBufferUsage, false); }, 0, false},
        {get, 0, false},
        {log, 1, true}};
    // Each with room for no allocation, for one, for two and so on, until it succeeds.
    for (const auto& each : cases) {
        for (size_t count = 0, done = 0; done == 0; ++count) {
            allocationsLeft = count;
            done = each.operation() == each.success ? 1 : 0;
            allocationsLeft = SIZE_MAX;
            ASSERT_LT(count, 100U);
            EXPECT_TRUE(done == 0 || each.allocates == (count > 0)) << &each - cases;
        }
    }
    EXPECT_GT(paramServiceCounts().refusedSet, 0U);
    takeLogLines([](const LogLine&) { throw std::runtime_error("cannot take it"); });
    log();
    takeLogLines({});
    setLogThreshold(0);
    allocationsLeft = 0;  // nobody wants the line
    log();
    allocationsLeft = SIZE_MAX;
    setLogThreshold(4);
    resetBufferPool();
}

#endif
