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
#include <pugixml.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace tykhost;
namespace fs = std::filesystem;

namespace {

void onThreads(const std::function<void(int)>& action) {
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) threads.emplace_back(action, number);
    for (std::thread& thread : threads) thread.join();
}

std::string content(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
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
    pugi::xml_document document;
    document.append_child("root");
    EXPECT_TRUE(document.save_file((base + "/pugi").c_str()));
    EXPECT_TRUE(document.load_file((base + "/pugi").c_str()));

    EXPECT_EQ(access(file.c_str(), F_OK), 0);
    struct stat status[2] = {};
    struct stat64 status64[2] = {};
    ASSERT_EQ(stat(file.c_str(), &status[0]) | lstat(file.c_str(), &status[1]), 0);
    ASSERT_EQ(stat64(file.c_str(), &status64[0]) | lstat64(file.c_str(), &status64[1]), 0);
    EXPECT_EQ(status[0].st_mode & 0740U, 0640U);
    EXPECT_TRUE(status[1].st_ino == status64[0].st_ino && status[1].st_ino == status64[1].st_ino);
    size_t entries = 0;
    DIR* folder = opendir(base.c_str());
    ASSERT_NE(folder, nullptr);
    while (readdir(folder) != nullptr) ++entries;
    closedir(folder);
    EXPECT_EQ(entries, 2U + 5U);  // "." and ".." too
    EXPECT_EQ(fs::remove_all(device.root + base), 6U);

    EXPECT_EQ(open((base + "/none").c_str(), O_RDONLY), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fopen((base + std::string(4095 - base.size(), '/')).c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(LogSinkTest, PrintsUpToTheThreshold) {
    struct Case {
        int threshold, level;
        const char* expected;
    };
    const Case cases[] = {{-1, 4, "D Tag: 7, run: n=5\n"}, {-1, 5, ""},  // by the environment
                          {1, 1, "E Tag: 7, run: n=5\n"},  {1, 2, ""},
                          {5, 3, "I Tag: 7, run: n=5\n"},  {5, 5, "V Tag: 7, run: n=5\n"},
                          {2, 2, "W Tag: 7, run: n=5\n"},  {0, 1, ""}};
    for (const Case& each : cases) {
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
    const std::vector<LogLine> lines = capture.lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].text, longText);
    EXPECT_EQ(lines[1].text, "outlived");
    EXPECT_EQ(lines[2].tag + lines[2].function + lines[2].text, "Aouterlast!");
    EXPECT_EQ(lines[2].line, 3);
    EXPECT_EQ(capture.texts(1), std::vector<std::string>{"raw %s"});
    capture.clear();
    onThreads([](int) {
        for (int i = 0; i < 50; ++i) _log("T", 1).__print_log_("%d, %s: %d", 1, "f", i);
    });
    EXPECT_EQ(capture.texts().size(), 200U);
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
    const auto now = [] {
        timeval time{};
        EXPECT_EQ(gettimeofday(&time, nullptr), 0);
        return std::make_pair(time.tv_sec, time.tv_usec);
    };
    const time_t before = std::time(nullptr);
    EXPECT_GE(now().first, before);
    setClock({100, 999999}, 2);
    EXPECT_EQ(now(), std::make_pair(time_t{100}, suseconds_t{999999}));
    EXPECT_EQ(now(), std::make_pair(time_t{101}, suseconds_t{1}));
    setClock({0, 0}, -1);
    now();
    EXPECT_EQ(now(), std::make_pair(time_t{-1}, suseconds_t{999999}));
    resetClock();
    EXPECT_GE(now().first, before);
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

    std::vector<char> space_ = std::vector<char>(600000, 's');
};

TEST_F(ParamServiceTest, ComesToBeAndKnowsItsTags) {
    EXPECT_EQ(tyk::ParamSet::getInstance(), nullptr);
    tyk::ParamSet* service = tyk::ParamSet::createInstance();
    EXPECT_EQ(tyk::ParamSet::getInstance(), service);
    std::map<unsigned int, tyk::tag_info_t> tags;
    service->getTagInfo(tags);
    EXPECT_TRUE(tags.empty());
    registerPsTag();
    service->getTagInfo(tags);
    EXPECT_EQ(tags.size(), 4U);
    EXPECT_EQ(tags[10].name, "block");
    const std::pair<unsigned int, int> sizes[] = {{4, 4}, {10, 16}, {6, -6}, {5, 512001}, {3, -1}};
    for (const auto& [tag, size] : sizes) EXPECT_EQ(service->getSize(tag), size) << tag;
}

TEST_F(ParamServiceTest, AnswersWithTheCamerasLiveValue) {
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
    EXPECT_FALSE(setLiveValue(1, 99, "a", 1) || setLiveValue(1, 6, "a", 1) ||
                 setLiveValue(1, 4, nullptr, 1) || setLiveBlock(1, 4, {}));

    std::string block = "block";
    BlockParamDesc desc{};
    EXPECT_TRUE(setLiveValue(1, 10, block.data(), 5));
    EXPECT_EQ(tyk::ParamSet::getParam(1, 0, 0, 10, &desc), 0);
    block[0] = 'X';
    EXPECT_EQ(std::string(static_cast<char*>(desc.data), desc.size), "block");
    EXPECT_TRUE(setLiveBlock(1, 10, {block.data(), 3}));
    EXPECT_EQ(tyk::ParamSet::getParam(1, 0, 0, 10, &desc), 0);
    EXPECT_TRUE(desc.data == block.data() && desc.size == 3);
    const ParamServiceCounts counts = paramServiceCounts();
    EXPECT_TRUE(counts.got == 4 && counts.refusedGet == 4);
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
    EXPECT_EQ(set(99, space) + set(4, nullptr) + set(5, space) + set(6, space), -4);

    const std::vector<PublishedValue> values = publishedValues();
    ASSERT_EQ(values.size(), 2U);
    EXPECT_EQ(std::string(values[0].bytes.begin(), values[0].bytes.end()), "1234");
    EXPECT_TRUE(values[0].key == (ParamKey{1, 2, 7, 4}) && values[0].kind == TagKind::fixed);
    EXPECT_TRUE(values[1].block.data == four.get() && values[1].block.size == 4);
    EXPECT_EQ(publishedValues(1).size(), 1U);
    const ParamServiceCounts counts = paramServiceCounts();
    EXPECT_TRUE(counts.set == 2 && counts.refusedSet == 4);
}

TEST_F(ParamServiceTest, ForgetsTheOldestOfATag) {
    setHistoryLimit(3);
    for (uint32_t sofId = 1; sofId <= 5; ++sofId) {
        EXPECT_EQ(set(4, space_.data(), sofId) + set(10, space_.data(), sofId), 0);
    }
    EXPECT_EQ(set(4, space_.data(), 5), 0);
    std::string order;
    for (const PublishedValue& value : publishedValues()) {
        order += std::to_string(value.key.sofId) + (value.key.tag == 4 ? "f " : "b ");
    }
    EXPECT_EQ(order, "3b 4f 4b 5f 5b 5f ");
    PublishedValue value{};
    EXPECT_FALSE(publishedValue({1, 2, 3, 4}, value));
    EXPECT_TRUE(publishedValue({1, 2, 5, 4}, value) && value.serial == 11);
    setHistoryLimit(1);
    EXPECT_EQ(publishedValues().size(), 2U);
    clearPublished();
    EXPECT_TRUE(publishedValues().empty());
    EXPECT_EQ(set(4, space_.data()), 0);
    EXPECT_EQ(publishedValues().at(0).serial, 12U);
    setTagTable(tagTable());
    EXPECT_TRUE(publishedValues().empty());
}

TEST_F(ParamServiceTest, ServesThreads) {
    onThreads([](int number) {
        char value[4];
        for (int i = 0; i < 200; ++i) {
            setLiveValue(0, 4, &number, sizeof(number));
            EXPECT_EQ(tyk::ParamSet::getParam(0, 0, 0, 4, value), 0);
            EXPECT_EQ(set(4, value, static_cast<uint32_t>(number)), 0);
            publishedValues();
        }
    });
    EXPECT_EQ(paramServiceCounts().set, 800U);
}

TEST(TagTableTest, WritesWhatItReads) {
    const std::string path = device.root + "/tags.xml";
    const std::vector<TagEntry> tags{{4294967295, "a <&\"'\t\n>", 2147483647, TagKind::fixed},
                                     {2118, "scene", 8512, TagKind::fixed},
                                     {1, " ", 0, TagKind::block}};
    std::vector<TagEntry> read;
    std::string error;
    ASSERT_TRUE(writeTagTable(path, tags, error) && readTagTable(path, read, error)) << error;
    ASSERT_EQ(read.size(), tags.size());
    for (size_t i = 0; i < tags.size(); ++i) {
        EXPECT_TRUE(read[i].id == tags[i].id && read[i].name == tags[i].name &&
                    read[i].size == tags[i].size && read[i].kind == tags[i].kind);
    }
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
    const std::pair<std::string, std::string> cases[] = {
        {"<tags>\n<tag", "line 2: expected XML, found"},
        {"<tag/>", "line 1: expected <tags>, found \"tag\""},
        {"<tags>\n\n<tog/></tags>", "line 3: expected <tag>, found \"tog\""},
        {"<tags>text</tags>", "expected <tag>, found \"text\""},
        {table("id='16' name='b' size='1' kind='fixed'"),
         "line 2: expected an id of its own, found 16, which line 1 has"},
        {table("id='1' name='a' size='1' kind='fixed'"), "found \"a\", which line 1 has"},
        {table("id='1' name='b' size='1'"), "the attribute kind, found none"},
        {table("id='1' id='2'"), "each once, found \"id\""},
        {table("type='1'"), "found \"type\""},
        {table("id='4294967296'"), "found \"4294967296\""},
        {table("id='0x'"), "found \"0x\""},
        {table("size='1k'"), "a size from 0 to 2147483647, found \"1k\""},
        {table("kind='Fixed'"), "found \"Fixed\""},
        {table("id='0' name='b' size='1' kind='fixed'"), "from 1 to 4294967295, found 0"},
        {table("id='1' name='b' size='-1' kind='fixed'"), "2147483647, found -1"},
        {table("id='1' name='a.b' size='1' kind='fixed'"), "found \"a.b\""},
        {table("id='1' name='' size='1' kind='fixed'"), "found \"\""},
        {table("id='8208' name='b' size='9' kind='fixed'"),
         "size 8 of tag 8208, found fixed and 9"},
        {table("id='8198' name='b' size='1' kind='block'"), "found block and 1"},
        {std::string(17000000, ' '), "expected a tag table of at most 16777216 bytes"},
    };
    const std::string path = device.root + "/wrong.xml";
    const auto expectError = [](const std::string& from, const std::string& expected) {
        std::vector<TagEntry> tags(7);
        std::string error;
        EXPECT_FALSE(readTagTable(from, tags, error)) << expected;
        EXPECT_EQ(error.find(from + ": "), 0U);
        EXPECT_NE(error.find(expected), std::string::npos) << error;
        EXPECT_EQ(tags.size(), 7U);
    };
    for (const auto& [text, expected] : cases) {
        std::ofstream(path) << text;
        expectError(path, expected);
    }
    expectError(device.root + "/none.xml", "No such file or directory");
    expectError(device.root, "Is a directory");
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

TEST_F(BufferPoolTest, OffersTheBytesOfEverySize) {
    const std::pair<int, int> sizes[] = {{0, 0}, {0, 9}, {1, 1}, {3, 5}, {16384, 12288}};
    for (const auto& [width, height] : sizes) {
        tyk::Buffer* buffer = get(width, height);
        ASSERT_NE(buffer, nullptr);
        const size_t capacity = bufferCapacity(buffer);
        EXPECT_GE(static_cast<int64_t>(capacity), (int64_t{width} * height * 3 + 1) / 2);
        EXPECT_EQ(static_cast<unsigned char*>(buffer->image->data)[capacity - 1]++, 0);
        EXPECT_TRUE(buffer->image->width == width && buffer->image->height == height);
    }
    EXPECT_EQ(buffersOut().size(), 5U);
}

TEST_F(BufferPoolTest, RecyclesTheSmallestThatFits) {
    tyk::Buffer* const large = get(100, 100);
    tyk::Buffer* const small = get(10, 10);
    tyk::Buffer* const medium = get(50, 50);
    EXPECT_EQ(buffersOut(), (std::vector<tyk::Buffer*>{large, small, medium}));
    small->image->sofId = 5;
    small->image->data = nullptr;
    for (tyk::Buffer* buffer : {large, small, medium}) EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ(get(11, 11), medium);
    EXPECT_EQ(get(1, 1), small);
    EXPECT_TRUE(small->image->data != nullptr && small->image->sofId == 0);
    EXPECT_EQ(get(1, 1), large);
    EXPECT_EQ(bufferPoolCounts().allocated, 3U);
    get(1, 1);
    EXPECT_EQ(bufferPoolCounts().allocated, 4U);
}

TEST_F(BufferPoolTest, RefusesWhatItMust) {
    tyk::Buffer foreign{nullptr};
    tyk::Buffer* const buffer = get(4, 4);
    EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ(put(buffer) + put(&foreign) + put(nullptr), -3);
    EXPECT_EQ(bufferCapacity(&foreign), 0U);

    const std::pair<int, int> sizes[] = {
        {-1, 4}, {4, -1}, {0, -1}, {INT32_MAX, INT32_MAX}, {32768, 32768}};
    for (const auto& [width, height] : sizes) EXPECT_EQ(get(width, height), nullptr);
    EXPECT_EQ(get(4, 4), buffer);
    setMaxBuffersOut(1);
    EXPECT_EQ(get(1, 1), nullptr);
    EXPECT_EQ(put(buffer), 0);
    setMaxBufferBytes(23);
    EXPECT_EQ(get(4, 4), nullptr);
    const BufferPoolCounts counts = bufferPoolCounts();
    EXPECT_EQ(counts.refusedGet, 7U);
    EXPECT_EQ(counts.refusedReturn, 3U);
    EXPECT_TRUE(counts.handedOut == 2 && counts.returned == 2 && counts.out == 0 &&
                counts.idle == 1);
}

TEST_F(BufferPoolTest, ServesThreads) {
    onThreads([this](int number) {
        for (int i = 0; i < 200; ++i) {
            tyk::Buffer* buffer = get(i % 7, i % 5 + 1);
            std::memset(buffer->image->data, number, bufferCapacity(buffer));
            EXPECT_EQ(put(buffer), 0);
        }
    });
    EXPECT_EQ(bufferPoolCounts().returned, 800U);
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
    void* memory = allocationsLeft > 0 ? std::malloc(size) : nullptr;
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

// Runs an operation with room for no allocation, for one, for two and so on, until it succeeds (its
// result is `success`). Returns how many it needs.
template <typename Operation, typename Result>
static size_t allocationsFor(Operation operation, const Result& success) {
    for (size_t count = 0; count < 100; ++count) {
        allocationsLeft = count;
        const bool succeeded = operation() == success;
        allocationsLeft = SIZE_MAX;
        if (succeeded) return count;
    }
    return SIZE_MAX;
}

TEST(MemoryTest, NoneIsARefusalAndNoCrash) {
    const std::string text(100, 't');
    char value[kPropertyValueSize];
    setProperty(text, "set");
    EXPECT_GT(allocationsFor([&] { return property_get(text.c_str(), value, "none"); }, 3), 0U);

    resetParamService();
    setTagTable({{4, "four", 4, TagKind::fixed}});
    setHistoryLimit(1);
    const auto set = [&] { return setPsParam(0, 0, 0, 4, value); };
    EXPECT_GT(allocationsFor(set, 0), 0U);
    EXPECT_GT(paramServiceCounts().refusedSet, 0U);
    EXPECT_EQ(allocationsFor(set, 0), 0U);  // in place of the oldest

    resetBufferPool();
    auto* const pool = tyk::BufferManager::createInstance();
    tyk::Buffer* buffer = nullptr;
    const auto get = [&] { return pool->getBuffer(tyk::kReplayBufferUsage, 4, 4, buffer, false); };
    EXPECT_GT(allocationsFor(get, 0), 0U);
    const auto put = [&] { return pool->returnBuffer(buffer, tyk::kReplayBufferUsage, false); };
    EXPECT_EQ(allocationsFor(put, 0), 0U);
    EXPECT_EQ(allocationsFor(get, 0), 0U);
    EXPECT_EQ(bufferPoolCounts().idle, 0U);
    resetBufferPool();
}

TEST(MemoryTest, LinesAreDropped) {
    const std::string text(1000, 't');
    size_t taken = 0;
    const auto log = [&] {
        _log(text.c_str(), 1).__print_log_("%d, %s: %s", 1, text.c_str(), text.c_str());
        return taken;
    };
    takeLogLines([&taken](const LogLine&) { ++taken; });
    EXPECT_GT(allocationsFor(log, 1U), 2U);
    EXPECT_EQ(taken, 1U);
    takeLogLines([](const LogLine&) { throw std::runtime_error("cannot take it"); });
    log();
    takeLogLines({});
    setLogThreshold(0);
    EXPECT_EQ(allocationsFor(log, taken), 0U);  // nobody wants it
    setLogThreshold(4);
}

#endif
