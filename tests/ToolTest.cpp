// Runs tyksim as its users do: as a process, in a temporary folder.
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kDumpRoot = "phone/data/vendor/cameraserver/tykdump";

struct Result {
    int status;
    std::string out;
    std::string err;
};

std::string readAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeAll(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const size_t at = text.find(from);
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

/// Everything below `folder` with its size and time of change.
std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> listing(const fs::path& folder) {
    std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> entries;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const uintmax_t size = entry.is_regular_file() ? entry.file_size() : 0;
        entries[entry.path().string()] = {size, entry.last_write_time()};
    }
    return entries;
}

class ToolTest : public testing::Test {
protected:
    ToolTest() {
        // The blank is meant: paths are to survive it.
        std::string name = (fs::temp_directory_path() / "tyksim test XXXXXX").string();
        folder_ = mkdtemp(name.data());
        fs::create_directory(folder_ / "tmp");
    }
    ~ToolTest() override { fs::remove_all(folder_); }

    /// Runs the tool in the temporary folder, `before` in front of it in the same shell.
    Result run(const std::string& arguments, const std::string& before = "true") const {
        const std::string command = "cd '" + folder_.string() + "' && unset TYKSIM_LOG_LEVEL && " +
                                    // At unload the library leaves its objects' contents behind.
                                    "export ASAN_OPTIONS=detect_leaks=0:$ASAN_OPTIONS && " +
                                    before + " && TMPDIR=\"$PWD/tmp\" " TYKSIM_COMMAND " " +
                                    arguments + " >tmp/out 2>tmp/err";
        const int status = std::system(command.c_str());
        Result result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readAll(folder_ / "tmp/out"),
                      readAll(folder_ / "tmp/err")};
        fs::remove(folder_ / "tmp/out");
        fs::remove(folder_ / "tmp/err");
        return result;
    }

    /// Runs the tool, which must end with `status` and print `text`.
    Result expect(int status, const std::string& text, const std::string& arguments) const {
        Result result = run(arguments);
        EXPECT_EQ(result.status, status) << arguments << "\n" << result.out << result.err;
        EXPECT_NE((result.out + result.err).find(text), std::string::npos)
            << arguments << ": no \"" << text << "\" in\n"
            << result.out << result.err;
        return result;
    }

    /// The one path in the tree whose name contains `part`, in frame `request`'s folder.
    fs::path find(const std::string& part, int request = 1) const {
        const std::string frame = "_reqID_" + std::to_string(request) + "_";
        for (const auto& entry : fs::recursive_directory_iterator(folder_ / "phone")) {
            const std::string path = entry.path().string();
            if (path.find(frame) == std::string::npos) continue;
            if (entry.path().filename().string().find(part) != std::string::npos) return path;
        }
        ADD_FAILURE() << "no " << part << " in the frame of request " << request;
        return {};
    }

    fs::path folder_;
};

/// Red throughout, as a JPEG file.
std::string redJpeg(int width, int height, int subsampling, int pixelFormat = TJPF_RGB) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<unsigned char> source;
    for (size_t i = 0; i < pixels; ++i) {
        source.insert(source.end(), {255, 0, 0});
        if (pixelFormat == TJPF_CMYK) source.push_back(0);
    }
    const tjhandle encoder = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(encoder, source.data(), width, 0, height, pixelFormat, &jpeg, &size,
                          subsampling, 95, 0),
              0);
    const std::string bytes(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(encoder);
    return bytes;
}

std::string little(uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 255);
    return text;
}

