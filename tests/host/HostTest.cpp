// Tests of the desktop's platform, through its own headers and those of platform/.
#include "platform/Log.h"
#include "platform/Properties.h"
#include "tests/support/TestDevice.h"

#include <cerrno>
#include <dirent.h>
#include <new>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <tuple>

using namespace tykhost;
using namespace tyktags;

namespace {

/// Numbers and truth values, to compare at once; evaluates them in order.
struct Numbers : std::vector<int64_t> {
    template <typename... Number>
    Numbers(Number... numbers) : vector{static_cast<int64_t>(numbers)...} {}
};

// The environment's root is in force before main() begins.
const Numbers early = [] {
    std::string root = testing::TempDir() + "hosttestXXXXXX";
    fs::create_directories(mkdtemp(root.data()) + std::string("/vendor/firmware"));
    setenv("TYKSIM_DEVICE_ROOT", (root + "//").c_str(), 1);
    setenv("TYKSIM_LOG_LEVEL", "4", 1);
    setenv("TYKSIM_PROPERTY_test_from_environment", "environment", 1);
    std::ofstream("/vendor/firmware/early") << "early";
    const bool redirected = fs::exists(root + "/vendor/firmware/early");
    fs::remove_all(root);
    return Numbers{redirected, deviceRoot() == root};
}();

class Host : public TestDevice {
protected:
    static int set(uint32_t tag, const void* data, uint32_t sofId = 0) {
        return setPsParam(1, 2, sofId, tag, const_cast<void*>(data));
    }
    static int get(unsigned int camId, unsigned int tag, void* value, int pipe = 0) {
        return tyk::ParamSet::getParam(camId, pipe, 0, tag, value);
    }

    /// A buffer for an image; null if the pool refuses.
    tyk::Buffer* take(int width, int height) {
        tyk::Buffer* buffer = nullptr;
        const int result = pool->getBuffer(tyk::kReplayBufferUsage, width, height, buffer, false);
        EXPECT_EQ(result == 0, buffer != nullptr);
        return buffer;
    }
    int put(tyk::Buffer* buffer) {
        return pool->returnBuffer(buffer, tyk::kReplayBufferUsage, false);
    }

