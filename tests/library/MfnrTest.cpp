// The copy of the MFNR tuning file, and its replay entry.
#include "tests/support/TestDevice.h"

#include <climits>

#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

namespace {
int readsLeft = INT_MAX;  // until one is short, the next fails, and no other
}

extern "C" TYK_EXPORT ssize_t read(int descriptor, void* data, size_t size) {
    if (--readsLeft == 0) return errno = EIO, -1;
    if (readsLeft == 1) size /= 2;
    return reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"))(descriptor, data, size);
}

namespace {

/// A name table as the pipeline holds it.
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

TEST_F(Mfnr, FirstNameThatContainsTheKeyMatches) {
    const std::string unended(128, 'a');
    const std::string hit = unended.substr(0, 123) + "mfnr3";
    Strings many(32, "n");
    many[31] = "x_mfnr5.2_y.xml";
    const std::tuple<Strings, const char*, std::string, size_t> cases[] = {
        {{"a.xml", "mfnr5.2.xml", "mfnr5.2b.xml"}, "mfnr5.2", "mfnr5.2.xml", 2},
        {{"", "mfnr5.2.xml"}, "mfnr5.2", "", 1},
        {{"mfnr5.3.xml"}, "mfnr5.2", "", 2},
        {many, "mfnr5.2", many[31], 32},
        {many, "mfnr3", "", 32},
        {{unended, hit}, "mfnr3", hit, 2},
        {{unended.substr(1) + "m", "fnr3"}, "mfnr3", "", 3},
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
    char out[300] = "";
    Table table(Strings{"mfnr3.a", "mfnr3.b"});
    pipe.matchXML(table.names, "mfnr3.b", out);
    EXPECT_EQ(texts(5).size(), 3u);
    pipe.matchXML(nullptr, "mfnr3", out);
    EXPECT_STREQ(out, "/vendor/firmware/mfnr3.b");
    EXPECT_EQ(texts(5).size(), 1u);
}

TEST_F(Mfnr, VersionPicksSourceAndCopy) {
    Table table(Strings{"mfnr3.xml", "mfnr4.xml", "mfnr5.2.xml"});
    for (const char* const name : {"mfnr3.xml", "mfnr4.xml", "mfnr5.2.xml"}) {
        write(std::string("/vendor/firmware/") + name, name);
    }
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"", "mfnr5.2.xml", true},  {"5", "mfnr5.2.xml", true},  {"3", "mfnr3.xml", true},
        {" 4x", "mfnr4.xml", true}, {"6", "mfnr5.2.xml", false}, {"-3", "mfnr5.2.xml", false}};
    for (const auto& [version, name, known] : cases) {
        if (*version) tykhost::setProperty("persist.vendor.cam.mfnr.version", version);
        remove(kFolder);
        write(kFolder + ("/" + name), "an older copy");
        pipe.dumpMFNRXml(table.names);
        EXPECT_EQ(log.texts(4),
                  Strings({"mfnr xml: " + (known ? "/vendor/firmware/" + name : "")}));
        EXPECT_EQ(texts(), known ? Strings() : Strings({"src  open failed!"}));
        EXPECT_EQ(names(kFolder), Strings({name})) << version;
        EXPECT_EQ(read(kFolder + ("/" + name)), known ? name + "\n" : "") << version;
    }
}

TEST_F(Mfnr, CopiesLineByLine) {
    const std::string l510(510, 'x'), l511(511, 'x'), l512(512, 'x'), nul(1, '\0');
    std::string lines;
    for (size_t i = 0; i < 100; ++i) lines += std::string(i * 5, 'z') + "\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"\n", "\n"},
        {"\n\na", "\n\na\n"},
        {"a\r\nb\r", "a\r\nb\r\n"},
        {l511 + "\nb", l511 + "\nb\n"},
        {l511, l511 + "\n"},
        {l512, ""},
        {"a\n" + l512 + "\nb\n", "a\n"},
        {"a" + nul + "b\n" + nul + "\n" + nul, "a\n\n\n"},
        {nul + l511 + "\nb\n", ""},
        {nul + l510 + "\nb\n", "\nb\n"},
        {lines + std::string(3000, 'y'), lines},
        {lines + "end", lines + "end\n"},
    };
    Table table(Strings{"mfnr5.2.xml"});
    for (const auto& test : cases) {
        write(source, test.first);
        pipe.dumpMFNRXml(table.names);
        EXPECT_EQ(read(copy), test.second) << test.first.size() << " bytes";
    }
    // A read error ends the copy after the last whole line before it.
    write(source, lines);
    readsLeft = 3;
    pipe.dumpMFNRXml(table.names);
    readsLeft = INT_MAX;
    EXPECT_EQ(read(copy), lines.substr(0, lines.rfind('\n', 4096 + 2047) + 1));
    EXPECT_EQ(texts(), Strings());
}

TEST_F(Mfnr, SourceOrCopyThatCannotBeOpened) {
    Table table(Strings{"mfnr5.2.xml"});
    for (const bool folder : {false, true}) {
        if (folder) makeFolder(source);
        pipe.dumpMFNRXml(table.names);
        EXPECT_EQ(story().back(), "1 dumpMFNRXml: src " + source + " open failed!");
        EXPECT_EQ(read(copy), "");
    }
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

TEST_F(Mfnr, ReplayEntryNamesTheCopy) {
    pipe.camId = -6;
    const auto entry = [this] {
        pipe.loadMFNRXml(-21);
        tykhost::PublishedValue value{};
        EXPECT_TRUE(tykhost::publishedValue({-6u, 1, -21u, kMfnr}, value));
        std::string bytes(value.bytes.begin(), value.bytes.end());
        EXPECT_EQ(bytes.size(), 4096u);
        return bytes.erase(bytes.find_last_not_of('\0') + 1);
    };
    write(std::string(kFolder) + "/tuning.xml", "");
    makeFolder(std::string(kFolder) + "/mfnr_folder");
    EXPECT_EQ(entry(), "tyksimulation/mfnr5.2.xml");
    write(std::string(kFolder) + "/xmfnr9", "");
    EXPECT_EQ(entry(), "tyksimulation/xmfnr9");
    write(std::string(kFolder) + "/mfnr3.xml", "");
    Strings files;
    pipe.getSubFiles(kFolder, files);
    files.erase(std::find(files.begin(), files.end(), "tuning.xml"));
    EXPECT_EQ(entry(), "tyksimulation/" + files.front());
    remove(kFolder);
    EXPECT_EQ(entry(), "tyksimulation/mfnr5.2.xml");
    EXPECT_EQ(texts(), Strings({std::string("Could not OpenDIR with Path ") + kFolder}));
}

}  // namespace