/// `jpeg` with facts about its exposure: 1/`denominator` s, ISO 320, bias -1/2.
std::string withExif(const std::string& jpeg, uint32_t denominator) {
    const auto entry = [](uint32_t tag, uint32_t type, uint32_t value) {
        return little(tag, 2) + little(type, 2) + little(1, 4) + little(value, 4);
    };
    const std::string tiff =
        "II" + little(42, 2) + little(8, 4) + little(1, 2) + entry(0x8769, 4, 26) + little(0, 4) +
        little(3, 2) + entry(0x829a, 5, 68) + entry(0x8827, 3, 320) + entry(0x9204, 10, 76) +
        little(0, 4) + little(1, 4) + little(denominator, 4) + little(0xffffffff, 4) + little(2, 4);
    const std::string block = std::string("Exif\0\0", 6) + tiff;
    const auto length = static_cast<uint32_t>(block.size() + 2);
    return jpeg.substr(0, 2) + "\xff\xe1" + static_cast<char>(length >> 8) +
           static_cast<char>(length & 255) + block + jpeg.substr(2);
}

TEST_F(ToolTest, WhatIsRecordedReplaysByteForByte) {
    const struct {
        const char* record;
        const char* image;
        uintmax_t bytes;
    } cases[] = {{"", "FCWH_1_0_640_480_nv21.yuv", 460800},
                 {"--size 1x1 --pipe 0 --first-sof 7", "FCWH_7_0_1_1_nv21.yuv", 1},
                 {"--size 3x3 --pipe 4", "FCWH_1_0_3_3_nv21.yuv", 13},
                 {"--size 641x479 --camera 2", "FCWH_1_2_641_479_nv21.yuv", 460558}};
    for (const auto& test : cases) {
        expect(0, "frames: 13 dumped of 13",
               std::string("record phone --frames 13 ") + test.record);
        EXPECT_EQ(fs::file_size(find(test.image)), test.bytes);
        EXPECT_NE(readAll(find("EXPOSURE_TIME", 1)), readAll(find("EXPOSURE_TIME", 2)));
        EXPECT_NE(fs::file_size(find("SHADING_MAP", 1)), fs::file_size(find("SHADING_MAP", 2)));
        expect(0, "verified: 247 values", "replay phone --verify");
        expect(0, "verified: 234 values", "replay phone --verify --no-images");
        expect(0, "verified: 234 values", "replay phone --verify --entry folder --camera 3");
        fs::remove_all(folder_ / "phone");
    }
}

TEST_F(ToolTest, PhotographsBecomeNv21WhateverTheirSubsampling) {
    for (const int subsampling :
         {TJSAMP_420, TJSAMP_422, TJSAMP_444, TJSAMP_440, TJSAMP_411, TJSAMP_GRAY}) {
        writeAll(folder_ / "red.jpg", redJpeg(33, 18, subsampling));
        expect(0, "dumped of 1", "record phone red.jpg");
        const std::string image = readAll(find("FCWH_1_0_33_18"));
        ASSERT_EQ(image.size(), 891U);
        const size_t luma = 33 * 18;
        for (size_t i = 0; i < image.size(); ++i) {
            const bool gray = subsampling == TJSAMP_GRAY;
            const int chroma = gray ? 128 : (i - luma) % 2 == 0 ? 255 : 85;
            ASSERT_NEAR(static_cast<unsigned char>(image[i]), i < luma ? 76 : chroma, 2)
                << "subsampling " << subsampling << ", byte " << i;
        }
        fs::remove_all(folder_ / "phone");
    }
}

TEST_F(ToolTest, ExposureComesFromThePhotographWhereItSaysSo) {
    const std::string jpeg = redJpeg(16, 16, TJSAMP_420);
    writeAll(folder_ / "a.jpg", withExif(jpeg, 50));
    writeAll(folder_ / "b.jpg", withExif(jpeg, 0));
    writeAll(folder_ / "c.jpg", withExif(jpeg, 50).replace(30, 4, "\xff\xff\xff\xff"));
    expect(0, "dumped of 4", "record phone a.jpg b.jpg c.jpg --frames 4");
    const std::string exposure = little(20000000, 8);
    EXPECT_EQ(readAll(find("EXPOSURE_TIME", 1)), exposure);
    EXPECT_EQ(readAll(find("SENSITIVITY", 1)), little(320, 4));
    EXPECT_EQ(readAll(find("EXPOSURE_BIAS", 1)), little(0xbf000000, 4));
    EXPECT_NE(readAll(find("EXPOSURE_TIME", 2)), exposure);
    EXPECT_EQ(readAll(find("SENSITIVITY", 2)), little(320, 4));
    EXPECT_EQ(readAll(find("EXPOSURE_TIME", 4)), exposure) << "the burst starts over";
    EXPECT_NE(readAll(find("iSceneInfo.xml")).find("<exp_time>20000000<"), std::string::npos);
}

