// What others leave in a dump tree, in its configuration or in the firmware folder: whatever it is,
// no operation hangs, takes more memory than a camera process has, or spoils the next frame.
#include "tests/FullDiskMount.h"
#include "tests/TestDevice.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" [[gnu::weak]] void __tsan_init();

namespace {

namespace fs = std::filesystem;

enum Loader { kFolderLoader, kParamLoader, kImageLoader };
constexpr Loader kLoaders[] = {kFolderLoader, kParamLoader, kImageLoader};

enum Kind { kFolder, kFifo, kLoop, kToFolder, kToDevice, kToNowhere, kSixGiB };
constexpr Kind kKinds[] = {kFolder, kFifo, kLoop, kToFolder, kToDevice, kToNowhere, kSixGiB};

/// Makes something that is no file to be read.
void make(Kind kind, const std::string& path) {
    const char* const targets[] = {"", "", "", ".", "/dev/zero", "nowhere"};
    fs::remove_all(path);
    if (kind == kFolder) {
        fs::create_directory(path);
    } else if (kind == kFifo) {
        mkfifo(path.c_str(), 0666);
    } else if (kind == kSixGiB) {
        std::ofstream(path).close();
        fs::resize_file(path, uintmax_t{6} << 30);
    } else {
        fs::create_symlink(kind == kLoop ? fs::path(path).filename() : targets[kind], path);
    }
}

auto count(const Strings& lines, const std::string& part) {
    return std::count_if(lines.begin(), lines.end(), [&part](const std::string& line) {
        return line.find(part) != std::string::npos;
    });
}

class HostileTree : public TestDevice {
protected:
    HostileTree() {
        alarm(120);  // a hang ends the test
        pipe.init(1);
        pipe.currentTask = pipe.rootPath;
        restart();
    }

    ~HostileTree() override {
        pipe.deinit();
        EXPECT_EQ(freeDescriptor(), descriptor_);
        rusage used{};
        getrusage(RUSAGE_SELF, &used);
        const bool sanitized = &__lsan_do_leak_check || &__tsan_init;
        EXPECT_TRUE(sanitized || used.ru_maxrss < 600L << 10) << used.ru_maxrss;
    }

    void restart() {
        pipe.deinit();
        pipe.init(1);
        pipe.frameList = {"f"};
        remove(at);
        write(at + "/FCPDT_9_0_0_0_plain.bin", "12345678");
        tykhost::resetBufferPool();
        tykhost::clearPublished();
        log.clear();
    }

    void load(Loader loader) {
        tyk::Buffer* image = nullptr;
        pipe.frameIndex = 0;
        EXPECT_TRUE(loader != kFolderLoader || pipe.loadParam2(at));
        if (loader == kParamLoader) pipe.loadParam(0U);
        if (loader == kImageLoader) pipe.loadParamAndImage(0, image);
    }

    /// A frame that nobody tampered with is replayed as ever.
    void expectNextFrameRight(Loader loader) {
        restart();
        load(loader);
        EXPECT_EQ(count(published(), "0/0/9/7 3132333435363738"), 1);
        EXPECT_EQ(pipe.frameQueue.size(), 1U);
    }

    PipelineSimulation& pipe = newPipe();
    const std::string at = pipe.rootPath + "/f";

private:
    static int freeDescriptor() {
        const int descriptor = dup(STDERR_FILENO);
        close(descriptor);
        return descriptor;
    }

