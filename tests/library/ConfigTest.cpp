// Dump configurations and what is read from them.
#include "tests/support/TestDevice.h"

#include <dlfcn.h>
#include <sys/stat.h>

namespace {
off_t bytesGone = 0;  // of every file between its measuring and its reading
}

extern "C" TYK_EXPORT int fstat(int descriptor, struct stat* status) noexcept {
    const auto next = reinterpret_cast<decltype(&fstat)>(dlsym(RTLD_NEXT, "fstat"));
    const int result = next(descriptor, status);
    status->st_size += bytesGone;
    return result;
}

namespace {

class Config : public TestDevice {
protected:
    Config() {
        pipe.tagNameMap = {{"plain", 7}, {"block", 9}, {"high", static_cast<int>(kHigh)}};
        pipe.pipeNameMap = {{"PREVIEW_TYPE", 0}, {"SNAPSHOT_TYPE", 1}, {"NOZSL_TYPE", 7}};
    }

    /// What is read from the configuration: "name tag pipe cam sof dumpType; " per entry.
    std::string entries() {
        std::vector<std::pair<std::string, PipelineSimulation::tagInfo>> list(3);
        pipe.parseConfig(pipe.configPath.c_str(), list);
        std::string result;
        for (const auto& [name, info] : list) {
            result += name;
            for (const uint32_t number : {info.tag, static_cast<uint32_t>(info.pipe), info.camId,
                                          info.sofId, static_cast<uint32_t>(info.dumpType)}) {
                result += " " + std::to_string(static_cast<int32_t>(number));
            }
            result += "; ";
        }
        return result;
    }

    std::string entriesOf(const std::string& xml) {
        write(pipe.configPath, xml);
        return entries();
    }

    PipelineSimulation& pipe = newPipe();
};

TEST_F(Config, EveryLineOfAWholeFile) {
    const std::string xml =
        "<dumpconfig><common><tag value='plain'><pipe>SNAPSHOT_TYPE</pipe><dumpType>1</dumpType>"
        "</tag></common><pipeline><node name='n1'><tag name='high'><sofID>-4</sofID>"
        "<sofid>-5</sofid><pipe>NOZSL_TYPE</pipe><camID>-2</camID></tag></node><node/></pipeline>"
        "</dumpconfig>";
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(entriesOf(xml), "plain 7 1 -1 -1 1; high -2147483647 7 -2 -4 0; ");
        const Strings lines = texts(4);
        EXPECT_EQ(lines.at(lines.size() - 2), "tag high tag -2147483647 pipe 7 cam -2 sof -4");
    }
    // A byte order mark and UTF-16 are told by the parser.
    std::string wide = "\xff\xfe";
    for (const char c : xml) wide += {c, '\0'};
    EXPECT_EQ(entriesOf("\xef\xbb\xbf" + xml), entriesOf(wide));
    EXPECT_EQ(entries(), entriesOf(xml));
    EXPECT_EQ(pipe.tagNameMap.size() + pipe.pipeNameMap.size(), 6u);
}

TEST_F(Config, Entries) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"<Tag value='plain'/>", ""},
        {"<tag value='plain'/><tag value='plain'/>", "plain 7 0 -1 -1 0; plain 7 0 -1 -1 0; "},
        {"<note value='plain'/><tag value='block'/>text<!-- c --><note><camID>3</camID></note>",
         "block 9 0 -1 -1 0;  0 0 3 -1 0; "},
        {"<tag name='plain'/>", " 0 0 -1 -1 0; "},
        {"<tag value='unknown'><pipe>unknown</pipe></tag>", "unknown 0 0 -1 -1 0; "},
        {"<tag value='plain'><camID>abc</camID></tag>", "plain 7 0 0 -1 0; "},
        {"<tag value='plain'><camID/><sofID></sofID></tag>", "plain 7 0 -1 -1 0; "},
        {"<tag value='plain'><camID><b>4</b></camID><camID>5</camID></tag>", "plain 7 0 -1 -1 0; "},
        {"<tag value='plain'><camID><b>4</b>6<b/>7</camID></tag>", "plain 7 0 6 -1 0; "},
        {"<tag value='plain'><camID><![CDATA[8]]></camID></tag>", "plain 7 0 8 -1 0; "},
        {"<tag value='plain'><camID> +9x</camID><sofID>0x10</sofID><dumpType>-2</dumpType></tag>",
         "plain 7 0 9 16 -2; "},
        {"<tag value='plain'><camID>99999999999</camID><sofID>-99999999999</sofID></tag>",
         "plain 7 0 2147483647 -2147483648 0; "},
        {"<tag value='plain'><camid>1</camid><sofid>5</sofid></tag>", "plain 7 0 -1 -1 0; "},
        {"</common><pipeline><note name='no'><tag name='plain'/></note></pipeline><common>", ""},
        {"</common><pipeline><node name='a'><tag value='plain'/></node></pipeline><common>",
         " 0 0 -1 -1 0; "},
        {"</common><pipeline><note/><node name='a'><tag name='plain'/></node><note name='b'><x/>"
         "<tag name='block'/><x name='plain'/></note></pipeline><common>",
         "plain 7 0 -1 -1 0; block 9 0 -1 -1 0; plain 7 0 -1 -1 0; "},
    };
    for (const auto& [inner, expected] : cases) {
        EXPECT_EQ(entriesOf(std::string("<dumpconfig><common>") + inner +
                            "</common><common><tag value='plain'/></common></dumpconfig>"),
                  expected)
            << inner;
    }
    Strings nodes = texts(4);
    const auto isNode = [](const std::string& text) { return text.find("node:") == 0; };
    nodes.erase(std::stable_partition(nodes.begin(), nodes.end(), isNode), nodes.end());
    EXPECT_EQ(nodes, Strings({"node:a", "node:a", "node:b"}));
}

TEST_F(Config, RefusedFiles) {
    const std::string path = pipe.configPath;
    const auto expectRefused = [&](const std::string& failure) {
        EXPECT_EQ(entries(), "");
        EXPECT_EQ(story(),
                  Strings({"4 parseConfig: E, path " + path, "1 parseConfig: " + failure}));
    };
    for (const char* const xml : {"<config/>", "<!-- only --><x><dumpconfig/></x>"}) {
        write(path, xml);
        expectRefused("Could not find rootnode");
    }
    const std::string failure = "Document not parsed successfully! with file path " + path;
    const std::string whole = "<dumpconfig><common><tag value='plain'/></common></dumpconfig>";
    for (const std::string& xml :
         {std::string(), std::string("text"), whole + "<x", whole.substr(0, whole.size() - 13)}) {
        write(path, xml);
        expectRefused(failure);
    }
    // The largest file that is read, and one byte more; one that became shorter, if a whole one.
    std::string padded = whole;
    padded.resize(16u << 20, ' ');
    EXPECT_EQ(entriesOf(padded), "plain 7 0 -1 -1 0; ");
    story();
    write(path, padded + ' ');
    expectRefused(failure);
    write(path, whole);
    bytesGone = 1;
    expectRefused(failure);
    bytesGone = 0;
    remove(path);
    expectRefused(failure);
    makeFolder(path);
    expectRefused(failure);
}

}  // namespace