TEST_F(ToolTest, BadInputIsRefusedBeforeAnythingIsRecorded) {
    const std::string jpeg = redJpeg(64, 64, TJSAMP_420);
    writeAll(folder_ / "good.jpg", jpeg);
    writeAll(folder_ / "cut.jpg", jpeg.substr(0, jpeg.size() - 20));
    writeAll(folder_ / "cmyk.jpg", redJpeg(8, 8, TJSAMP_444, TJPF_CMYK));
    writeAll(folder_ / "wide.jpg", redJpeg(16385, 1, TJSAMP_420));
    writeAll(folder_ / "broken.xml", "<dumpconfig><common>");
    writeAll(folder_ / "other.xml", "<something/>");
    const struct {
        int status;
        const char* text;
        const char* arguments;
    } cases[] = {{1, "cut.jpg: expected a complete JPEG", "record phone good.jpg cut.jpg"},
                 {1, "cmyk.jpg: expected a photograph in YCbCr or gray", "record phone cmyk.jpg"},
                 {1, "expected at most 16384x12288 pixels, found 16385x1", "record phone wide.jpg"},
                 {1, "other.xml: expected a complete JPEG", "record phone other.xml"},
                 {1, "none.jpg: cannot be opened: No such file", "record phone none.jpg"},
                 {1, "broken.xml", "record phone --tags broken.xml"},
                 {1, "broken.xml: expected an XML file", "record phone --config broken.xml"},
                 {1, "expected the root element <dumpconfig>", "record phone --config other.xml"},
                 {1, "Not a directory", "record good.jpg/phone"},
                 {2, "expected WxH", "record phone --size 3x"},
                 {2, "expected WxH", "record phone --size 16385x1"},
                 {2, "not for images", "record phone good.jpg --size 3x3"},
                 {2, "NAME=VALUE", "record phone --property x"},
                 {2, "--first-request", "record phone --first-request 2147483647"},
                 {2, "--frames", "record phone --frames 0"},
                 {2, "--bogus", "replay phone --bogus"},
                 {2, "ROOT", "record"},
                 {2, "subcommand", ""},
                 {2, "--entry folder", "replay . --camera 1"},
                 {1, "No such file", "replay phone"},
                 {1, "expected a folder", "replay good.jpg"},
                 {1, "found: ", "replay ."}};
    for (const auto& test : cases) {
        expect(test.status, test.text, test.arguments);
        EXPECT_FALSE(fs::exists(folder_ / "phone")) << test.arguments;
    }
}

TEST_F(ToolTest, TablesThatAreThereAreKeptAndConfigurationsCheckedAgainstThem) {
    expect(0, "tags.xml (default, written)", "record phone --frames 1");
    const std::string common =
        "<dumpconfig><common><tag value='KELV_TAG_WB_GAINS'>"
        "<camID>5</camID><dumpType>0</dumpType></tag></common></dumpconfig>";
    const fs::path kept = folder_ / kDumpRoot / "pipe1_dumpConfig.xml";
    writeAll(kept, common);
    expect(0, "files: 2 complete", "record phone --frames 1 --first-sof 8");
    EXPECT_EQ(readAll(kept), common);
    EXPECT_NE(readAll(find("FCPDT_8_5_0_0_KELV_TAG_WB_GAINS.bin")), std::string(16, '\0'));
    writeAll(folder_ / "block.xml", replaced(common, ">0</dumpType", ">1</dumpType"));
    expect(1, "expected dump type 0", "record phone --config block.xml");
    writeAll(folder_ / "unknown.xml", replaced(common, "WB_GAINS", "NOBODY"));
    expect(0, "is not in the tag table", "record phone --frames 1 --config unknown.xml");
    EXPECT_EQ(readAll(kept), readAll(folder_ / "unknown.xml"));
}

