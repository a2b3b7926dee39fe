// Tests of failures of the MFNR tuning copy. The corpus of mfnr tests the matching, the copy and
// the name in a replay.
#include "tests/support/TestDevice.h"

namespace {

/// A name table in the pipeline's layout.
struct Table {
    Table(const Strings& entries) {
        for (size_t i = 0; i < entries.size(); ++i) entries[i].copy(names[i], sizeof(names[i]));
    }
    char names[32][128] = {};
};

class Mfnr : public TestDevice {
protected:
    Mfnr() { makeFolder(kFolder); }

    static constexpr const char* kFolder = "/data/vendor/cameraserver/tykdump/pipe_1";
    const std::string source = "/vendor/firmware/mfnr5.2.xml";
    const std::string copy = std::string(kFolder) + "/mfnr5.2.xml";
    PipelineSimulation& pipe = newPipe();
};

TEST_F(Mfnr, SearchesNamesUpToTheMatchOrTheEnd) {
    const Strings many(32, "n");
    const std::tuple<Strings, const char*, std::string, size_t> cases[] = {
        {{"a.xml", "mfnr5.2.xml", "mfnr5.2b.xml"}, "mfnr5.2", "mfnr5.2.xml", 2},
        {many, "mfnr3", "", 32},
        {{"n", "", "mfnr3"}, "mfnr3", "", 2},
        {{"mfnr3"}, "", "", 0},
        {{"mfnr3"}, nullptr, "", 0},
    };
    for (const auto& [entries, key, match, visited] : cases) {
        Table table(entries);
        char out[300] = "before";
        pipe.matchXML(table.names, key, out);
        EXPECT_EQ(out, "before" + (match.empty() ? "" : "/vendor/firmware/" + match));
        EXPECT_EQ(texts(5).size(), visited + (match.empty() ? 0 : 1)) << match;
    }
    char out[] = "before";
    pipe.matchXML(nullptr, "mfnr3", out);
    EXPECT_STREQ(out, "before");
}

TEST_F(Mfnr, ReportsASourceOrCopyThatCannotBeOpened) {
    Table table(Strings{"mfnr5.2.xml"});
    for (const bool folder : {false, true}) {
        if (folder) makeFolder(source);
        pipe.dumpMFNRXml(table.names);
        EXPECT_EQ(story().back(), "1 dumpMFNRXml: src " + source + " open failed!");
        EXPECT_EQ(read(copy), "");
    }
    tykhost::setProperty("persist.vendor.cam.mfnr.version", "6");
    pipe.dumpMFNRXml(table.names);
    EXPECT_EQ(story().back(), "1 dumpMFNRXml: src  open failed!");
    tykhost::clearProperties();
    remove(kFolder);
    pipe.dumpMFNRXml(table.names);
    EXPECT_EQ(texts(), Strings({"src " + source + " open failed!"}));
    remove(source);
    write(source, "x");
    Strings open;
    tykhost::takeLogLines([&](const tykhost::LogLine& line) {
        if (line.level == 1) open.push_back(line.text), open.push_back(openFiles().at(0));
    });
    pipe.dumpMFNRXml(table.names);
    makeFolder(kFolder);
    remove(source);
    pipe.dumpMFNRXml(table.names);
    EXPECT_EQ(open, Strings({"dst " + copy + " open failed!", source,
                             "src " + source + " open failed!", copy}));
}

}  // namespace
