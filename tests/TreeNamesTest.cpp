// The names of the dump tree, made and read back.
#include "dump/TreeNames.h"

#include <climits>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

namespace {

std::string paramPath(const std::string& folder, int sof, const std::string& tagName) {
    ParamFilePath path;
    path.fill('#');
    makeParamFilePath(path, folder, sof, 0, INT_MAX, 1, tagName);
    return path.data();
}

template <typename... Numbers>
std::string words(Numbers... numbers) {
    return ((std::to_string(numbers) + " ") + ...);
}

/// What a name is read as; a name that is refused must leave the record alone.
std::string meaning(const char* name) {
    ParamFileName param{1, 2, 3, 4, "before"};
    const bool isParam = readParamFileName(name, param);
    const std::string asParam = words(param.sofId, param.camId, param.pipe, param.dumpType);
    ImageFileName image{5, 6, 7, 8};
    const bool isImage = readImageFileName(name, image);
    const std::string asImage = words(image.sofId, image.camId, image.width, image.height);
    EXPECT_TRUE(isParam || asParam == "1 2 3 4 ") << name;
    EXPECT_TRUE(isImage || asImage == "5 6 7 8 ") << name;
    return isParam ? asParam + std::string(param.tagName) : isImage ? "image " + asImage : "";
}

TEST(TreeNames, Made) {
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
}

TEST(TreeNames, Read) {
    const std::pair<const char*, const char*> cases[] = {
        {"FCPDT_17_0_1_0_exampleTag.bin", "17 0 1 0 exampleTag"},
        {"FCPDT_1_0_2_1_a_b__c_.bin", "1 0 2 1 a_b__c_"},
        {"FCPDT_1_0_2_1_a.b_c.bin", "1 0 2 1 a"},
        {"FCPDTx.y_1_0_2_1_.", "1 0 2 1 "},
        {"FCPDT_ 5_+6_\t7x_x8_t.bin", "5 6 7 0 t"},
        {"FCPDT_+-5_--6_- 7_0x10_t.bin", "0 0 0 0 t"},
        {"FCPDT_____t.bin", "0 0 0 0 t"},
        {"FCPDT_2147483648_-2147483649_-2147483648_99999999999999999999_t.bin",
         "2147483647 -2147483648 -2147483648 2147483647 t"},
        {"FCPD", ""},
        {"fCPDT_1_2_3_0_t.bin", ""},
        {"FCPDT_1_2_3_t.bin", ""},
        {"FCPDT.bin_1_2_3_0_t", ""},
        {"FCWH_17_0_1920_1080_nv21.yuv", "image 17 0 1920 1080 "},
        {"_1_-2_3_4_5_6_7.yuv", "image 1 -2 3 4 "},
        {"FCWH_17_0_1920_1080_nv21.YUV", ""},
        {"FCWH_17_0_1920_1080.yuv", ""},
        {"FCWH_17_0_1920_1080_nv21.yuv2", ""},
        {"yuv", ""},
        {"", ""},
    };
    for (const auto& [name, expected] : cases) EXPECT_EQ(meaning(name), expected) << name;
}

TEST(TreeNames, ImageSizeIs32BitArithmetic) {
    const int cases[][3] = {{1920, 1080, 3110400},
                            {3, 3, 13},
                            {-1, 1, -1},
                            {65536, 65536, 0},
                            {40000, 20000, -947483648},
                            {INT_MAX, INT_MAX, 1},
                            {32768, 32768, -536870912}};
    for (const auto& [width, height, bytes] : cases) EXPECT_EQ(nv21Bytes(width, height), bytes);
}

}  // namespace