TEST_F(ToolTest, DumpingFollowsTheProperty) {
    for (const char* const value : {"0", "2", "23"}) {
        expect(0, "frames: 0 dumped of 5",
               std::string("record phone --property persist.vendor.cam.isstest=") + value);
    }
    EXPECT_TRUE(fs::is_empty(folder_ / kDumpRoot / "pipe_1")) << "a task without frames stays";
    expect(0, "5 dumped", "record phone --pipe 3 --property persist.vendor.cam.isstest=23");
    expect(0, "5 dumped", "record phone --property persist.vendor.cam.mfnr.version=4");
    EXPECT_EQ(readAll(folder_ / kDumpRoot / "pipe_1/mfnr4.xml"),
              readAll(folder_ / "phone/vendor/firmware/mfnr4_default.xml"));
}

TEST_F(ToolTest, FilesThatCouldNotBeWrittenAreFound) {
    const Result result = run("record phone --frames 1", "ulimit -f 200");
    EXPECT_EQ(result.status, 3) << result.err;
    const std::string found = "_nv21.yuv: expected 460800 bytes, found ";
    EXPECT_NE(result.out.find(found), std::string::npos) << result.out;
}

TEST_F(ToolTest, DamageIsNamedAndTheOtherFramesAreReplayed) {
    const auto truncate = [this](const char* name, uintmax_t size) {
        return [this, name, size] { fs::resize_file(find(name, 2), size); };
    };
    const auto add = [this](const char* name) {
        return [this, name] { writeAll(find("iSceneInfo.xml", 2).parent_path() / name, "x"); };
    };
    const struct {
        std::function<void()> damage;
        const char* finding;   ///< of the frame entry
        const char* ofFolder;  ///< of the folder entry; null: none
    } cases[] = {
        {truncate("FCWH", 99), "expected 4608 bytes for 64x48, found 99", nullptr},
        {truncate("SENSITIVITY", 0), "abandoned by the library: loadParamAndImage: ",
         "KELV_TAG_SENSITIVITY.bin: passed over: expected 1 to 512000 bytes, found 0"},
        {truncate("WB_GAINS", 15), "expected 16 bytes, the size of tag KELV_TAG_WB_GAINS, found 15",
         "found 15"},
        {truncate("WB_GAINS", 512001), "(FCPDT_2_0_1_0_KELV_TAG_WB_GAINS.bin: 512001 bytes)",
         "passed over"},
        {add("FCPDT_1_2.bin"), "FCPDT_1_2.bin: not a parameter file", "not a parameter file"},
        {add("FCWH_1_2.yuv"), "FCWH_1_2.yuv: not an image file", "not an image file"},
        {add("FCPDT_2_0_1_0_KELV_TAG_NEW.bin"), "KELV_TAG_NEW.bin: its tag is not", "is not in"},
        {add("FCPDT_2_0_1_1_KELV_TAG_WB_GAINS.bin"), "dump type 1 does not fit", "does not fit"},
        {add("FCPDT_2_0_1_0_KELV_TAG_GYRO_SAMPLES.bin"), "dump type 0 does not fit", "not fit"},
        {add("FCWH_2_0_65535_65535_nv21.yuv"), "expected 0 bytes", nullptr},
        {truncate("ISCENE_CAP_INFO_HDR", 823), nullptr, "HDR_DETECT_OUT.bin: differs"},
        {truncate("iSceneInfo.xml", 50), nullptr, "the scene record did not arrive for pipe 0"},
        {[this] { fs::remove(find("iSceneInfo.xml", 2)); }, nullptr, "found none"},
        {[this] {
             const fs::path frame = find("iSceneInfo.xml", 2).parent_path();
             fs::remove_all(frame);
             fs::create_directory(frame);
         },
         "no files", "no files"},
    };
    for (const auto& test : cases) {
        expect(0, "3 dumped", "record phone --frames 3 --size 64x48");
        test.damage();
        const char* const both[] = {test.finding, test.ofFolder};
        for (const bool folder : {false, true}) {
            const std::string call =
                folder ? "replay phone --verify --entry folder" : "replay phone --verify";
            const std::string out =
                expect(both[folder] ? 3 : 0, both[folder] ? both[folder] : "findings: 0", call).out;
            EXPECT_TRUE(out.find("frames: 3 replayed, 0 aband") != std::string::npos ||
                        out.find("frames: 2 replayed, 1 aband") != std::string::npos)
                << out;
        }
        fs::remove_all(folder_ / "phone");
    }
}