    int descriptor_ = freeDescriptor();
};

/// What a level-1 line must say when a loader meets `kind` under `name`; "" where nothing is said.
std::string expectedReport(const std::string& name, Kind kind, Loader loader) {
    if (name == "iSceneInfo.xml" && loader == kFolderLoader) return "Document not parsed";
    if (kind == kFolder) return "";
    if (name.find("FCPDT") == 0) return "getBinSize return negative";
    return loader == kImageLoader && kind != kSixGiB ? "open failed" : "";
}

TEST_F(HostileTree, KindsOfEntriesInAFrame) {
    for (const std::string name :
         {"FCPDT_1_0_0_0_other_tag.bin", "FCPDT_1_0_0_1_block.bin", "FCWH_1_0_8_8_nv21.yuv",
          "iSceneInfo.xml", "ISCENE_CAP_INFO_DETECT_OUT.bin"}) {
        for (const Kind kind : kKinds) {
            for (const Loader loader : kLoaders) {
                SCOPED_TRACE(name + ", kind " + std::to_string(kind) + ", loader " +
                             std::to_string(loader));
                restart();
                make(kind, host(at + "/" + name));
                load(loader);
                const std::string report = expectedReport(name, kind, loader);
                const Strings lines = texts();
                EXPECT_TRUE(report.empty() || count(lines, report) > 0) << report;
                EXPECT_TRUE(!report.empty() || loader == kFolderLoader || lines.empty());
                expectNextFrameRight(loader);
            }
        }
    }
}

TEST_F(HostileTree, NamesInAFrame) {
    const std::string longest(255, 'x');
    const std::string names[] = {longest,
                                 "FCPDT_1_0_0_0_" + longest.substr(0, 237) + ".bin",
                                 "FCWH_1_0_4_4_" + longest.substr(0, 238) + ".yuv",
                                 "FCPDT_%n_%s_%n_0_%s%s%s%n.bin",
                                 "FCPDT_1_0_0_0_\xff\xfe\x80.bin",
                                 "FCWH_1_0_65536_65536_nv21.yuv",
                                 "FCWH_1_0_40000_20000_nv21.yuv",
                                 "FCWH_1_0_2147483647_2147483647_nv21.yuv",
                                 "FCWH_1_0_-8_-8_nv21.yuv",
                                 "FCWH_1_0_-2147483648_-1_nv21.yuv",
                                 "\xc3\x28\xf0.yuv",
                                 "\n",
                                 "..."};
    for (const std::string& name : names) {
        for (const Loader loader : kLoaders) {
            SCOPED_TRACE(name + ", loader " + std::to_string(loader));
            restart();
            write(at + "/" + name, "0123456789");
            load(loader);
            // Only a buffer that the pool refuses ends the frame.
            EXPECT_TRUE(pipe.frameQueue.empty() ? name.find("FCWH_") == 0
                                                : count(published(), "0/0/9/7 3132333435363738"));
            expectNextFrameRight(loader);
        }
    }
}

TEST_F(HostileTree, TenThousandOfEach) {
    const MemoryDisk disk(root);  // on some others, removing folders takes long
    restart();
    for (int i = 0; i < 10000; ++i) {
        const std::string number = std::to_string(i);
        fs::create_hard_link(host(at + "/FCPDT_9_0_0_0_plain.bin"),
                             host(at + "/FCPDT_" + number + "_0_0_0_other_tag.bin"));
        fs::create_directory(host(at + "/frame" + number));
    }
    load(kFolderLoader);
    EXPECT_EQ(tykhost::paramServiceCounts().set, 10001U + 3U);
    pipe.frameList.clear();
    pipe.getFrameList(at.c_str());
    EXPECT_EQ(pipe.frameList.size(), 10000U);
    EXPECT_TRUE(std::is_sorted(pipe.frameList.begin(), pipe.frameList.end()));
    expectNextFrameRight(kFolderLoader);
}

/// Each change is made when the library says the line, between its steps.
TEST_F(HostileTree, FilesThatGoAndShrinkMeanwhile) {
    const struct {
        Loader loader;
        const char* name;  // "" is the frame itself
        const char* line;
        bool goes;           // or else has three bytes left
        const char* report;  // "" where nothing need be said
    } cases[] = {
        {kParamLoader, "FCPDT_1_0_0_0_other_tag.bin", "E name FCPDT_1", true, "getBinSize"},
        {kParamLoader, "FCPDT_1_0_0_0_other_tag.bin", "E name FCPDT_1", false, ""},
        {kFolderLoader, "FCPDT_1_0_0_1_block.bin", "malloc block param buffer", true, ""},
        {kFolderLoader, "FCPDT_1_0_0_1_block.bin", "malloc block param buffer", false, ""},
        {kImageLoader, "FCWH_1_0_8_8_nv21.yuv", "get img", true, "open failed"},
        {kImageLoader, "FCWH_1_0_8_8_nv21.yuv", "get img", false, ""},
        {kFolderLoader, "iSceneInfo.xml", "E name", true, "not parsed"},
        {kFolderLoader, "iSceneInfo.xml", "E name", false, "not parsed"},
        {kFolderLoader, "", "E name", true, ""}};
    for (const auto& test : cases) {
        SCOPED_TRACE(std::string(test.name) + (test.goes ? " goes" : " shrinks"));
        restart();
        const std::string path = host(at + "/" + test.name);
        if (*test.name) write(at + "/" + test.name, std::string(96, 'x'));
        Strings reports;
        bool changed = false;
        tykhost::takeLogLines([&](const tykhost::LogLine& line) {
            if (line.level == 1) reports.push_back(line.text);
            if (changed || line.text.find(test.line) != 0) return;
            changed = true;
            test.goes ? void(fs::remove_all(path)) : fs::resize_file(path, 3);
        });
        load(test.loader);
        tykhost::takeLogLines(nullptr);
        EXPECT_TRUE(changed);
        EXPECT_TRUE(*test.report == 0 || count(reports, test.report) > 0);
    }
}

TEST_F(HostileTree, FilesAndFoldersOfSomebodyElse) {
    if (seteuid(65534) != 0) GTEST_SKIP() << "needs root, which can be somebody else";
    ASSERT_EQ(seteuid(0), 0);
    write(at + "/FCPDT_1_0_0_0_other_tag.bin", "12345678");
    write(at + "/iSceneInfo.xml", "<iSceneInfo/>");
    write(pipe.configPath, "<dumpconfig/>");
    makeFolder(pipe.rootPath + "/closed");
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        fs::permissions(entry, entry.is_directory() ? fs::perms(0555) : fs::perms(0));
    }
    fs::permissions(root, fs::perms(0755));
    fs::permissions(host(pipe.rootPath + "/closed"), fs::perms(0));
    ASSERT_EQ(seteuid(65534), 0);
    for (const Loader loader : kLoaders) load(loader);
    pipe.getFrameList((pipe.rootPath + "/closed").c_str());
    pipe.parseConfig(pipe.configPath.c_str(), pipe.dumpTagList);
    const Strings replay = texts();
    pipe.dumpTagList = {{"plain", {kPlain, 0, 0, 0, 0}}};
    pipe.dumpParam(1, 1, 0);
    pipe.dumpIsceneInfo(std::string(8512, '\0').data());
    pipe.dumpMFNRXml(std::string(4096, '\0').data());
    const Strings dump = texts();
    ASSERT_EQ(seteuid(0), 0);
    // Each file of each loader; the scene's XML and the configuration; the closed folder, and the
    // one that is missing for the tuning's copy.
    EXPECT_EQ(count(replay, "getBinSize return negative"), 4);
    EXPECT_EQ(count(replay, "Document not parsed"), 2);
    EXPECT_EQ(count(replay, "Could not OpenDIR"), 2);
    EXPECT_EQ(count(dump, "open failed: "), 3);
    expectNextFrameRight(kImageLoader);
}