    tyk::BufferManager* pool = tyk::BufferManager::createInstance();
};

TEST_F(Host, PrefixesWholeComponentsOnly) {
    EXPECT_EQ(early, (Numbers{true, true}));
    setDeviceRoot("/r/");
    EXPECT_EQ(hostPath("/data/vendor/cameraserver/a"), "/r/data/vendor/cameraserver/a");
    EXPECT_EQ(hostPath("/vendor/firmware"), "/r/vendor/firmware");
    EXPECT_EQ(hostPath("/vendor"), "/vendor");
    EXPECT_EQ(hostPath("/vendor/firmwareX"), "/vendor/firmwareX");
    EXPECT_EQ(hostPath("/x/vendor/firmware"), "/x/vendor/firmware");
    setDeviceRoot("");
    EXPECT_EQ(hostPath("/vendor/firmware"), "/vendor/firmware");
}

TEST_F(Host, RedirectsEveryPathFunction) {
    const std::string base = "/data/vendor/cameraserver/t", file = base + "/a", link = base + "/f";
    const char* const path = file.c_str();
    volatile int writing = O_WRONLY;  // volatile, so that the compiler does not check the flags
    EXPECT_EQ((Numbers{mkdir(base.c_str(), 0777), close(open(path, O_CREAT | O_WRONLY, 0640)),
                       close(open(path, writing)), close(open64(path, writing)),
                       close(open64((base + "/b").c_str(), O_CREAT | O_WRONLY, 0640)),
                       close(creat((base + "/c").c_str(), 0640)), close(creat64(path, 0640)),
                       fclose(fopen((base + "/d").c_str(), "w")),
                       fclose(fopen64((base + "/e").c_str(), "w")), closedir(opendir(base.c_str())),
                       access(path, F_OK)}),
              (Numbers{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(names(base), (Strings{"a", "b", "c", "d", "e"}));
    EXPECT_EQ(permissions(file) & 0740, 0640);
    fs::create_symlink("a", host(link));
    struct stat status[2] = {};
    struct stat64 status64[2] = {};
    EXPECT_EQ((Numbers{stat(link.c_str(), &status[0]), lstat(link.c_str(), &status[1]),
                       stat64(link.c_str(), &status64[0]), lstat64(link.c_str(), &status64[1]),
                       S_ISREG(status[0].st_mode), S_ISLNK(status[1].st_mode),
                       S_ISREG(status64[0].st_mode), S_ISLNK(status64[1].st_mode)}),
              (Numbers{0, 0, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(fopen((base + std::string(4095 - base.size(), '/')).c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST_F(Host, PrintsUpToTheThreshold) {
    const std::regex afterLetter(" Tag: 7, run: n=5\n");
    takeLogLines({});
    for (const auto& [level, shown] : {std::pair(-1, "EWID"), {0, ""}, {5, "EWIDV"}, {4, "EWID"}}) {
        if (level >= 0) setLogThreshold(level);  // with -1 the environment counts
        testing::internal::CaptureStderr();
        errno = ENOSPC;
        for (const int each : {1, 2, 3, 4, 5}) {
            _log("Tag", each).__print_log_("%d, %s: n=%d", 7, "run", 5);
        }
        EXPECT_EQ(errno, ENOSPC);
        const std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::regex_replace(printed, afterLetter, ""), shown);
    }
}

TEST_F(Host, TakesNestedLongAndOddLines) {
    const std::string longText(5000, 'y');
    {
        LogMessage outer("A", 4);
        outer.__print_log_("%d, %s: %s", 1, "outer", "first");
        _log("B", 5).__print_log_("%d, %s: %s", 2, "inner", longText.c_str());
        outer.__print_log_("%d, %s: %s%c", 3, "outer", "last", '!');
        LogMessage unfilled("C", 1);
        auto* const older = new LogMessage("E", 5);
        LogMessage newer("E", 5);
        delete older;
        newer.__print_log_("%d, %s: outlived", 5, "f");
    }
    _log("D", 1).__print_log_("raw %s", 4, "function");
    Strings lines;
    for (const LogLine& each : log.lines()) {
        lines.push_back(each.tag + " " + std::to_string(each.line) + " " + each.function + ": " +
                        each.text);
    }
    EXPECT_EQ(lines, (Strings{"B 2 inner: " + longText, "E 5 f: outlived", "A 3 outer: last!",
                              "D 0 : raw %s"}));
    EXPECT_EQ(texts(1), Strings{"raw %s"});
}

TEST_F(Host, FindsPropertiesInCodeThenEnvironmentThenDefault) {
    using Got = std::pair<int, std::string>;  // what the call returns, and the value
    const auto get = [](const char* name, const char* fallback) {
        char value[kPropertyValueSize];
        const int length = property_get(name, value, fallback);
        return Got(length, value);
    };
    const char* const key = "test.from-environment";
    const std::string tooLong(200, 'p');
    const Got cut(91, std::string(91, 'p'));
    setProperty(key, "code");
    EXPECT_EQ(get(key, "default"), Got(4, "code"));
    setProperty(key, "");
    EXPECT_EQ(get(key, tooLong.c_str()), cut);
    setProperty(key, tooLong);
    EXPECT_EQ(get(key, nullptr), cut);
    clearProperties();
    EXPECT_EQ(get(key, "default"), Got(11, "environment"));
    EXPECT_EQ(get("test.unset", nullptr), Got(0, ""));
}

TEST_F(Host, ClockStopsStepsAndContinues) {
    timeval time{};
    const auto now = [&time] { return gettimeofday(&time, nullptr); };
    setClock({100, 999999}, 2);
    EXPECT_EQ((Numbers{now(), time.tv_sec, time.tv_usec}), (Numbers{0, 100, 999999}));
    EXPECT_EQ((Numbers{now(), time.tv_sec, time.tv_usec}), (Numbers{0, 101, 1}));
    setClock({0, -1});
    EXPECT_EQ((Numbers{now(), now(), time.tv_sec, time.tv_usec}), (Numbers{0, 0, -1, 999999}));
    const time_t before = std::time(nullptr);
    resetClock();
    EXPECT_EQ((Numbers{now(), time.tv_sec >= before, time.tv_usec < 1000000}), (Numbers{0, 1, 1}));
}

TEST_F(Host, ShowsTheTagTable) {
    setTagTable({{9, "block", 64, TagKind::block}, {6, "negative", -6, TagKind::fixed}});
    EXPECT_EQ(tyk::ParamSet::getInstance(), nullptr);
    tyk::ParamSet* const service = tyk::ParamSet::createInstance();
    EXPECT_EQ(tyk::ParamSet::getInstance(), service);
    std::map<unsigned int, tyk::tag_info_t> tags;
    service->getTagInfo(tags);
    EXPECT_TRUE(tags.empty());
    registerPsTag();
    service->getTagInfo(tags);
    EXPECT_EQ(tags.size(), 2U);
    EXPECT_EQ(tags[9].name, std::string("block"));
    EXPECT_EQ(service->getSize(9), 16);
    EXPECT_EQ((Numbers{service->getSize(6), service->getSize(99)}), (Numbers{-6, -1}));
}

TEST_F(Host, ReturnsTheCamerasLiveValue) {
    char value[10] = "---------";
    EXPECT_EQ((Numbers{get(1, 7, value), setLiveValue(1, 7, "tooLongOne", 10)}), (Numbers{-1, 1}));
    EXPECT_EQ((Numbers{setLiveValue(1, 7, "byPipe", 6, 3), get(1, 7, value)}), (Numbers{1, 0}));
    EXPECT_EQ(value, std::string("tooLongO-"));
    EXPECT_EQ(get(1, 7, value, 3), 0);
    EXPECT_EQ(hex(std::string(value, 9)), hex("byPipe") + "00002d");
    EXPECT_EQ((Numbers{get(2, 7, value), get(1, 99, value), get(1, 7, nullptr)}),
              (Numbers{-1, -1, -1}));
    EXPECT_EQ((Numbers{setLiveValue(1, 99, "a", 1), setLiveValue(1, 13, "a", 1),
                       setLiveValue(1, 7, nullptr, 1), setLiveBlock(1, 7, {})}),
              (Numbers{0, 0, 0, 0}));
    std::string block = "block";
    BlockParamDesc desc{};
    EXPECT_EQ((Numbers{setLiveValue(1, 9, block.data(), 5), get(1, 9, &desc)}), (Numbers{1, 0}));
    block[0] = 'X';
    EXPECT_EQ(std::string(static_cast<char*>(desc.data), desc.size), "block");
    EXPECT_EQ((Numbers{setLiveBlock(1, 9, {block.data(), 3}), get(1, 9, &desc)}), (Numbers{1, 0}));
    EXPECT_EQ(desc.data, block.data());
    EXPECT_EQ(desc.size, 3U);
    EXPECT_EQ((Numbers{paramServiceCounts().got, paramServiceCounts().refusedGet}),
              (Numbers{4, 4}));
}

TEST_F(Host, KeepsCopiesOfTheNewestValuesOfEachTag) {
    std::vector<char> plain(8, '1');  // no byte after it may be read
    BlockParamDesc desc{plain.data(), 3};
    setHistoryLimit(2);
    EXPECT_EQ(set(9, &desc, 3), 0);
    for (const uint32_t sofId : {4U, 5U, 6U}) EXPECT_EQ(set(7, plain.data(), sofId), 0);
    plain[0] = '2';
    desc.size = 0;
    EXPECT_EQ(published(),
              each("1/2/", {"3/9 [211]", "5/7 3131313131313131", "6/7 3131313131313131"}));
    EXPECT_EQ(set(7, plain.data(), 6), 0);
    EXPECT_EQ(published(), Strings{"1/2/6/7 3231313131313131"});
    EXPECT_EQ((Numbers{set(99, &plain), set(7, nullptr), set(12, &plain), set(13, &plain)}),
              (Numbers{-1, -1, -1, -1}));
    PublishedValue value{};
    EXPECT_EQ((Numbers{publishedValue({1, 2, 6, 99}, value), publishedValue({1, 2, 4, 7}, value),
                       publishedValue({1, 2, 6, 7}, value), value.serial, paramServiceCounts().set,
                       paramServiceCounts().refusedSet}),
              (Numbers{0, 0, 1, 5, 5, 4}));
    setHistoryLimit(1);
    EXPECT_EQ(publishedValues().size(), 2U);
    clearPublished();
    EXPECT_EQ((Numbers{set(7, plain.data()), publishedValues().at(0).serial}), (Numbers{0, 6}));
    setTagTable(tagTable());
    EXPECT_EQ(publishedValues().size(), 0U);
}

const std::string tableText = R"(<?xml version="1.0"?>
<tags>
  <tag id="4294967295" name="a &lt;&amp;&quot;'&#09;&#10;" size="2147483647" kind="fixed" />
  <tag id="2118" name=" " size="8512" kind="fixed" />
  <tag id="2" name="fields" size="12" kind="block">
    <field name="gain" offset="0" type="f32" />
    <field name="all &quot;of it&quot;" offset="0" type="char" count="12" />
  </tag>
</tags>
)";

TEST_F(Host, WritesTheTagTableThatItReads) {
    write("/read", tableText);
    const auto table = readTagTable(host("/read"));
    ASSERT_TRUE(table.ok()) << toLine(table.problem());
    const std::vector<TagEntry>& tags = table.value();
    const TagEntry &first = tags.at(0), &last = tags.at(2);
    const TagField &gain = last.fields.at(0), &text = last.fields.at(1);
    EXPECT_EQ(first.name, "a <&\"'\t\n");
    EXPECT_EQ(gain.name, "gain");
    EXPECT_EQ((Numbers{first.id, first.size, last.kind == TagKind::block}),
              (Numbers{4294967295, 2147483647, true}));
    EXPECT_EQ((Numbers{gain.bytes(), text.bytes()}), (Numbers{4, 12}));
    const auto outcome = [](const std::string& path, const std::vector<TagEntry>& entries) {
        const tyktags::Status status = writeTagTable(path, entries);
        return status.ok() ? "written" : toLine(status.problem());
    };
    EXPECT_EQ(outcome(host("/written"), tags), "written");
    EXPECT_EQ(read("/written"), tableText);
    EXPECT_EQ(outcome(host("/no"), {last, {1, "a/b", 1, last.kind}}),
              host("/no: entry 2: expected a name without '/', '.' and NUL, found \"a/b\""));
    EXPECT_EQ(read("/no"), "<none>");
    ASSERT_EQ(mkfifo(host("/fifo").c_str(), 0600), 0);
    EXPECT_NE(outcome(host("/fifo"), tags).find("No such device or address"), std::string::npos);
    EXPECT_NE(outcome("/none/t", tags).find("No such file or directory"), std::string::npos);
    EXPECT_NE(outcome("/dev/full", tags).find("No space left on device"), std::string::npos);
}

TEST_F(Host, ReportsProblemsOfATagTable) {
    const std::string wrong = host("/wrong"), fifo = host("/fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    // The part of the text to replace and its replacement, or another path to read.
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"<field", "<f", "line 6: expected <field>, found \"f\""},
        {"f32", "u33", "u8, i8, u16, i16, u32, i32, u64, i64, f32, f64, char, found \"u33\""},
        {"0\" type", "0x1\" type", "an offset from 0 to 4294967295, found \"0x1\""},
        {"f32", "f64\" count=\"4294967295", "tag's 12 bytes, found 0 to 34359738360"},
        {"t=\"12", "t=\"0", "a count from 1 of the field \"all \"of it\"\", found 0"},
        {"gain", "f[1", "found \"f[1\""},
        {"all &quot;of it&quot;", "gain", "with unique names, found \"gain\" twice"},
        {"</tags>", "<tag", "line 9: expected XML, found"},
        {"<tag id=\"2118", "<tog id=\"1", "line 4: expected <tag> or <enum>, found \"tog\""},
        {"<tags>", "<tags>text", "line 2: expected <tag> or <enum>, found \"text"},
        {"2118", "0xffffffff", "a unique id, found 4294967295, which line 3 has"},
        {"\" \"", "\"fields\"", "a unique name, found \"fields\", which line 4 has"},
        {"size=\"8512\"", "", "the attribute size, found none"},
        {"2118", "1\" id=\"2", "each once, found \"id\""},
        {"2118", "4294967296", "found \"4294967296\""},
        {"2118", "0x", "found \"0x\""},
        {"8512", "1k", "a size from 0 to 2147483647, found \"1k\""},
        {"2118", "0", "from 1 to 4294967295, found 0"},
        {"\" \"", "\"a.b\"", "found \"a.b\""},
        {"\" \"", "\"\"", "found \"\""},
        {"8512", "9", "size 8512 of tag 2118, found fixed and 9"},
        {"8512\" kind=\"fixed", "8512\" kind=\"block", "found block and 8512"},
        {"\n", std::string(17000000, ' '), "expected a tag table of at most 16777216 bytes"},
        {"", "/none", "No such file or directory"},
        {"", "/dev", "Is a directory"},
        {"", fifo, "expected a tag table, found no regular file"},  // a FIFO without a writer
    };
    for (const auto& [before, after, expected] : cases) {
        const size_t place = tableText.find(before);
        write("/wrong", std::string(tableText).replace(place, before.size(), after));
        const std::string path = before.empty() ? after : wrong;
        const auto tags = readTagTable(path);
        ASSERT_FALSE(tags.ok()) << expected;
        EXPECT_EQ(tags.problem().path, path);
        const std::string line = toLine(tags.problem());
        EXPECT_EQ(line.find(path + ": "), 0U);
        EXPECT_NE(line.find(expected), std::string::npos) << line;
    }
    // A FIFO with a writer may be read on request.
    std::thread server([&fifo] { std::ofstream(fifo) << "<tags/>"; });
    EXPECT_TRUE(readTagTable(fifo, TableSource::fileOrPipe).ok());
    server.join();
}

TEST_F(Host, RecyclesTheSmallestBufferThatIsLargeEnough) {
    for (const auto& [width, height] : {std::pair(0, 0), {3, 5}, {16384, 12288}}) {
        tyk::Buffer* const buffer = take(width, height);
        ASSERT_NE(buffer, nullptr);
        const size_t capacity = bufferCapacity(buffer);
        EXPECT_GE(static_cast<int64_t>(capacity), (int64_t{width} * height * 3 + 1) / 2);
        EXPECT_EQ(static_cast<unsigned char*>(buffer->image->data)[capacity - 1]++, 0);
        EXPECT_EQ((Numbers{buffer->image->width, buffer->image->height}), (Numbers{width, height}));
    }
    resetBufferPool();
    const std::vector<tyk::Buffer*> buffers{take(50, 50), take(10, 10), take(30, 30)};
    tyk::Buffer *const large = buffers[0], *const small = buffers[1], *const medium = buffers[2];
    EXPECT_EQ(buffersOut(), buffers);
    *small->image = {nullptr, 0, 0, 0, 5, 0};
    for (tyk::Buffer* const buffer : buffers) EXPECT_EQ(put(buffer), 0);
    EXPECT_EQ((std::vector{take(11, 11), take(1, 1), take(1, 1)}),
              (std::vector{medium, small, large}));
    EXPECT_EQ((Numbers{small->image->data != nullptr, small->image->sofId}), (Numbers{1, 0}));
    EXPECT_EQ((Numbers{take(1, 1) != nullptr, bufferPoolCounts().allocated}), (Numbers{1, 4}));
}

TEST_F(Host, RefusesInvalidBuffersAndSizes) {
    tyk::Buffer foreign{nullptr};
    tyk::Buffer* const buffer = take(4, 4);
    EXPECT_EQ((Numbers{put(buffer), put(buffer), put(&foreign), put(nullptr)}),
              (Numbers{0, -1, -1, -1}));
    EXPECT_EQ(bufferCapacity(&foreign), 0U);
    for (const auto& [width, height] :
         {std::pair(-1, 4), {0, -1}, {32768, 32768}, {65536, 65536}}) {
        EXPECT_EQ(take(width, height), nullptr);
    }
    EXPECT_EQ(take(4, 4), buffer);
    setMaxBuffersOut(1);
    EXPECT_EQ(take(1, 1), nullptr);
    EXPECT_EQ(put(buffer), 0);
    setMaxBufferBytes(23);
    EXPECT_EQ(take(4, 4), nullptr);
    const BufferPoolCounts now = bufferPoolCounts();
    EXPECT_EQ((Numbers{now.out, now.idle, now.handedOut, now.returned}), (Numbers{0, 1, 2, 2}));
    EXPECT_EQ((Numbers{now.refusedGet, now.refusedReturn}), (Numbers{6, 3}));
}

TEST_F(Host, ServesThreads) {
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this, number] {
            int64_t value = number;
            for (int i = 0; i < 200; ++i) {
                setLiveValue(0, 7, &number, sizeof(number));
                publishedValues();
                tyk::Buffer* const buffer = take(i % 7, i % 5 + 1);
                std::memset(buffer->image->data, number, bufferCapacity(buffer));
                EXPECT_EQ((Numbers{get(0, 7, &value), set(7, &value), put(buffer)}),
                          (Numbers{0, 0, 0}));
                _log("T", 4).__print_log_("%d, %s: %d", 1, "f", i);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ((Numbers{paramServiceCounts().set, bufferPoolCounts().returned, log.texts().size()}),
              (Numbers{800, 800, 800}));
}

}  // namespace

// Replaces operator new, except under a sanitizer whose runtime replaces it.
#ifndef __has_feature
#define __has_feature(name) 0
#endif
#if !__has_feature(thread_sanitizer)

// The number of allocations of this thread before they fail.
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

TEST_F(Host, RefusesWhenMemoryRunsOut) {
    const std::string text(1000, 't');
    char value[kPropertyValueSize];
    setProperty(text, "set");
    setHistoryLimit(1);
    tyk::Buffer* buffer = nullptr;
    bool taken = false;
    takeLogLines([&taken](const LogLine&) { taken = true; });
    const auto say = [&] {
        _log(text.c_str(), 1).__print_log_("%d, %s: %s", 1, text.c_str(), text.c_str());
        return taken;
    };
    const std::pair<bool, std::function<bool()>> allocating[] = {
        {true, [&] { return property_get(text.c_str(), value, "none") == 3; }},
        {true, [&] { return set(7, value) == 0; }},
        {false, [&] { return set(7, value) == 0; }},  // replaces the oldest
        {true, [&] { return (buffer = take(4, 4)) != nullptr; }},
        {false, [&] { return put(buffer) == 0; }},
        {false, [&] { return take(4, 4) != nullptr; }},
        {true, say}};
    // Runs each operation with no allocation allowed, with one, with two and so on, until it
    // succeeds.
    for (const auto& [allocates, operation] : allocating) {
        size_t room = 0;
        for (allocationsLeft = 0; !operation() && room < 100;) allocationsLeft = ++room;
        allocationsLeft = SIZE_MAX;
        EXPECT_EQ((Numbers{room > 0, room < 100}), (Numbers{allocates, true}));
    }
    takeLogLines([](const LogLine&) { throw 1; });
    say();
    takeLogLines([](const LogLine&) {}, 0);
    allocationsLeft = 1;
    say();
    EXPECT_EQ(std::exchange(allocationsLeft, SIZE_MAX), 1U);  // the line is above the threshold
}

#endif
