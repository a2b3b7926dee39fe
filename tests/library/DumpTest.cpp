// Tests of the files that dumping a frame writes.
#include "tests/support/TestDevice.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

class Dump : public TestDevice {
protected:
    Dump() {
        close(STDIN_FILENO);  // the library must cope with descriptor 0
        umask(026);
    }

    /// Configures tags by name, with the content of their elements.
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
    // A missing digit after the "2" gives -48.
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

TEST_F(Dump, WritesTheScratchBufferOrAnEmptyBlockWithoutAValue) {
    PipelineSimulation& pipe = newPipe();
    configure(pipe, {{"full", ""}, {"high", ""}, {"block_2", kAsBlock}});
    tykhost::setLiveValue(3, kFull, full.data(), full.size());
    pipe.dumpParam(-42, 17, 3);
    EXPECT_TRUE(pipe.initialised);
    const std::string at = pipe.currentFramePath + "/FCPDT_17_3_0_";
    EXPECT_EQ(pipe.currentFramePath, pipe.rootPath + "/0305140709123_reqID_-42_sofID_17");
    for (const auto& [name, bytes] :
         {std::pair("0_full", full), {"0_high", std::string("ffffffff")}, {"1_block_2", ""}}) {
        EXPECT_TRUE(read(at + name + ".bin") == bytes) << name;
        EXPECT_EQ(permissions(at + name + ".bin"), 0640);
    }
    const Strings lines = log.texts(4);
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         "pipe 0, tag -2147483647, sofID 17, camId 3, dumpType 0"),
              1);
    EXPECT_EQ(texts(), Strings());
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

TEST_F(Dump, MakesRecordsFromTheScratchBuffer) {
    // Their own entries fetch nothing. A block fetched between them does not change the buffer,
    // even if the service stores a whole value in place of the block's descriptor.
    for (const char* const kind : {"", kAsBlock}) {
        PipelineSimulation& pipe = newPipe();
        configure(pipe,
                  {{"full", kind},
                   {"block", kAsBlock},
                   {"KELV_TAG_ISCENE_INFO", "<pipe>SNAPSHOT_TYPE</pipe><dumpType>2</dumpType>"},
                   {"plain", ""},
                   {"block", kAsBlock},
                   {"mfnr", "<dumpType>2</dumpType>"}});
        const std::string value = std::string(16, '\0') + full.substr(16);  // an empty block
        tykhost::setLiveValue(0, kFull, value.data(), value.size());
        tykhost::setLiveValue(0, kBlock, "a block", 7);
        tykhost::setLiveValue(0, kPlain, "mfnr5.2", 7);
        pipe.dumpParam(1, 2, 0);
        EXPECT_EQ(read(pipe.currentFramePath + "/ISCENE_CAP_INFO_DETECT_OUT.bin"),
                  full.substr(0, 4904))
            << kind;
        EXPECT_EQ(texts(5).back(), "match xml: /vendor/firmware/mfnr5.2");
    }
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
        EXPECT_EQ(permissions(name), *written == '<' ? 0xffff : 0640);
        const std::string size = width > 0 ? "-536870912" : "-10";
        EXPECT_EQ(texts(), *written == '<' ? Strings({"size " + size + " is negative: " + name})
                                           : Strings());
    }
    configure(pipe, {{"plain", ""}, {"block", kAsBlock}});
    pipe.init(0);
    // A path cut within the folder's name does not lead into the folder.
    pipe.currentTask = pipe.rootPath;
    for (int i = 0; i < 4; ++i) pipe.currentTask += "/" + std::string(240, 'd');
    makeFolder(pipe.currentTask);
    tykhost::setLiveValue(0, kBlock, "cut", 3);
    pipe.dumpParam(1, 2, 0);
    EXPECT_EQ(read(pipe.currentFramePath.substr(0, 1023)), "cut");
    EXPECT_EQ(names(pipe.currentFramePath), Strings());
    // A path cut directly after the folder's name is the folder.
    pipe.currentTask.resize(1023 - (pipe.currentFramePath.size() - pipe.currentTask.size()));
    makeFolder(pipe.currentTask);
    log.clear();
    pipe.dumpParam(1, 2, 0);
    EXPECT_EQ(pipe.currentFramePath.size(), 1023u);
    EXPECT_EQ(texts(), Strings(2, "open failed: " + pipe.currentFramePath));
    pipe.currentTask.clear();
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