TEST_F(HostileTree, Configurations) {
    std::string deep = "<dumpconfig>";
    for (int i = 0; i < 500000; ++i) deep += "<a>";
    std::string many = "<dumpconfig><common>";
    while (many.size() < 15U << 20) many += "<tag/>";
    const Strings wrong = {deep,
                           many,
                           std::string(17U << 20, ' '),
                           std::string(1000, '\0'),
                           "\xff\xfe<",
                           "<dumpconfig><common><tag value='&#0;&x;'/></common>"};
    for (size_t i = 0; i < wrong.size() + std::size(kKinds); ++i) {
        SCOPED_TRACE(i);
        if (i < wrong.size()) write(pipe.configPath, wrong[i]);
        if (i >= wrong.size()) make(kKinds[i - wrong.size()], host(pipe.configPath));
        pipe.init(0);
        EXPECT_EQ(count(texts(), "Document not parsed successfully!"), 1);
        pipe.dumpParam(1, 1, 0);
        remove(pipe.configPath);
        write(pipe.configPath, R"(<dumpconfig><common><tag value="plain"/></common></dumpconfig>)");
        pipe.init(0);
        pipe.dumpParam(1, 2, 0);
        EXPECT_EQ(names(pipe.currentFramePath), Strings({"FCPDT_2_0_0_0_plain.bin"}));
    }
}

