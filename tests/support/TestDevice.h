// The device for the tests of the library: an empty folder as the device's file system, a stopped
// clock, a tag table, and a capture of the library's log lines.
//
// The library's objects live as long as the process, so each test uses a pipe of its own.
#pragma once

#include "core/PipelineSimulation.h"
#include "host/BufferPool.h"
#include "host/Clock.h"
#include "host/DeviceRoot.h"
#include "host/LogSink.h"
#include "host/ParamService.h"
#include "host/Properties.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

// A sanitizer replaces free() and locks, so a test cannot replace them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define TYK_SANITIZED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define TYK_SANITIZED
#endif
#endif

extern "C" [[gnu::weak]] void __lsan_do_leak_check();

/// At unload the library does not release its objects' contents, on purpose. This looks for leaks
/// before, while the manager still refers to everything, so that no exceptions are needed.
class LeakCheck : public testing::Environment {
public:
    void TearDown() override {
        if (&__lsan_do_leak_check) __lsan_do_leak_check();
    }
};
inline testing::Environment* const leakCheck = testing::AddGlobalTestEnvironment(new LeakCheck);

constexpr const char* kRoot = "/data/vendor/cameraserver/tykdump";
constexpr uint32_t kPlain = 7, kBlock = 9, kFull = 11, kScene = 2118, kMfnr = 65622;
constexpr uint32_t kHigh = 0x80000001;

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

/// `texts` with `prefix` before each.
inline Strings each(const std::string& prefix, Strings texts) {
    for (std::string& text : texts) text.insert(0, prefix);
    return texts;
}

inline std::string hex(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
        for (const int digit : {(c >> 4) & 15, c & 15}) text += "0123456789abcdef"[digit];
    }
    return text;
}

class TestDevice : public testing::Test {
protected:
    TestDevice() {
        setenv("TZ", "UTC0", 1);
        tzset();
        std::string pattern = testing::TempDir() + "tykXXXXXX";
        root = mkdtemp(pattern.data());
        fs::create_directories(root + "/data/vendor/cameraserver");
        tykhost::setDeviceRoot(root);
        tykhost::setClock({1772719629, 123456});  // 2026-03-05 14:07:09.123
        tykhost::clearProperties();
        tykhost::resetBufferPool();
        tykhost::resetParamService();
        constexpr auto kFixed = tyktags::TagKind::fixed, kByBlock = tyktags::TagKind::block;
        // clang-format off
        tykhost::setTagTable({
            {7, "plain", 8, kFixed}, {8, "other_tag", 8, kFixed}, {9, "block", 64, kByBlock},
            {10, "block_2", 64, kByBlock}, {11, "full", 512000, kFixed},
            {12, "huge", 512001, kFixed}, {13, "negative", -1, kFixed}, {14, "empty", 0, kFixed},
            {20, "twin", 1, kFixed}, {30, "twin", 1, kFixed}, {kHigh, "high", 8, kFixed}, {8198, "byte", 1, kFixed}, {8208, "size", 8, kFixed},
            {kScene, "KELV_TAG_ISCENE_INFO", 8512, kFixed}, {kMfnr, "mfnr", 4096, kFixed}});
        // clang-format on
    }

    ~TestDevice() override {
        EXPECT_TRUE(gDumpList.empty());  // at all times
        tykhost::resetClock();
        tykhost::setDeviceRoot("");
        std::error_code error;
        fs::remove_all(root, error);
        EXPECT_FALSE(error) << root << ": " << error.message();
    }

    /// The object of a pipe that no other test of the process uses; its log lines are discarded.
    PipelineSimulation& newPipe() {
        static int nextPipe = 100;
        PipelineSimulation& pipe = *PipelineSimMgr::getPipeSimInstance(nextPipe++);
        log.clear();
        return pipe;
    }

    std::string host(const std::string& path) const { return root + path; }
    void makeFolder(const std::string& path) const { fs::create_directories(host(path)); }
    void remove(const std::string& path) const { fs::remove_all(host(path)); }

    /// Makes a file and its folders; `size`, if given, cuts or extends it with zeros.
    void write(const std::string& devicePath, const std::string& bytes, uintmax_t size = 0) const {
        const fs::path path = host(devicePath);
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
        if (size) fs::resize_file(path, size);
    }

    /// The file's bytes, or "<none>".
    std::string read(const std::string& devicePath) const {
        std::ifstream file(host(devicePath), std::ios::binary);
        if (!file) return "<none>";
        return {std::istreambuf_iterator<char>(file), {}};
    }

    int permissions(const std::string& path) const {
        return static_cast<int>(fs::status(host(path)).permissions());
    }

    /// The device's open files, sorted; marks a file that another program would inherit.
    Strings openFiles() const {
        Strings result;
        for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            const std::string path = fs::read_symlink(entry, gone);
            if (path.find(root) != 0) continue;
            const int flags = fcntl(std::stoi(entry.path().filename()), F_GETFD);
            result.push_back(path.substr(root.size()) + (flags & FD_CLOEXEC ? "" : " inherited"));
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    /// The names in a folder, sorted.
    Strings names(const std::string& devicePath) const {
        Strings result;
        for (const auto& entry : fs::directory_iterator(host(devicePath))) {
            result.push_back(entry.path().filename());
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    /// The library's lines since the last call, "level function: text", addresses replaced by "@".
    Strings story() {
        static const std::regex address("0x[0-9a-f]{6,}");
        Strings result;
        for (const tykhost::LogLine& line : log.lines()) {
            EXPECT_EQ(line.tag, "PipelineSimulation");
            EXPECT_GT(line.line, 0);
            result.push_back(std::to_string(line.level) + " " + line.function + ": " +
                             std::regex_replace(line.text, address, "@"));
        }
        log.clear();
        return result;
    }

    /// The texts at a level since the last call.
    Strings texts(int level = 1) {
        Strings result = log.texts(level);
        log.clear();
        return result;
    }

    /// What was published since the last call, "cam/pipe/sof/tag value": bytes in hexadecimal, of a
    /// block "[bytes]". Values longer than 16 bytes show their size.
    Strings published() {
        Strings result;
        for (const tykhost::PublishedValue& value : tykhost::publishedValues(seen_)) {
            seen_ = value.serial;
            const auto& [camId, pipe, sofId, tag] = value.key;
            const std::string bytes(value.bytes.begin(), value.bytes.end());
            std::string text = bytes.size() > 16 ? std::to_string(bytes.size()) : hex(bytes);
            if (value.kind == tyktags::TagKind::block) {
                text =
                    "[" + std::string(static_cast<char*>(value.block.data), value.block.size) + "]";
            }
            result.push_back(std::to_string(camId) + "/" + std::to_string(pipe) + "/" +
                             std::to_string(sofId) + "/" + std::to_string(tag) + " " + text);
        }
        return result;
    }

    std::string root;
    tykhost::LogCapture log;

private:
    uint64_t seen_ = 0;
};
