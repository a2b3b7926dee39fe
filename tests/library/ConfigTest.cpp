// Tests of dump configurations that the library refuses. The corpus of dump_config tests the
// reading of others.
#include "tests/support/TestDevice.h"

#include <dlfcn.h>
#include <sys/stat.h>

namespace {
off_t bytesGone = 0;  // that every file loses between fstat() and the reading
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

    /// The entries read from the configuration: "name tag pipe cam sof dumpType; " for each.
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

TEST_F(Config, ReadsTwiceAndDoesNotChangeTheTables) {
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(entriesOf("<dumpconfig><common><tag value='high'/><tag value='none'><pipe>NONE"
                            "</pipe></tag></common></dumpconfig>"),
                  "high -2147483647 0 -1 -1 0; none 0 0 -1 -1 0; ");
        const Strings lines = texts(4);
        EXPECT_EQ(
            std::count(lines.begin(), lines.end(), "tag high tag -2147483647 pipe 0 cam -1 sof -1"),
            1);
    }
    EXPECT_EQ(pipe.tagNameMap.size() + pipe.pipeNameMap.size(), 6u);
}

TEST_F(Config, RefusedFiles) {
    const std::string path = pipe.configPath;
    const auto expectRefused = [&](const std::string& failure) {
        EXPECT_EQ(entries(), "");
        EXPECT_EQ(story(),
                  Strings({"4 parseConfig: E, path " + path, "1 parseConfig: " + failure}));
    };
    write(path, "<config/>");
    expectRefused("Could not find rootnode");
    const std::string failure = "Document not parsed successfully! with file path " + path;
    const std::string whole = "<dumpconfig><common><tag value='plain'/></common></dumpconfig>";
    write(path, whole + "<x");
    expectRefused(failure);
    // The largest file that is read, one byte more, and a file that became shorter after it was
    // opened.
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