TEST_F(HostileTree, TuningFilesAndTheirCopies) {
    const std::string source = "/vendor/firmware/mfnr5.2.xml";
    const std::string copy = std::string(kRoot) + "/pipe_1/mfnr5.2.xml";
    std::string table(4096, '\0');
    table.replace(0, 11, "mfnr5.2.xml");
    for (const bool ofSource : {true, false}) {
        for (const Kind kind : kKinds) {
            if (kind == kSixGiB) continue;
            SCOPED_TRACE(std::to_string(ofSource) + ", kind " + std::to_string(kind));
            write(source, "a\n");
            makeFolder(std::string(kRoot) + "/pipe_1");
            make(kind, host(ofSource ? source : copy));
            log.clear();
            pipe.dumpMFNRXml(table.data());
            const bool isWritten = !ofSource && (kind == kToDevice || kind == kToNowhere);
            EXPECT_EQ(texts().size(), isWritten ? 0U : 1U);
            pipe.loadMFNRXml(1);
            remove(copy);
            remove(source);
            write(source, "b");
            pipe.dumpMFNRXml(table.data());
            EXPECT_EQ(read(copy), "b\n");
        }
    }
}

TEST_F(HostileTree, FoldersThatAreNone) {
    const std::string deep = pipe.rootPath + "/" + std::string(240, 'a');
    makeFolder(deep + "/" + std::string(255, 'c'));
    Strings found;
    pipe.getSubDirs(deep.c_str(), found);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].size(), 255U);  // cut, and so nowhere
    pipe.getFrameList(found[0].c_str());
    EXPECT_EQ(count(texts(), "Could not OpenDIR"), 1);
    remove(pipe.rootPath);
    write(pipe.rootPath, "a file");
    for (const int mode : {0, 1}) {
        pipe.init(mode);
        pipe.taskList = {pipe.rootPath};
        pipe.frameList.clear();
        pipe.start();
        pipe.dumpTagList = {{"plain", {kPlain, 0, 0, 0, 0}}};
        pipe.dumpParam(1, 1, 0);
        EXPECT_TRUE(pipe.frameList.empty());
        EXPECT_GT(count(texts(), mode == 0 ? "open failed" : "Could not OpenDIR"), 0);
    }
    remove(pipe.rootPath);
    pipe.currentTask = pipe.rootPath;
    expectNextFrameRight(kParamLoader);
}

/// A configuration or a name that calls a fixed-size tag a block, or the other way round.
TEST_F(HostileTree, DumpTypesThatAreNotTheTags) {
    // The value read as a descriptor is an address that the system refuses to write from.
    const BlockParamDesc nowhere{nullptr, 100};
    const std::string block(64, 'b');
    pipe.dumpTagList.clear();
    for (const tykhost::TagEntry& tag : tykhost::tagTable()) {
        if (tag.size > 512000) continue;
        tykhost::setLiveValue(0, tag.id, &nowhere, sizeof(nowhere));
        for (const int type : {0, 1, 2, -1}) {
            pipe.dumpTagList.push_back({tag.name, {tag.id, 1, 0, 1, type}});
            write(at + "/FCPDT_1_0_1_" + std::to_string(type) + "_" + tag.name + ".bin", "abcd");
        }
    }
    tykhost::setLiveValue(0, kBlock, block.data(), block.size());
    pipe.dumpParam(1, 1, 0);
    EXPECT_EQ(read(pipe.currentFramePath + "/FCPDT_1_0_1_1_block.bin"), block);
    EXPECT_EQ(read(pipe.currentFramePath + "/FCPDT_1_0_1_0_full.bin").size(), 512000U);
    for (const Loader loader : kLoaders) load(loader);
    for (const Loader loader : kLoaders) expectNextFrameRight(loader);
}

}  // namespace
