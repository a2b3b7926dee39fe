// Puts hostile entries in the places of files, on a real file system: no operation may hang, need
// more memory than a camera process has, or affect the next frame.
#include "tests/support/TestDevice.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

extern "C" [[gnu::weak]] void __tsan_init();

namespace {

enum Kind { kFolder, kFifo, kLoop, kToFolder, kToDevice, kToNowhere, kSixGiB, kKinds };

/// Puts a hostile entry in a file's place.
void make(int kind, const std::string& path) {
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

class Hostile : public TestDevice {
protected:
    Hostile() { alarm(120); }  // a hang ends the test

    ~Hostile() override {
        pipe.deinit();
        EXPECT_EQ(freeDescriptor(), descriptor_);
        rusage used{};
        getrusage(RUSAGE_SELF, &used);
        const bool sanitized = &__lsan_do_leak_check || &__tsan_init;
        EXPECT_TRUE(sanitized || used.ru_maxrss < 600L << 10) << used.ru_maxrss;
    }

    /// A tree with a configuration, tuning and one frame.
    void restart() {
        pipe.deinit();
        remove(kRoot);
        makeFolder(kRoot);
        makeFolder(kRoot + std::string("/pipe_1"));
        write(source, "b");
        write(pipe.configPath, R"(<dumpconfig><common><tag value="plain"/><tag value="mfnr"/>
            </common></dumpconfig>)");
        tykhost::setLiveValue(0, kMfnr, "mfnr5.2.xml", 11);
        write(at + "FCPDT_9_0_0_0_plain.bin", "12345678");
        pipe.currentTask = pipe.rootPath;
        tykhost::resetBufferPool();
        published();
        log.clear();
    }

    /// Runs a step and returns its failures: 'd' dumps a frame; 'f', 'p' and 'i' load the existing
    /// frame by folder, parameters and image.
    Strings failures(char step) {
        log.clear();
        pipe.deinit();
        pipe.init(step == 'd' ? 0 : 1);
        pipe.frameList = {"f"};
        tyk::Buffer* image = nullptr;
        char pixels[] = "123456";
        if (step == 'd') pipe.dumpParam(1, 1, 0);
        if (step == 'd') pipe.dumpNV21(pixels, 2, 2, 1, 0);
        EXPECT_TRUE(step != 'f' || pipe.loadParam2(pipe.rootPath + "/f"));
        if (step == 'p') pipe.loadParam(0U);
        if (step == 'i') pipe.loadParamAndImage(0, image);
        return texts();
    }

    /// Expects that the next frame is dumped and replayed correctly.
    void expectNextFrameRight() {
        restart();
        EXPECT_EQ(failures('d'), Strings());
        EXPECT_EQ(names(pipe.currentFramePath),
                  Strings({"FCPDT_1_0_0_0_mfnr.bin", "FCPDT_1_0_0_0_plain.bin",
                           "FCWH_1_0_2_2_nv21.yuv"}));
        EXPECT_EQ(read(copy), "b\n");
        for (const char step : {'f', 'p', 'i'}) {
            published();
            failures(step);
            EXPECT_EQ(published().at(0), "0/0/9/7 3132333435363738") << step;
            EXPECT_EQ(pipe.frameQueue.size(), 1U);
        }
    }

    PipelineSimulation& pipe = newPipe();
    const std::string at = pipe.rootPath + "/f/", source = "/vendor/firmware/mfnr5.2.xml";
    const std::string copy = kRoot + std::string("/pipe_1/mfnr5.2.xml");

private:
    static int freeDescriptor() {
        const int descriptor = dup(STDERR_FILENO);
        close(descriptor);
        return descriptor;
    }

    const int descriptor_ = freeDescriptor();
};

TEST_F(Hostile, HostileEntriesInThePlaceOfFiles) {
    const char *const size = "getBinSize return negative", *const xml = "Document not parsed",
                      *const open = "open failed";
    const struct {
        std::string path;
        std::string kinds;  ///< kinds that must be logged, as letters of "Ffltdn6"
        std::vector<std::pair<char, const char*>> steps;  ///< the step, and its log line
    } places[] = {
        {at + "FCPDT_1_0_0_0_other_tag.bin", "fltdn6", {{'f', size}, {'p', size}, {'i', size}}},
        {at + "FCPDT_1_0_0_1_block.bin", "fltdn6", {{'f', size}, {'p', size}, {'i', size}}},
        {at + "FCWH_1_0_8_8_nv21.yuv", "fltdn", {{'i', open}}},
        {at + "ISCENE_CAP_INFO_DETECT_OUT.bin", "fltdn", {{'i', open}}},
        {at + "iSceneInfo.xml", "Ffltdn6", {{'f', xml}}},
        {at + "iSceneInfo.xml", "fltdn", {{'i', open}}},
        {pipe.configPath, "Ffltdn6", {{'d', xml}}},
        {source, "Ffltdn", {{'d', "src /vendor"}}},
        {copy, "Fflt", {{'d', "dst /data"}}},
        {pipe.rootPath, "fldn6", {{'d', open}}},
        {pipe.rootPath, "Ffltdn6", {{'f', "OpenDIR"}, {'p', "OpenDIR"}, {'i', "OpenDIR"}}}};
    for (const auto& place : places) {
        for (int kind = 0; kind < kKinds; ++kind) {
            SCOPED_TRACE(place.path + ", kind " + std::to_string(kind));
            const bool isSaid = place.kinds.find("Ffltdn6"[kind]) != std::string::npos;
            for (const auto& [step, said] : place.steps) {
                restart();
                make(kind, host(place.path));
                const std::string lines = testing::PrintToString(failures(step));
                EXPECT_EQ(lines.find(said) != std::string::npos, isSaid) << said << " in " << lines;
            }
            for (const char step : {'d', 'f', 'p', 'i'}) failures(step);
            fs::remove_all(host(place.path));
            expectNextFrameRight();
        }
    }
}

TEST_F(Hostile, ConfigurationsThatWouldExhaustMemory) {
    std::string deep = "<dumpconfig>", many = "<dumpconfig><common>";
    for (int i = 0; i < 500000; ++i) deep += "<a>";
    while (many.size() < 15U << 20) many += "<tag/>";
    for (const std::string& wrong : {deep, many, std::string(17U << 20, ' ')}) {
        restart();
        write(pipe.configPath, wrong);
        EXPECT_EQ(failures('d'),
                  each("Document not parsed successfully! with file path ", {pipe.configPath}));
    }
    expectNextFrameRight();
}

}  // namespace