TEST_F(ToolTest, AnEditOfTheSceneFileArrivesAndIsNamed) {
    expect(0, "2 dumped", "record phone --frames 2");
    const fs::path xml = find("iSceneInfo.xml", 2);
    writeAll(xml, replaced(readAll(xml), "<exp_time>11250000<", "<exp_time>42<"));
    expect(3, "threeA_info/ae_info/exp_time: dumped 11250000, arrived 42",
           "replay phone --verify --entry folder");
    expect(0, "threeA_info/ae_info/exp_time = 42", "replay phone --entry folder --show-scene");
    expect(0, "threeA_info/ae_info/exp_time = 11250000", "replay phone --show-scene --verify");
}

TEST_F(ToolTest, AnyPartOfATreeIsReplayedAndNothingIsWrittenThere) {
    expect(0, "2 dumped", "record phone --frames 2");
    expect(0, "2 dumped", "record phone --frames 2 --pipe 3");
    const fs::path task = find("iSceneInfo.xml").parent_path().parent_path();
    fs::copy(task, folder_ / "pulled", fs::copy_options::recursive);
    fs::create_directory(folder_ / kDumpRoot / "pipe_8");
    const std::string inside = kDumpRoot;
    const std::pair<std::string, const char*> parts[] = {
        {"phone --pipe 3", "pipe 3"},   {inside + " --pipe 1", "pipe 1"},
        {inside + "/pipe_3", "pipe 3"}, {inside + "/pipe_1/*_task_0", "pipe 1"},
        {"pulled", "pipe 1"},           {"pulled --pipe 6", "pipe 6"}};
    const auto before = listing(folder_);
    for (const auto& [part, text] : parts) {
        for (const char* const entry : {"", " --entry folder"}) {
            expect(0, text, "replay " + part + " --verify" + entry);
        }
    }
    expect(2, "pick one with --pipe: 1, 3", "replay phone");
    expect(1, "expected the folder pipe_7", "replay phone --pipe 7");
    expect(1, "found: nothing", "replay phone --pipe 8");
    for (const auto& [path, facts] : listing(folder_)) {
        if (path == (folder_ / "tmp").string()) continue;
        ASSERT_EQ(before.count(path), 1U) << path << " is new";
        EXPECT_EQ(before.at(path), facts) << path;
    }
}

TEST_F(ToolTest, HelpShowsExamples) {
    expect(0, "tyksim 1.", "--version");
    for (const std::string verb : {"", "record ", "replay "}) {
        const std::string help = run(verb + "--help").out;
        const size_t first = help.find("\n  tyksim ", help.find("Examples:"));
        EXPECT_NE(first, std::string::npos) << help;
        EXPECT_NE(help.find("\n  tyksim ", first + 1), std::string::npos) << help;
    }
}

}  // namespace
