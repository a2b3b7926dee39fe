// What dumping a frame writes.
#include "tests/TestDevice.h"

namespace {

class Dump : public TestDevice {
protected:
    /// Configures tags by name, with what stands in their elements.
    void configure(const PipelineSimulation& pipe,
                   const std::vector<std::pair<const char*, std::string>>& tags) {
        std::string text = "<dumpconfig><common>";
        for (const auto& [name, rest] : tags) {
            text += std::string("<tag value='") + name + "'>" + rest + "</tag>";
        }
        write(pipe.configPath, text + "</common></dumpconfig>");
    }

    static constexpr const char* kProperty = "persist.vendor.cam.isstest";
    static constexpr const char* kAsBlock = "<dumpType>1</dumpType>";
    const std::string full = std::string(512000, 'f');
};

TEST_F(Dump, PropertyDecidesWhichPipe) {
    // -48 is what a missing digit behind the "2" comes to.
    const std::vector<int> pipes{-48, -1, 4, 5, 10};
    // clang-format off
    const std::pair<const char*, std::vector<int>> cases[] = {
        {"", {}}, {"0", {}}, {"2", {}}, {"24", {4}}, {"245", {4}}, {"29", {}}, {"2/", {-1}},
        {"2:", {10}}, {"01", pipes}, {"1", pipes}, {"3", pipes}, {"12", pipes}, {" 2", pipes}};
    // clang-format on
    char pixels[] = "123456789012";
    for (const auto& [value, expected] : cases) {
        if (*value) tykhost::setProperty(kProperty, value);
        std::vector<int> dumped;
        for (const int id : pipes) {
            PipelineSimulation* const pipe = PipelineSimMgr::getPipeSimInstance(id);
            remove(pipe->rootPath);
            makeFolder(pipe->rootPath);
            pipe->currentTask.clear();
            PipelineSimulation::imageInfo info{pixels, 42, 17, 3, id, 4, 2, 0};
            PipelineSimulation::dumpIfneed(info);
            const std::string image = "/0305140709123_reqID_42_sofID_17/FCWH_17_3_4_2_nv21.yuv";
            if (read(pipe->rootPath + image) == pixels) {
                dumped.push_back(id);
            } else {
                EXPECT_EQ(names(pipe->rootPath), Strings()) << value << " " << id;
            }
        }
        EXPECT_EQ(dumped, expected) << value;
    }
}

TEST_F(Dump, EveryEntryBecomesAFile) {
    PipelineSimulation& pipe = newPipe();
    configure(pipe, {{"plain", ""},
                     {"plain", "<pipe>NOZSL_TYPE</pipe><camID>0</camID><sofID>99</sofID>"},
                     {"block", "<pipe>VIDEO_TYPE</pipe><dumpType>1</dumpType>"},
                     {"full", ""},
                     {"huge", ""},
                     {"negative", ""},
                     {"plain", "<dumpType>2</dumpType>"},
                     {"unknown", ""},
                     {"unknown", kAsBlock},
                     {"other_tag", ""},
                     {"block_2", kAsBlock}});
    tykhost::setLiveValue(3, kPlain, "camera 3", 8);
    tykhost::setLiveValue(0, kPlain, "camera 0", 8);
    tykhost::setLiveValue(3, kBlock, "a block", 7);
    tykhost::setLiveValue(3, kFull, full.data(), full.size());
    pipe.dumpParam(42, 17, 3);
    EXPECT_TRUE(pipe.initialised);
    Strings lines = story();
    const std::string frame = pipe.rootPath + "/0305140709123_reqID_42_sofID_17";
    const auto entry = [](const std::string& text) { return "4 dumpParam: " + text; };
    const auto file = [&](const char* rest) { return entry("file: " + frame + "/FCPDT_" + rest); };
    const std::string frames = ", sofID 17, camId 3, dumpType ";
    EXPECT_EQ(lines[0], entry("dump reqID 42, sofID 17, camID 3"));
    const auto init = std::find(lines.begin(), lines.end(), "4 init: init done. mode 0");
    ASSERT_NE(init, lines.end());
    lines.erase(lines.begin(), init + 1);
    EXPECT_EQ(lines, Strings({"4 mkDumpDir: dump path: " + frame,
                              "5 createFolder: ret 0",
                              entry("pipe 0, tag 7" + frames + "0"),
                              file("17_3_0_0_plain.bin, size: 8"),
                              entry("pipe 7, tag 7, sofID 99, camId 0, dumpType 0"),
                              file("99_0_7_0_plain.bin, size: 8"),
                              entry("pipe 3, tag 9" + frames + "1"),
                              file("17_3_3_1_block.bin, size: 7"),
                              entry("pipe 0, tag 11" + frames + "0"),
                              file("17_3_0_0_full.bin, size: 512000"),
                              entry("pipe 0, tag 12" + frames + "0"),
                              "1 dumpParam: tag huge: size 512001 does not lie in 0 to 512000",
                              entry("pipe 0, tag 13" + frames + "0"),
                              "1 dumpParam: tag negative: size -1 does not lie in 0 to 512000",
                              entry("pipe 0, tag 7" + frames + "2"),
                              entry("pipe 0, tag 0" + frames + "0"),
                              entry("pipe 0, tag 0" + frames + "1"),
                              entry("pipe 0, tag 8" + frames + "0"),
                              file("17_3_0_0_other_tag.bin, size: 8"),
                              entry("pipe 0, tag 10" + frames + "1"),
                              file("17_3_0_1_block_2.bin, size: 0")}));
    // No service knew "other_tag": its file holds what the scratch buffer held.
    const std::pair<const char*, std::string> files[] = {
        {"FCPDT_17_3_0_0_full.bin", full},        {"FCPDT_17_3_0_0_other_tag.bin", "ffffffff"},
        {"FCPDT_17_3_0_0_plain.bin", "camera 3"}, {"FCPDT_17_3_0_1_block_2.bin", ""},
        {"FCPDT_17_3_3_1_block.bin", "a block"},  {"FCPDT_99_0_7_0_plain.bin", "camera 0"}};
    Strings present;
    for (const auto& [name, bytes] : files) {
        present.push_back(name);
        EXPECT_TRUE(read(frame + "/" + name) == bytes) << name;
    }
    EXPECT_EQ(names(frame), present);
}

TEST_F(Dump, SideRecords) {
    const std::string copy = std::string(kRoot) + "/pipe_1/mfnr5.2.xml";
    const std::string snapshot = "<pipe>SNAPSHOT_TYPE</pipe>", none = "<dumpType>2</dumpType>";
    const std::tuple<const char*, std::string, size_t, bool> cases[] = {
        {"KELV_TAG_ISCENE_INFO", snapshot, 4, false},
        {"KELV_TAG_ISCENE_INFO", "", 1, false},
        {"KELV_TAG_ISCENE_INFO", snapshot + none, 3, false},
        {"mfnr", "", 1, true},
        {"mfnr", snapshot + none, 0, true},
        {"unknown", snapshot, 0, false},
    };
    for (const auto& [tag, rest, files, copied] : cases) {
        PipelineSimulation& pipe = newPipe();
        remove(copy);
        makeFolder(std::string(kRoot) + "/pipe_1");
        configure(pipe, {{tag, rest}});
        pipe.dumpParam(1, 2, 0);
        EXPECT_EQ(names(pipe.currentFramePath).size(), files) << tag << rest;
        EXPECT_EQ(read(copy), copied ? "" : "<none>") << tag << rest;
    }
}

TEST_F(Dump, RecordsAreMadeOfWhatTheScratchBufferHolds) {
    // Their own entries fetch nothing; a block fetched in between leaves the buffer alone.
    PipelineSimulation& pipe = newPipe();
    configure(pipe, {{"full", ""},
                     {"block", kAsBlock},
                     {"KELV_TAG_ISCENE_INFO", "<pipe>SNAPSHOT_TYPE</pipe><dumpType>2</dumpType>"},
                     {"plain", ""},
                     {"block", kAsBlock},
                     {"mfnr", "<dumpType>2</dumpType>"}});
    tykhost::setLiveValue(0, kFull, full.data(), full.size());
    tykhost::setLiveValue(0, kBlock, "a block", 7);
    tykhost::setLiveValue(0, kPlain, "mfnr5.2", 7);
    pipe.dumpParam(1, 2, 0);
    EXPECT_EQ(read(pipe.currentFramePath + "/ISCENE_CAP_INFO_DETECT_OUT.bin"),
              full.substr(0, 4904));
    EXPECT_EQ(texts(5).back(), "match xml: /vendor/firmware/mfnr5.2");
}

TEST_F(Dump, ImageSizesAndFailures) {
    PipelineSimulation& pipe = newPipe();
    pipe.currentFramePath = pipe.rootPath;
    std::string pixels = "0123456789abcdef";
    const std::tuple<int, int, const char*> cases[] = {{3, 3, "0123456789abc"},
                                                       {1, 1, "0"},
                                                       {0, 7, ""},
                                                       {-1, 7, "<none>"},
                                                       {-3, -3, "0123456789abc"},
                                                       {32768, 32768, "<none>"}};
    for (const auto& [width, height, written] : cases) {
        pipe.dumpNV21(pixels.data(), width, height, -8, 300);
        const std::string name = pipe.rootPath + "/FCWH_-8_300_" + std::to_string(width) + "_" +
                                 std::to_string(height) + "_nv21.yuv";
        EXPECT_EQ(read(name), written) << name;
        EXPECT_EQ(texts().size(), *written == '<' ? 1u : 0u) << name;
    }
    configure(pipe, {{"plain", ""}, {"block", kAsBlock}});
    pipe.init(0);
    remove(kRoot);
    tykhost::setProperty(kProperty, "1");
    PipelineSimulation::imageInfo info{pixels.data(), 1, 2, 0, pipe.pipeId, 2, 2, 0};
    log.clear();
    PipelineSimulation::dumpIfneed(info);
    EXPECT_EQ(log.texts(5), Strings({"ret -1"}));
    EXPECT_EQ(texts(), each("open failed: " + pipe.currentFramePath,
                            {"/FCPDT_2_0_0_0_plain.bin", "/FCPDT_2_0_0_1_block.bin",
                             "/FCWH_2_0_2_2_nv21.yuv"}));
}

}  // namespace
