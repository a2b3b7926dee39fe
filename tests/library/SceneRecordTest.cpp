// Tests of the three files of the scene-detection record. The corpus of scene_xml tests how they
// are read.
#include "tests/support/TestDevice.h"

#include <climits>
#include <pugixml.hpp>

#include <cfloat>
#include <clocale>
#include <cstring>
#include <sstream>

namespace {

constexpr size_t kRecordBytes = 8512;

template <typename Value>
void put(std::string& record, size_t offset, Value value) {
    std::memcpy(record.data() + offset, &value, sizeof(value));
}

/// A record with different values in all fields, unsigned ones above the signed maximum, and other
/// bytes that are not zero.
std::string sampleRecord() {
    std::string record(kRecordBytes, '\xab');
    for (size_t i = 464; i < 6192; ++i) record[i] = static_cast<char>(i * 7);
    const std::pair<size_t, int> numbers[] = {{400, -1},   {404, -2},      {408, 3},    {464, -4},
                                              {520, 5},    {524, INT_MIN}, {7132, -77}, {8452, -10},
                                              {8456, -11}, {8460, -12},    {8464, -13}};
    for (const auto& [offset, number] : numbers) put(record, offset, number);
    put(record, 528, -1.5f);
    put(record, 532, 0.1f);
    put(record, 536, 16777216.0f);
    put(record, 7060, FLT_MAX);
    put(record, 7160, UINT64_MAX);
    return record;
}

/// The XML of sampleRecord(): each element on a line of its own, indented by its depth.
std::string sampleXml() {
    std::istringstream elements(
        "0iSceneInfo 1cap_info 2detect_out 3hdr_detect_out 4ev0=-1.5 4ev1=0.100000001 "
        "4ev2=16777216 3postproc_type=4294967292 3normal_num=-2147483648 3total_num=5 "
        "2postproc_type=4294967295 2normal_num=-2 2total_num=3 1threeA_info 2ae_info "
        "3cur_ev=3.40282347e+38 3total_gain=4294967219 3exp_time=18446744073709551615 2af_info "
        "3af_roi_regoin 4sx=4294967286 4sy=4294967285 4ex=4294967284 4ey=4294967283 0");
    std::string text = "<?xml version=\"1.0\"?>";
    Strings open;
    for (std::string element; elements >> element;) {
        const std::string name = element.substr(1, element.find('=') - 1);
        const std::string value = element.substr(std::min(name.size() + 1, element.size()));
        for (; open.size() > static_cast<size_t>(element[0] - '0'); open.pop_back()) {
            text += "\n" + std::string(open.size() - 1, ' ') + "</" + open.back() + ">";
        }
        if (name.empty()) break;
        text += "\n" + std::string(open.size(), ' ') + "<" + name + ">";
        if (value.empty()) open.push_back(name);
        if (!value.empty()) text += value.substr(1) + "</" + name + ">";
    }
    return text + "\n";
}
const std::string kSampleXml = sampleXml();

class SceneRecord : public TestDevice {
protected:
    SceneRecord() {
        pipe.currentFramePath = pipe.rootPath;
        pipe.camId = 4;
    }

    void dump(std::string record) { pipe.dumpIsceneInfo(record.data()); }

    /// The published record.
    std::string load() {
        tykhost::clearPublished();
        pipe.loadISceneInfo(pipe.rootPath, 33);
        const auto values = tykhost::publishedValues();
        EXPECT_EQ(values.size(), 2u);
        return values.empty() ? "" : std::string(values[0].bytes.begin(), values[0].bytes.end());
    }

    PipelineSimulation& pipe = newPipe();
    const std::string xmlPath = pipe.rootPath + "/iSceneInfo.xml";
    const std::string detectPath = pipe.rootPath + "/ISCENE_CAP_INFO_DETECT_OUT.bin";
    const std::string hdrPath = pipe.rootPath + "/ISCENE_CAP_INFO_HDR_DETECT_OUT.bin";
};

TEST_F(SceneRecord, WritesThreeFiles) {
    const std::string record = sampleRecord();
    dump(record);
    const Strings lines = each("4 dumpIsceneInfo: ", {"xml_name " + xmlPath, "824, 4904"});
    EXPECT_EQ(story(), lines);
    EXPECT_EQ(names(pipe.rootPath).size(), 3u);
    EXPECT_EQ(read(xmlPath), kSampleXml);
    EXPECT_TRUE(read(detectPath) == record.substr(464, 4904));
    EXPECT_TRUE(read(hdrPath) == record.substr(5368, 824));
    // Without memory for the XML no file is written.
    pugi::set_memory_management_functions([](size_t) -> void* { return nullptr; }, std::free);
    remove(xmlPath);
    dump(record);
    EXPECT_EQ(
        story(),
        Strings({lines[0], "1 dumpIsceneInfo: out of memory, not written: " + xmlPath, lines[1]}));
    EXPECT_EQ(names(pipe.rootPath).size(), 2u);
    pugi::set_memory_management_functions(std::malloc, std::free);
    remove(pipe.rootPath);
    dump(record);
    EXPECT_EQ(story(), Strings({lines[0], "1 writeToBin: open failed: " + hdrPath,
                                "1 writeToBin: open failed: " + detectPath, lines[1]}));
}

TEST_F(SceneRecord, ARawFileWithFourGiBTooManyIsIgnored) {
    const std::string record = sampleRecord();
    dump(record);
    EXPECT_TRUE(load().substr(540, 5652) == record.substr(540, 5652));
    for (const std::string& path : {detectPath, hdrPath}) {
        fs::resize_file(host(path), fs::file_size(host(path)) + (uintmax_t{1} << 32));
    }
    EXPECT_TRUE(load().substr(540, 5652) == std::string(5652, '\0'));
}

TEST_F(SceneRecord, IgnoresADecimalCommaOfTheProcess) {
    const std::string command =
        "localedef -i de_DE -f UTF-8 " + root + "/de_DE.UTF-8 >" + root + "/log 2>&1";
    setenv("LOCPATH", root.c_str(), 1);
    const bool made = std::system(command.c_str()) == 0 && std::setlocale(LC_ALL, "de_DE.UTF-8");
    unsetenv("LOCPATH");
    if (!made) GTEST_SKIP() << "no locale with a decimal comma can be made here";
    dump(sampleRecord());
    EXPECT_EQ(read(xmlPath), kSampleXml);
    EXPECT_TRUE(load().substr(528, 12) == sampleRecord().substr(528, 12));
    EXPECT_EQ(std::to_string(1.5), "1,500000");  // the process keeps its locale
    std::setlocale(LC_ALL, "C");
}

}  // namespace
