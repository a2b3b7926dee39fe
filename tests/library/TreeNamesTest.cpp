// Tests of the names of the dump tree: making them, and reading them as a replay and as the tool
// does.
#include "core/TreeNames.h"
#include "tree/read/ExactNames.h"

#include <climits>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace tyktree;

template <typename... Numbers>
std::string words(Numbers... numbers) {
    return ((std::to_string(numbers) + " ") + ...);
}

std::string words(const Stamp& at) {
    return words(at.year, at.month, at.day, at.hour, at.minute, at.second, at.millisecond);
}

std::string paramPath(const std::string& folder, int sof, const std::string& tagName) {
    ParamFilePath path;
    path.fill('#');
    makeParamFilePath(path, folder, sof, 0, INT_MAX, 1, tagName);
    return path.data();
}

/// The results of every reader for a name; a reader that refuses it must leave its record
/// unchanged.
std::string meaning(const std::string& name) {
    ParamFileName param{1, 2, 3, 4, "before"};
    ImageFileName image{5, 6, 7, 8};
    int pipe = 9, config = 10;
    const Stamp before{1, 2, 3, 4, 5, 6, 7};
    TaskFolderName task{before, 11};
    FrameFolderName frame{before, 12, 13};
    const bool isRead[] = {readParamFileName(name, param), readImageFileName(name, image),
                           readPipeFolderName(name, pipe), readConfigFileName(name, config),
                           readTaskFolderName(name, task), readFrameFolderName(name, frame)};
    const std::string texts[] = {
        words(param.sofId, param.camId, param.pipe, param.dumpType) + std::string(param.tagName),
        "image " + words(image.sofId, image.camId, image.width, image.height),
        "pipe " + words(pipe),
        "config " + words(config),
        "task " + words(task.stamp) + words(task.taskIndex),
        "frame " + words(frame.stamp) + words(frame.requestId, frame.sofId)};
    const std::string untouched =
        "1 2 3 4 before|image 5 6 7 8 |pipe 9 |config 10 |"
        "task 1 2 3 4 5 6 7 11 |frame 1 2 3 4 5 6 7 12 13 |";
    std::string result = namesNv21(name) ? "nv21 " : "";
    for (size_t i = 0; i < std::size(texts); ++i) {
        if (isRead[i]) result += texts[i];
        EXPECT_TRUE(isRead[i] || untouched.find(texts[i] + "|") != untouched.npos) << name;
    }
    return result;
}

TEST(TreeNames, MakesNames) {
    setenv("TZ", "XYZ-05:30", 1);
    tzset();
    // 2026-03-05 08:37:09 in Greenwich; milliseconds are cut, not rounded
    EXPECT_EQ(taskFolderPath("p", {1772699829, 123999}, 0), "p/21160305140709123_task_0");
    EXPECT_EQ(frameFolderPath("t", {1798741799, 999999}, -1, INT_MIN),
              "t/1231235959999_reqID_-1_sofID_-2147483648");
    EXPECT_EQ(frameFolderPath("t", {-19800, 0}, 42, 17), "t/0101000000000_reqID_42_sofID_17");
    EXPECT_EQ(pipeFolderPath("/r", INT_MIN), "/r/pipe_-2147483648");
    EXPECT_EQ(configFilePath("/r", -2), "/r/pipe-2_dumpConfig.xml");
    EXPECT_EQ(imageFilePath("f", -1, 3, 1920, 1080), "f/FCWH_-1_3_1920_1080_nv21.yuv");
    EXPECT_EQ(paramPath("f", INT_MIN, "a_b"), "f/FCPDT_-2147483648_0_2147483647_1_a_b.bin");
    const std::string name = "/FCPDT_1_0_2147483647_1_t.bin";
    for (const size_t length : {1022u, 1023u, 1024u, 1025u, 1040u, 3000u}) {
        const std::string folder(length - name.size(), 'd');
        EXPECT_EQ(paramPath(folder, 1, "t"), (folder + name).substr(0, 1023)) << length;
    }
    EXPECT_EQ(paramPath("f", 1, std::string(2000, 't')).size(), 1023u);
    // Sizes follow 32-bit arithmetic.
    const std::vector<int> sizes{nv21Bytes(1920, 1080),   nv21Bytes(3, 3),
                                 nv21Bytes(-1, 1),        nv21Bytes(65536, 65536),
                                 nv21Bytes(40000, 20000), nv21Bytes(INT_MAX, INT_MAX),
                                 nv21Bytes(32768, 32768)};
    EXPECT_EQ(sizes, (std::vector<int>{3110400, 13, -1, 0, -947483648, 1, -536870912}));
}

TEST(TreeNames, ReadsNames) {
    const std::pair<const char*, const char*> cases[] = {
        {"FCPDT_17_0_1_0_exampleTag.bin", "17 0 1 0 exampleTag"},
        {"FCPDT_1_0_2_1_a_b__c_.bin", "1 0 2 1 a_b__c_"},
        {"FCPDT_1_0_2_1_a.b_c.bin", "1 0 2 1 a"},
        {"FCWH_17_-1_1920_1080_nv21.yuv", "nv21 image 17 -1 1920 1080 "},
        {"FCWH_17_0_1920_1080_nv12.yuv", "image 17 0 1920 1080 "},
        {"FCWH_17_0_1920_01080_nv21.yuv", "image 17 0 1920 1080 "},
        {"FCWH_17_0_1920_1080_nv21_nv21.yuv", "image 17 0 1920 1080 "},
        {"pipe_1", "pipe 1 "},
        {"pipe_-2147483648", "pipe -2147483648 "},
        {"pipe-2_dumpConfig.xml", "config -2 "},
        {"21160305140709123_task_-1", "task 2026 3 5 14 7 9 123 -1 "},
        {"0305140710456_reqID_-42_sofID_17", "frame 0 3 5 14 7 10 456 -42 17 "},
    };
    for (const auto& [name, expected] : cases) EXPECT_EQ(meaning(name), expected) << name;
    std::istringstream refused(
        "FCPDT_1_2_3_t.bin|yuv||FCWH_1_0_4_2.yuv|"
        "FCWH_17_0_1920_1080_nv21.YUV|FCWH_1_0_4_2_nv21.yuv2|pipe_01|pipe_+1|pipe_-0|pipe_|pipe_1 |"
        "pipe_2147483648|xpipe_1|pipe_1_dumpConfig.xml|pipe1_dumpConfig.xml~|pipe01_dumpConfig.xml|"
        "2116030514070912_task_0|211603051407091234_task_0|21160305140709123_task_00|"
        "21160305140709123_task_|2116030514070 123_task_0|030514071045_reqID_42_sofID_17|"
        "0305140710456_reqID_42|0305140710456_reqID_42_sofID_17_|0305140710456_reqID_42_sofID_0x1");
    for (std::string name; std::getline(refused, name, '|');) EXPECT_EQ(meaning(name), "") << name;
}

}  // namespace
