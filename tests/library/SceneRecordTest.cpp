// The scene-detection record: its three files, and the record they give back.
#include "tests/support/TestDevice.h"

#include <climits>
#include <pugixml.hpp>

#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

namespace {

constexpr size_t kRecordBytes = 8512;
using Limits = std::numeric_limits<float>;

template <typename Value>
void put(std::string& record, size_t offset, Value value) {
    std::memcpy(record.data() + offset, &value, sizeof(value));
}

/// A record whose fields differ from each other and whose other bytes are not zero.
std::string sampleRecord() {
    std::string record(kRecordBytes, '\xab');
    for (size_t i = 464; i < 6192; ++i) record[i] = static_cast<char>(i * 7);
    const std::pair<size_t, int> numbers[] = {{400, 1},   {404, -2},      {408, 3},   {464, 4},
                                              {520, 5},   {524, INT_MIN}, {7132, 77}, {8452, 10},
                                              {8456, 11}, {8460, 12},     {8464, 13}};
    for (const auto& [offset, number] : numbers) put(record, offset, number);
    put(record, 528, -1.5f);
    put(record, 532, 0.1f);
    put(record, 536, 16777216.0f);
    put(record, 7060, Limits::max());
    put(record, 7160, INT64_MAX);
    return record;
}

/// The XML of sampleRecord(): each element on a line of its own, indented by its depth.
std::string sampleXml() {
    std::istringstream elements(
        "0iSceneInfo 1cap_info 2detect_out 3hdr_detect_out 4ev0=-1.5 4ev1=0.100000001 "
        "4ev2=16777216 "
        "3postproc_type=4 3normal_num=-2147483648 3total_num=5 2postproc_type=1 2normal_num=-2 "
        "2total_num=3 1threeA_info 2ae_info 3cur_ev=3.40282347e+38 3total_gain=77 "
        "3exp_time=9223372036854775807 2af_info 3af_roi_regoin 4sx=10 4sy=11 4ex=12 4ey=13 0");
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

/// What of a record a replay brings back: fields and blocks, the rest zero.
std::string carried(const std::string& record) {
    std::string result(kRecordBytes, '\0');
    const std::pair<size_t, size_t> parts[] = {{400, 12}, {464, 5728}, {7060, 4},
                                               {7132, 4}, {7160, 8},   {8452, 16}};
    for (const auto& [offset, size] : parts) result.replace(offset, size, record, offset, size);
    return result;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    EXPECT_NE(text.find(from), std::string::npos) << from;
    return text.replace(text.find(from), from.size(), to);
}

class SceneRecord : public TestDevice {
protected:
    SceneRecord() {
        pipe.currentFramePath = pipe.rootPath;
        pipe.camId = 4;
    }

    void dump(std::string record) { pipe.dumpIsceneInfo(record.data()); }

    /// The record published for both pipes, "" when none was.
    std::string load() {
        tykhost::clearPublished();
        log.clear();
        pipe.loadISceneInfo(pipe.rootPath, 33);
        const auto values = tykhost::publishedValues();
        if (values.empty()) return "";
        EXPECT_EQ(published(), Strings({"4/0/33/2118 8512", "4/1/33/2118 8512"}));
        EXPECT_EQ(values[0].bytes, values[1].bytes);
        return {values[0].bytes.begin(), values[0].bytes.end()};
    }

    /// Loads and compares; a difference shows with its place.
    void expectLoaded(const std::string& expected, const std::string& what) {
        const std::string actual = load();
        ASSERT_EQ(actual.size(), expected.size()) << what;
        const auto differing = std::mismatch(actual.begin(), actual.end(), expected.begin());
        EXPECT_EQ(differing.first - actual.begin(), 8512) << what;
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
    // Without memory for the XML there is none of it.
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

TEST_F(SceneRecord, ComesBackBitForBit) {
    std::string record = sampleRecord();
    dump(record);
    expectLoaded(carried(record), "sample");
    for (const float value :
         {-0.0f, Limits::denorm_min(), Limits::min(), Limits::lowest(), 1.0f / 3, 8388609.5f,
          -Limits::infinity(), std::nextafter(1.0f, 2.0f)}) {
        for (const size_t offset : {528u, 532u, 536u, 7060u}) put(record, offset, value);
        dump(record);
        expectLoaded(carried(record), std::to_string(value));
    }
    put(record, 7060, Limits::quiet_NaN());
    dump(record);
    float loaded = 0;
    std::memcpy(&loaded, load().data() + 7060, sizeof(loaded));
    EXPECT_TRUE(std::isnan(loaded));
    // Unsigned fields are written in full and read back as signed ones.
    record = sampleRecord();
    const size_t offsets[] = {400, 464, 7132, 8452, 8456, 8460, 8464};
    for (const size_t offset : offsets) put(record, offset, UINT32_MAX);
    put(record, 7160, UINT64_MAX);
    dump(record);
    EXPECT_NE(read(xmlPath).find("<total_gain>4294967295<"), std::string::npos);
    EXPECT_NE(read(xmlPath).find("<exp_time>18446744073709551615<"), std::string::npos);
    for (const size_t offset : offsets) put(record, offset, INT_MAX);
    put(record, 7160, INT64_MAX);
    expectLoaded(carried(record), "saturated");
}

TEST_F(SceneRecord, EditedXmlCountsOverTheBlocks) {
    const auto bytes = [](auto value) {
        return std::string(reinterpret_cast<const char*>(&value), sizeof(value));
    };
    using Changes = std::vector<std::pair<size_t, std::string>>;
    const auto zeros = [](size_t size) { return std::string(size, '\0'); };
    const Changes ae{{7060, zeros(4)}, {7132, zeros(4)}, {7160, zeros(8)}};
    const Changes detect{{464, zeros(4)}, {520, zeros(8)}};
    const Changes everything{{400, zeros(12)}, detect[0], detect[1], ae[0], ae[1], ae[2],
                             {8452, zeros(16)}};
    const struct {
        const char* from;  // a name without brackets renames the element: it is then missing
        const char* to;
        Changes changes;
        size_t evLines = 1;
    } cases[] = {
        {">-2147483648<", ">12<", {{524, bytes(12)}}},
        {">-2147483648<", "> 0x10junk<", {{524, bytes(16)}}},
        {">-2147483648<", ">99999999999<", {{524, bytes(INT_MAX)}}},
        {">-2147483648<", ">junk<", {{524, zeros(4)}}},
        {">-2147483648<", "><b>1</b><![CDATA[18]]>19<", {{524, bytes(18)}}},
        {"<total_num>5<", "<total_num/><total_num>5<", {{520, zeros(4)}}},
        {"<total_num>3</total_num>", "", {{408, zeros(4)}}},
        {">-1.5<", ">1e1<", {{528, bytes(10.0f)}}},
        {">-1.5<", ">x<", {{528, zeros(4)}}},
        {">-1.5<", ">1,5<", {{528, bytes(1.0f)}}},
        {"<ev0>-1.5</ev0>", "", {{528, zeros(4)}}},
        {"<hdr_detect_out>", "<hdr_detect_out/><hdr_detect_out>", {{528, zeros(12)}}},
        {"hdr_detect_out", "x", {}, 0},
        {"detect_out", "x", detect, 0},
        {"<detect_out>", "<x><detect_out/></x><detect_out>", {}},
        {">3.40282347e+38<", ">-1e99<", {{7060, bytes(-HUGE_VALF)}}},
        {">9223372036854775807<", ">-9223372036854775809<", {{7160, bytes(INT64_MIN)}}},
        {">9223372036854775807<", ">0xfF<", {{7160, bytes(int64_t{255})}}},
        {"ae_info", "x", ae},
        {"af_roi_regoin", "af_roi_region", {{8452, zeros(16)}}},
        {"ey", "EY", {{8464, zeros(4)}}},
        {"cap_info", "x", {{400, zeros(12)}, detect[0], detect[1]}, 0},
        {"iSceneInfo", "x", everything, 0},
    };
    for (const auto& [from, to, changes, evLines] : cases) {
        dump(sampleRecord());
        const std::string open = std::strchr(from, '<') || std::strchr(from, '>') ? "" : "<";
        std::string xml = replaced(kSampleXml, open + from, open + to);
        if (!open.empty()) xml = replaced(xml, std::string("/") + from, std::string("/") + to);
        write(xmlPath, xml);
        std::string expected = carried(sampleRecord());
        for (const auto& [offset, change] : changes) {
            expected.replace(offset, change.size(), change);
        }
        expectLoaded(expected, from);
        EXPECT_EQ(texts(4).size(), evLines) << from;
    }
}

TEST_F(SceneRecord, XmlThatCannotBeReadPublishesNothing) {
    const std::string& whole = kSampleXml;
    dump(sampleRecord());
    const auto expectNothing = [this](const std::string& what) {
        EXPECT_EQ(load(), "") << what;
        EXPECT_EQ(story(), Strings({"1 loadISceneInfo: Document not parsed successfully! with file "
                                    "path " +
                                    xmlPath}))
            << what;
    };
    for (const std::string& xml : {std::string(), whole.substr(0, whole.size() - 3), whole + "<x>",
                                   whole + std::string(16u << 20, ' ')}) {
        write(xmlPath, xml);
        expectNothing(xml.substr(0, 2000));
    }
    remove(xmlPath);
    expectNothing("missing");
}

TEST_F(SceneRecord, RawFilesOfAnotherSizeAreIgnored) {
    const std::string sample = sampleRecord();
    for (const bool hdr : {false, true}) {
        const std::string path = hdr ? hdrPath : detectPath;
        const size_t offset = hdr ? 5368 : 464, size = hdr ? 824 : 4904;
        std::string expected = carried(sample);
        expected.replace(offset, size, size, '\0');
        expected.replace(464, 4, sample, 464, 4);  // the fields in the block are the XML's
        expected.replace(520, 20, sample, 520, 20);
        for (const size_t wrong : {size_t{0}, size - 1, size + 1, size_t{1} << 32 | size}) {
            dump(sample);
            fs::resize_file(host(path), wrong);
            expectLoaded(expected, path + " " + std::to_string(wrong));
            EXPECT_EQ(texts(), Strings());
        }
        remove(path);
        expectLoaded(expected, path);
    }
}

TEST_F(SceneRecord, DecimalCommaOfTheProcessDoesNotShow) {
    const std::string command =
        "localedef -i de_DE -f UTF-8 " + root + "/de_DE.UTF-8 >" + root + "/log 2>&1";
    setenv("LOCPATH", root.c_str(), 1);
    const bool made = std::system(command.c_str()) == 0 && std::setlocale(LC_ALL, "de_DE.UTF-8");
    unsetenv("LOCPATH");
    if (!made) GTEST_SKIP() << "no locale with a decimal comma can be made here";
    dump(sampleRecord());
    EXPECT_EQ(read(xmlPath), kSampleXml);
    expectLoaded(carried(sampleRecord()), "comma");
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");  // the process keeps its own
    EXPECT_NE(std::to_string(1.5).find("1,5"), std::string::npos);
    std::setlocale(LC_ALL, "C");
}

}  // namespace
