// Runs tyksim as its users do: as a process, in a temporary folder. What it does is a table: a line
// of shell, the status and the lines that it must end with.
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

/// One call. The shell knows the tool as `t`; its folder holds `r`, a fresh copy of a recorded tree
/// with three frames of 64x48 in a task, and the photographs of the suite. In front of the line
/// stand the variables D (dump root), K (task), F2 and F3 (frames), P (folder of processors) and S
/// (what lets calls fail).
struct Row {
    const char* script;
    int status;
    std::initializer_list<const char*> texts;  ///< in what is printed; "!x": x is not in it
};

constexpr const char* kPreamble = R"(
unset TYKSIM_LOG_LEVEL; export TMPDIR="$PWD/tmp"
# At unload the library leaves its objects behind, and a processor is to die of its signals.
export ASAN_OPTIONS=detect_leaks=0:handle_segv=0:handle_sigbus=0:$ASAN_OPTIONS
t() { eval "$T \"\$@\""; }
bg() { eval "exec $T \"\$@\""; }  # for a process of its own: bg ... &
both() { for e in frame folder; do s=0; t replay "$@" --verify --entry $e || s=$?; echo "$e: $s"; done; }
snap() { find r -printf '%p %s %T@ %i %y\n' | sort; }
D=r/data/vendor/cameraserver/tykdump
if [ -e base ]; then
    rm -rf r p; cp -a base r
    K=$(echo $D/pipe_1/*_task_0); F2=$(echo $K/*_reqID_2_*); F3=$(echo $K/*_reqID_3_*)
fi
)";

std::string readAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeAll(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// Red throughout, as a JPEG file.
std::string redJpeg(int width, int height, int subsampling, int pixelFormat = TJPF_RGB) {
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::vector<unsigned char> source;
    for (size_t i = 0; i < pixels; ++i) {
        source.insert(source.end(), {255, 0, 0});
        if (pixelFormat == TJPF_CMYK) source.push_back(0);
    }
    tjhandle encoder = tjInitCompress();
    unsigned char* jpeg = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(tjCompress2(encoder, source.data(), width, 0, height, pixelFormat, &jpeg, &size,
                          subsampling, 95, 0),
              0);
    std::string bytes(jpeg, jpeg + size);
    tjFree(jpeg);
    tjDestroy(encoder);
    return bytes;
}

std::string little(uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i) & 255);
    return text;
}

/// `jpeg` with facts about its exposure: 1/`denominator` s, ISO `iso` in a number of type `isoType`
/// (3: 16 bits, 4: 32 bits), bias -1/2.
std::string withExif(const std::string& jpeg, uint32_t denominator, uint32_t isoType = 3,
                     uint32_t iso = 320) {
    const auto entry = [](uint32_t tag, uint32_t type, uint32_t value) {
        return little(tag, 2) + little(type, 2) + little(1, 4) + little(value, 4);
    };
    const std::string tiff =
        "II" + little(42, 2) + little(8, 4) + little(1, 2) + entry(0x8769, 4, 26) + little(0, 4) +
        little(3, 2) + entry(0x829a, 5, 68) + entry(0x8827, isoType, iso) + entry(0x9204, 10, 76) +
        little(0, 4) + little(1, 4) + little(denominator, 4) + little(0xffffffff, 4) + little(2, 4);
    const std::string block = std::string("Exif\0\0", 6) + tiff;
    const auto length = static_cast<uint32_t>(block.size() + 2);
    return jpeg.substr(0, 2) + "\xff\xe1" + static_cast<char>(length >> 8) +
           static_cast<char>(length & 255) + block + jpeg.substr(2);
}

class ToolTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        // The blank is meant: paths are to survive it.
        std::string name = (fs::temp_directory_path() / "tyksim test XXXXXX").string();
        folder_ = mkdtemp(name.data());
        fs::create_directory(folder_ / "tmp");
        const std::string jpeg = redJpeg(64, 64, TJSAMP_420);
        writeAll(folder_ / "good.jpg", jpeg);
        writeAll(folder_ / "cut.jpg", jpeg.substr(0, jpeg.size() - 20));
        writeAll(folder_ / "head.jpg", jpeg.substr(0, 20));
        writeAll(folder_ / "cmyk.jpg", redJpeg(8, 8, TJSAMP_444, TJPF_CMYK));
        writeAll(folder_ / "wide.jpg", redJpeg(16385, 1, TJSAMP_420));
        writeAll(folder_ / "a.jpg", withExif(jpeg, 50));
        writeAll(folder_ / "b.jpg", withExif(jpeg, 0));
        writeAll(folder_ / "c.jpg", withExif(jpeg, 50).replace(30, 4, "\xff\xff\xff\xff"));
        writeAll(folder_ / "long.jpg", withExif(jpeg, 50, 4, 102400));
        setenv("P", TYK_PROCESSORS, 1);
        setenv("S", TYK_FAULT_SHIM, 1);
        expect({"t record base --frames 3 --size 64x48", 0, {"3 dumped"}});
    }
    static void TearDownTestSuite() { fs::remove_all(folder_); }

    static void expect(const Row& row) {
        writeAll(folder_ / "script", kPreamble + std::string(row.script) + "\n");
        setenv("T", TYKSIM_COMMAND, 1);
        const std::string inside = "cd '" + folder_.string() + "' && sh script >out 2>&1";
        const int status = std::system(inside.c_str());
        const std::string out = readAll(folder_ / "out");
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, row.status) << row.script << "\n"
                                                                            << out;
        for (const std::string text : row.texts) {
            const bool absent = text[0] == '!';
            EXPECT_EQ(out.find(absent ? text.substr(1) : text) == std::string::npos, absent)
                << row.script << ": " << text << " in\n"
                << out;
        }
        EXPECT_TRUE(fs::is_empty(folder_ / "tmp")) << row.script << ": temporary files stay";
    }

    static void expectAll(std::initializer_list<Row> rows) {
        for (const Row& row : rows) expect(row);
    }

    static fs::path folder_;
};
fs::path ToolTest::folder_;

TEST_F(ToolTest, CommandLine) {
    expectAll({
        {"t", 2, {"expected a verb, found none"}},
        {"t recrod x", 2, {"found recrod; did you mean record?"}},
        {"t versoin", 2, {"found versoin; did you mean version?"}},
        {"t help", 0, {"\n  record ", "\n  replay ", "Examples:"}},
        {"t help replay", 0, {"tyksim replay", "--verify", "Examples:\n  tyksim replay"}},
        {"t -V && t --version", 0, {"tyksim 1."}},
        {"t replay r --bogus", 2, {"--bogus", "`tyksim replay --help`"}},
        {"t record", 2, {"expected ROOT, found none (`tyksim record --help` says more)"}},
        {"t help help && t version && t help && t replay --bogus --help",
         0,
         {"\nVerbs:\n", "tyksim 1.", "Usage: tyksim replay"}},
        {"t wxyz", 2, {"found wxyz; `tyksim help` lists", "!mean"}},
        {"t --json info r", 2, {"expected a verb, found --json"}},
        // One wrong thing of each kind.
        {"t copy r -o p --focre", 2, {"an option of copy, found --focre; did you mean --force?"}},
        {"t copy r", 2, {"expected --output OUT, found none"}},
        {"t export r s -o p", 2, {"expected no more words, found s"}},
        {"t export r -o p --format gif", 2, {"--format: expected jpeg, png, rgb or nv21, found"}},
        {"t replay r --loop 0x2", 2, {"--loop: expected a whole number, 1 to 1000000, found 0x2"}},
        {"t record p --ev nan", 2, {"--ev: expected a number, -100 to 100, found nan"}},
        {"t info r --pipe 01 && t info r --task x", 2, {"--task: expected a whole number, 1 or"}},
        {"t info r --pipe", 2, {"--pipe: expected ID, found nothing behind it"}},
        {"t info r --pipe 1 --pipe 1", 2, {"--pipe: expected once, found 2 times"}},
        {"t info r --json=0", 2, {"--json: expected no value, found one"}},
        {"t track r ev1 --svg ''", 2, {"--svg: expected a value, found ''"}},
        {"t track r total_gain --json --csv", 2, {"--csv and --json do not go together"}},
        {"export TYKSIM_LOG_LEVEL=7; t replay r --log-level 0 && t replay r",
         2,
         {"environment: TYKSIM_LOG_LEVEL: expected a whole number, 0 to 5, found 7", "!--log"}},
        {"export TMPDIR=$PWD/script; t replay r",
         1,
         {"TMPDIR: expected a folder for temporary files, found ", "!filesystem error"}},
        {"t info nowhere", 1, {"expected a folder with a dump tree, found none: No such file"}},
        // What is suggested is what may have been meant.
        {"t track r gain", 2, {"nearest: total_gain"}},
        {"t track r iso", 2, {"nearest: KELV_TAG_SENSITIVITY.iso\n"}},
        {"t track r ttoal_gain", 2, {"nearest: total_gain\n"}},
        {"t track r GAINS", 2, {"nearest: KELV_TAG_WB_GAINS"}},
        {"t track r KELV_TAG_GAMACURVE", 2, {"nearest: KELV_TAG_GAMMA_CURVE\n"}},
        {"t track r nothing_like_it", 2, {"`tyksim show` lists", "!nearest"}},
        {"t track r KELV_TAG_WB_GAINS.r", 2, {"no such field; it has gains, red, blue"}},
        {"t track r 'KELV_TAG_WB_GAINS.gains[4]'", 2, {"gains has the elements 0 to 3"}},
        {"t info r >/dev/full", 1, {"standard output: cannot be written: No space"}},
        {"t sheet r -o - >&-", 1, {"standard output: cannot be written: Bad file descriptor"}},
        // The reader is gone before anything is written.
        {"{ sleep 0.3; s=0; t info r || s=$?; echo $s >s; } | exec true; cat s",
         0,
         {"141", "!tyksim:"}},
    });
}

TEST_F(ToolTest, WhatIsRecordedReplaysByteForByte) {
    expectAll({
        {"t record p --frames 13 && t replay p --verify && t replay p --verify --no-images && "
         "t replay p --verify --entry folder",
         0,
         {"files: 286 complete", "verified: 247 values", "verified: 234 values", "findings: 0"}},
        {"t record p --frames 3 --size 1x1 --pipe 0 --first-sof 7 && both p && find p -name FCWH* "
         "-size "
         "1c",
         0,
         {"frame: 0", "folder: 0", "FCWH_7_0_1_1_nv21.yuv"}},
        {"t record p --frames 3 --size 641x479 --camera 2 && both p && t show p --frames 1 && "
         "find p -name FCWH* -size 460558c",
         0,
         {"frame: 0", "folder: 0", "FCWH_1_2_641_479_nv21.yuv"}},
        // Small frames have names in their order, too.
        {"echo '<dumpconfig><common><tag value=\"KELV_TAG_WB_GAINS\"/></common></dumpconfig>' >c; "
         "t record p --frames 120 --size 1x1 --config c && ls $(echo p/data/*/*/*/*/*_task_0) | "
         "sed 's/.*reqID_//' | sort -nc",
         0,
         {"120 dumped"}},
        {"t track r total_gain KELV_TAG_STREAM_SIZE.width KELV_TAG_WB_GAINS.blue --csv",
         0,
         {"1,1,2,2,2,1536,64,1.5680001"}},
    });
}

TEST_F(ToolTest, PhotographsBecomeNv21WhateverTheirSubsampling) {
    for (const int subsampling :
         {TJSAMP_420, TJSAMP_422, TJSAMP_444, TJSAMP_440, TJSAMP_411, TJSAMP_GRAY}) {
        writeAll(folder_ / "red.jpg", redJpeg(33, 18, subsampling));
        expect({"t record p red.jpg && cp p/data/*/*/*/*/*/*/FCWH_1_0_33_18* image", 0, {}});
        const std::string image = readAll(folder_ / "image");
        ASSERT_EQ(image.size(), 891U);
        const size_t luma = size_t{33} * 18;
        for (size_t i = 0; i < image.size(); ++i) {
            const bool gray = subsampling == TJSAMP_GRAY;
            const int chroma = gray ? 128 : (i - luma) % 2 == 0 ? 255 : 85;
            ASSERT_NEAR(static_cast<unsigned char>(image[i]), i < luma ? 76 : chroma, 2)
                << "subsampling " << subsampling << ", byte " << i;
        }
    }
}

TEST_F(ToolTest, ExposureIsThePhotographsTheUsersOrSaidToBeSimulated) {
    const char* const names =
        " KELV_TAG_EXPOSURE_TIME.nanoseconds KELV_TAG_SENSITIVITY.iso KELV_TAG_EXPOSURE_BIAS.ev "
        "total_gain exp_time --csv";
    const std::string photographs =
        std::string("t record p a.jpg b.jpg c.jpg long.jpg --frames 5 && t track p") + names;
    const std::string given =
        std::string(
            "t record p b.jpg good.jpg --exposure 1/125 --iso 70000 --ev -1.5 && t track p") +
        names;
    expect({photographs.c_str(),
            0,
            {",1,1,20000000,320,-0.5,3276,20000000", ",2,2,11250000,320,-0.5,",
             ",4,4,20000000,102400,-0.5,1048576,", ",5,5,20000000,320,",
             "simulated: exposure time in 2 frames (--exposure gives it), ISO in 1 frame"}});
    expect({given.c_str(),
            0,
            {",1,1,8000000,70000,-1.5,716800,8000000", ",2,2,8000000,70000,-1.5,",
             "simulated: all parameters but the exposure's"}});
    expect({"t record p --exposure 1/0", 2, {"--exposure: expected seconds such as 1/125"}});
}

TEST_F(ToolTest, BadInputIsRefusedBeforeAnythingIsRecorded) {
    const Row rows[] = {
        {"t record p good.jpg cut.jpg", 1, {"cut.jpg: expected a complete JPEG"}},
        {"t record p head.jpg", 1, {"found a header that breaks off"}},
        {"t record p cmyk.jpg", 1, {"cmyk.jpg: expected a photograph in YCbCr or gray"}},
        {"t record p wide.jpg", 1, {"expected at most 16384x12288 pixels, found 16385x1"}},
        {"t record p none.jpg", 1, {"none.jpg: cannot be opened: No such file"}},
        {"mkfifo f; timeout 9 sh -c \"$T record p f\"", 1, {"f: expected a file"}},
        {"echo '<tags>' >x.xml; t record p --tags x.xml", 1, {"x.xml"}},
        {"echo '<dumpconfig>' >x.xml; t record p --config x.xml", 1, {"expected an XML file"}},
        {"echo '<x/>' >x.xml; t record p --config x.xml", 1, {"root element <dumpconfig>"}},
        {"t record good.jpg/p", 1, {"Not a directory"}},
        {"t record ''", 2, {"ROOT: expected a value, found ''"}},
        {"t record p --size 3x", 2, {"expected WxH"}},
        {"t record p --size 16385x1", 2, {"expected WxH"}},
        {"t record p good.jpg --size 3x3", 2, {"not for images"}},
        {"t record p --property x", 2, {"NAME=VALUE"}},
        {"t record p --first-request 2147483647", 2, {"--first-request"}},
        {"t record p --frames 0", 2, {"--frames"}},
        {"t replay p", 1, {"No such file"}},
        {"t replay good.jpg", 1, {"found a file"}},
        {"t replay tmp", 1, {"found an empty folder"}},
    };
    for (const Row& row : rows) {
        expect(row);
        EXPECT_FALSE(fs::exists(folder_ / "p")) << row.script;
    }
}

TEST_F(ToolTest, RecordKeepsWhatIsThereAndJudgesWhatComes) {
    expectAll({
        // An entry for another camera, and one for none.
        {"C=$D/pipe1_dumpConfig.xml; echo '<dumpconfig><common><tag "
         "value=\"KELV_TAG_WB_GAINS\"><pipe>"
         "PREVIEW_TYPE</pipe><camID>5</camID><dumpType>0</dumpType></tag></common></dumpconfig>' "
         ">$C; "
         "cp $C kept; t record r --frames 1 --first-sof 8 && cmp $C kept && ls "
         "$D/pipe_1/*/*sofID_8",
         0,
         {"files: 2 complete", "FCPDT_8_5_0_0_KELV_TAG_WB_GAINS.bin", "tags.xml (was there)"}},
        {"C=$D/pipe1_dumpConfig.xml; cp $C kept; sed 's/Type>1/Type>0/' $C >bad.xml; "
         "t record r --config bad.xml || echo \"st $?\"; cmp $C kept && t record r --frames 1",
         0,
         {"st 1", "KELV_TAG_LENS_SHADING_MAP: expected dump type 1 for a block", "1 dumped"}},
        {"sed '0,/Type>0/s//Type>2/;s/WB_GAINS/NOBODY/' $D/pipe1_dumpConfig.xml >x.xml; "
         "t record r --frames 1 --config x.xml && cmp x.xml $D/pipe1_dumpConfig.xml",
         0,
         {"config-dump-type", "silently not dumped", "config-tag", "files: 20 complete"}},
        {"sed 's/KELV_TAG_GAMMA_CURVE/A\\&quot;B/' r/tags.xml >x.xml; mkfifo pipe; cat x.xml >pipe "
         "& "
         "t record p --frames 1 --tags pipe && both p && t info p --by tag",
         0,
         {"A\"B", "frame: 0", "folder: 0"}},
        {"for v in 0 2 23; do t record p --property persist.vendor.cam.isstest=$v; done && "
         "rmdir p/data/vendor/cameraserver/tykdump/pipe_1 && "
         "t record p --pipe 3 --property persist.vendor.cam.isstest=23",
         0,
         {"frames: 0 dumped of 5\n", "asks for no frame of pipe 1", "frames: 5 dumped of 5"}},
        {"t record p --frames 1 --property persist.vendor.cam.mfnr.version=4 && "
         "cmp p/data/vendor/cameraserver/tykdump/pipe_1/mfnr4.xml "
         "p/vendor/firmware/mfnr4_default.xml",
         0,
         {"1 dumped"}},
        // The first failure has the reason, the others a count.
        {"ulimit -f 400; t record p --frames 3",
         3,
         {"_nv21.yuv: expected 460800 bytes, found 204800: File too large",
          "record-incomplete: 2 more like it"}},
        {"rm -rf $D/pipe_1; touch $D/pipe_1; t record r", 1, {"pipe_1: "}},
        {"sed 's/\"KELV_TAG_GAMMA_CURVE\" size=\"2048\"/\"BIG\" size=\"512001\"/' r/tags.xml "
         ">x.xml; "
         "t record p --tags x.xml --frames 3",
         3,
         {"error record-failure: ", "tag BIG: size 512001", "record-failure: 2 more like it",
          "!record-incomplete"}},
    });
}

TEST_F(ToolTest, CopiesTakeAndSetWhatIsAskedFor) {
    expectAll({
        {"t copy r -o p --frames 2.. --set total_gain=100..301 --set KELV_TAG_WB_GAINS.red=2.5 && "
         "t track p total_gain KELV_TAG_WB_GAINS.red --csv && both p && t diff r p",
         3,
         {"frame 3: total_gain: 2048 -> 301", "1,1,1,2,2,100,2.5\n1,1,2,3,3,301,2.5\n", "frame: 0",
          "folder: 0", "threeA_info/ae_info/total_gain", "only in A"}},
        // An element that is not to be compared is none of those that differ, under no name.
        {"t copy r -o p --set KELV_TAG_WB_GAINS.gains[0]=7 --set KELV_TAG_WB_GAINS.gains[2]=8; "
         "t diff r p --ignore KELV_TAG_WB_GAINS.gains[0]",
         3,
         {"2 bytes differ, the first is at 10", "gains[2]: 1 -> 8", "!    gains[0]", "!    red"}},
        {"t copy r -o p --only-tags '*GAIN*' --no-images && t check p && find p -name '*.bin' | wc "
         "-l",
         0,
         {"3 frames, 3 files", "clean", "\n3\n"}},
        {"echo ab >v; t copy r -o p --set KELV_TAG_GYRO_SAMPLES=@v --set "
         "KELV_TAG_STREAM_QUALITY=0x07 && cat p/data/*/*/*/*/*/*reqID_2*/*GYRO_SAMPLES.bin && "
         "t show p --frames 1 --tag KELV_TAG_STREAM_QUALITY",
         0,
         {"ab", "000000  07"}},
        {"t replay r --set ev1=-0.25 --entry folder --show-scene --frames 3 --loop 2 --verify",
         0,
         {"ev1 = -0.25", "2 replayed", "findings: 0"}},
        {"for v in '*NONE*' ''; do t copy r -o p --only-tags \"$v\" && echo TAKEN; done; t copy r "
         "-o p "
         "--tags '*GAIN*' || t copy r -o p --only-tags '*WB*' --set total_gain=5 || { rm "
         "$K/*/*WB_G*; "
         "t copy r -o p --set KELV_TAG_WB_GAINS.red=1; } || t replay r --set "
         "KELV_TAG_WB_GAINS.red=1",
         2,
         {"found *NONE*; there is KELV_", "found '' (", "!TAKEN", "--only-tags takes patterns",
          "total_gain=5: none of the selected frames has a file", "GAINS.red=1: none of the"}},
        // A value keeps the size of its tag, and else of its file.
        {"for v in STREAM_QUALITY=0707 ISCENE_INFO=00 GYRO_SAMPLES=@e; do : >e; t copy r -o p "
         "--set "
         "KELV_TAG_$v && echo TAKEN; rm -f r/tags.xml; done; t copy r -o p --set "
         "KELV_TAG_STREAM_QUALITY=0707; cmp $F2/*QUALITY* p${F2#r}/*QUALITY*",
         0,
         {"expected 1 byte, the size of tag", "expected 8512 bytes, the size of tag",
          "expected at least one byte, found none", "!TAKEN",
          "not changed: KELV_TAG_STREAM_QUALITY: expected 1 byte, as the file has, found 2"}},
        // What cannot be read is left out and said.
        {"n=; [ $(id -u) != 0 ] || n='setpriv --bounding-set=-dac_override,-dac_read_search'; "
         "chmod 0 $F2/FCWH* $F3/*WB_G* $D/pipe_1/mfnr* $D/*.xml; rm r/tags.xml; eval \"$n $T copy "
         "r -o "
         "p --set KELV_TAG_WB_GAINS.red=1 --tags base/tags.xml\" || echo \"st $?\"; chmod -R u+r "
         "r; "
         "diff -rq r p | grep -c '^Only in r'; diff -rq r p | grep -c differ",
         0,
         {"nv21.yuv: cannot be read: Permission denied; left out\n",
          "mfnr5.2.xml: cannot be read:", "dumpConfig.xml: cannot be read:",
          "WB_GAINS.bin: cannot be read: Permission denied; left out\n", "st 3", "\n5\n2\n"}},
        {"t copy r -o p --set total_gain=2147483648", 2, {"from 0 to 2147483647"}},
        {"t copy r -o p --set KELV_TAG_WB_GAINS.red=x", 2, {"expected a number of at most"}},
        {"t copy r -o p --set totl_gain=1", 2, {"nearest: total_gain"}},
        {"t copy r -o r/p", 2, {"r/p: lies in the input "}},
        {"mkdir p; t copy r -o p", 2, {"p: stands there already; --force replaces it"}},
        {"mkdir .p.tyksim-aaaaaa.old .p.tyksim-mine; t copy r -o p; rm -r .p.*",
         0,
         {".p.tyksim-aaaaaa.old: left by a run that was killed; rm -r", "!mine"}},
        {"ulimit -f 2; t copy r -o p; s=$?; for f in p .p.*; do test -e $f && echo LEFT; done; "
         "exit $s",
         1,
         {"File too large", "!LEFT"}},
    });
}

TEST_F(ToolTest, AnOutputReplacesOnlyWhatTyksimMade) {
    setenv("P", TYK_PROCESSORS, 1);
    const std::string verbs =
        // In front of the output's path, what makes folders and what makes files.
        "folders() { t export r -o $1 --force; echo \"= $?\"; t copy r -o $1 --force; echo \"= "
        "$?\"; "
        "t replay r --with $P/denoise.so -o $1 --force; echo \"= $?\"; "
        "t diff r r --heat-map $1 --force; echo \"= $?\"; }; "
        "files() { t sheet r -o $1 --force; echo \"= $?\"; t track r ev1 --svg $1 --force; "
        "echo \"= $?\"; t export r --y4m $1 --force; echo \"= $?\"; }; snap >before; ";
    const auto run = [&verbs](const std::string& script, int status,
                              std::initializer_list<const char*> texts) {
        const std::string line =
            verbs + script + "; s=$?; snap | diff before - || echo CHANGED; exit $s";
        Row row{line.c_str(), status, texts};
        expect(row);
    };
    // Earlier outputs, whichever verb made them, and what is empty.
    run("folders p && mkdir q && folders q && rm -r q && f=$(mktemp p/XXXXXX) && files $f", 0,
        {"= 0", "!= 1", "!= 2", "!CHANGED"});
    // Somebody's: a folder, a file in an output, a change, a video, a page that goes on.
    run("mkdir p; echo x >p/x; folders p; ls p/x", 0,
        {"= 2", "!= 0",
         "p: stands there already, and --force does not replace it: tyksim did not "
         "make it, and it holds x\n"});
    run("t copy r -o p; mkfifo p/data/x; folders p; rm p/data/x; touch p/tags.xml; folders p; ls "
        "p/tags.xml",
        0, {"= 2", "!= 0\ntyk", "did not make data/x in it", "tags.xml in it was changed"});
    run("t export r -o p; rm p/*frame0002*; folders p", 0, {"= 0", "!= 2", "!CHANGED"});
    run("mkdir p; cd p; ln -s ../r; printf 'YUV4MPEG2 W8 H8\\n' >f; files f; t sheet r -o g; echo "
        ">>g; "
        "files g; wc -l f; cd ..",
        0,
        {"= 2", "!= 0\ntyk", "1 f", "f: stands there already, and --force", "or it was changed"});
    // Places that no output takes.
    run("mkdir -p p/q; ln -s q p/l; mkfifo p/f; (cd p/q; ln -s ../../r; folders .; folders ..; "
        "folders ../q/.; files .); folders p/l; folders p/l/; files p/l; folders p/f; files p/f; "
        "files /dev/null; folders /proc; files -; echo; find p",
        0,
        {"!p/.", ".: is the working folder", "..: holds the working folder",
         "p/l: is a symbolic link", "p/l/: is a symbolic link", "p/f: is a FIFO",
         "/dev/null: is a device", "- for standard output", "/proc: is a mount point", "p/q/r\n",
         "--svg -: standard"});
    // The input, whatever it is called.
    run("ln -s r p; (cd $F2; r=../../../../../../../../r; for o in x ../x ../../../x p; do t sheet "
        ". -o $o; "
        "t export $r -o $o; t copy ../../ -o $o; done; ls -A | grep -c x); folders p/new; folders "
        "r/../r",
        0, {"= 2", "!= 0", "lies in the input", "r/../r: is the input", "!CHANGED"});
    run("for l in data ${D#r/}/pipe_1; do rm -rf p; mkdir p; cp -r r p/r; mv p/r/$l p/q; ln -s "
        "\"$PWD/p/q\" p/r/$l; t export p/r -o p/q/x; t sheet p/r -o p/q/x; ls p/q; done",
        0, {"p/q/x: lies in the input", "!\nx\n"});
    // Something else of the name that the list of an output has.
    run("mkdir -p p/a/.tyksim-output p/b; echo x | tee p/a/.tyksim-output/x >p/b/.tyksim-output; "
        "folders p/a; "
        "folders p/b; cat p/a/.*/x p/b/.*t",
        0, {"holds .tyksim-output", "!= 0", "x\nx\n"});
    run("t export r -o - ; s=$?; t sheet r -o - >q; grep -c tyksim q; exit $s", 2,
        {"-: the output is a folder", "standard output: 3 frames", "2"});
    // What is in the way when the output is complete counts, not what was there before.
    run("t copy r -o p; t replay r --with $P/odd_processor.so --option touch=p/x -o p --force; "
        "s=$?; ls -A; "
        "ls p; rm p/x; t export r -o n/e/w/p && rm -r n; (ulimit -f 1; t copy r -o n/e/w || ls); "
        "exit $s",
        1,
        {"p: is not replaced; it changed meanwhile: tyksim did not make x in it", "!.p.tyksim",
         "tags.xml\nx\n", "n/e/w/data", ": cannot be written: File too large", "!\nn\n"});
}

TEST_F(ToolTest, ARecordingIsNoPartOfAnotherTree) {
    expectAll({
        {"snap >before; ln -sfn $D l; for o in $D $D/pipe_1 $D/pipe_7 $K $F2 r/data l/pipe_2; do "
         "t record $o good.jpg --frames 1 && echo TAKEN; done; snap | diff before -",
         0,
         {"!TAKEN", "pipe_1: is the folder of a pipe, and a recording makes a tree of its own",
          "/r' good.jpg --pipe 1\n", "/r' good.jpg --pipe 7\n", "/r' good.jpg --pipe 2\n",
          "data: is inside the tree of a device root"}},
        {"mkdir p; mv $D p/y; cp -r p/y p/tykdump; for o in p/y p/y/pipe_1 p/y/x p/tykdump/x; do t "
         "record $o --frames 1; echo \"= $?\"; done; ls p/tykdump",
         0,
         {"holds pipes, tasks or frames", "tyksim record ROOT", "= 0", "= 2",
          "p/tykdump/x: is a dump root, and", "!\nx\n"}},
        {"t record new.JPG good.jpg p; t record good.jpg; t record good.jpg a.jpg; t record v; ls "
         "-d new.JPG",
         2,
         {"new.JPG: is a photograph", "in front of it: tyksim record p new.JPG good.jpg\n",
          "tyksim record ROOT good.jpg a.jpg\n"}},
        {"mkdir p.jpg; t record p.jpg --frames 1 && rm -r p.jpg", 0, {}},
    });
}

TEST_F(ToolTest, OnlyWhatIsNamedIsSetAndEveryVerbShowsWhatAReplayBrings) {
    // Frame 2 lacks fields that the blocks have, and has a text that is no number.
    const std::string damaged =
        "X=iSceneInfo.xml; sed -i '/<hdr_detect_out>/,/<.hdr_detect_out>/d; "
        "s/gain>.*</gain>\\t12abc <!-- x --></' $F2/$X; "
        "values() { t track $1 ev0 ev1 ev2 exp_time --frames $2 --csv | tail -1; { t show $1 "
        "--frames $2; t replay $1 --entry folder --show-scene --frames $2; } | grep 'ev[012] ' | "
        "tr -s ' '; }; ";
    const Row rows[] = {
        {"values base 2 >a; values r 2 >b; cmp a b; t copy r -o p --set exp_time=77; "
         "sed 's/time>.*</time>77</' $F2/$X | cmp - p${F2#r}/$X; values p 2",
         0,
         {"\n1,1,2,2,2,-0.5,-2.5,1,77\n", "hdr_detect_out/ev1 -2.5\n", "ev2 = 1\n"}},
        // A field whose element is missing gets one; the others in it keep their values.
        {"t copy r -o p --set ev1=0.7 --frames 2; values p 1; diff $F2/$X p/data/*/*/*/*/*/*/$X; "
         "t diff $F2 p/data/*/*/*/*/*/*; t check p",
         3,
         {"ev1: -2.5 -> 0.7\n", "\n1,1,1,2,2,-0.5,0.7,1,11250000\n", "hdr_detect_out/ev1 0.7\n",
          "\n4a5\n", "hdr_detect_out/ev1: -2.5 -> 0.7\n", "found \"12abc\"", "!missing"}},
        {"iconv -t UTF-16 $F2/$X >x; cat x >$F2/$X; t copy r -o p --set exp_time=8 --set ev2=9; "
         "iconv -f UTF-16 p${F2#r}/$X | grep -E '12abc|time'; values p 2",
         0,
         {"<total_gain>\t12abc <!-- x --></total_gain>\n", "<exp_time>8<", ",-0.5,-2.5,9,8\n"}},
        // What cannot be set is said; the rest is.
        {"echo '<x/>' >$F2/$X; truncate -s 9 $F2/*_DETECT_OUT* $F2/*ISCENE_INFO* $F2/*WB_GAINS*; "
         "echo '<' >$F3/$X; t copy r -o p --set ev0=4 --set KELV_TAG_WB_GAINS.gains[3]=8; "
         "cmp $F2/*WB_G* p${F2#r}/*WB_G*; t track p ev0 KELV_TAG_WB_GAINS.gains[3] --csv",
         3,
         {"2/iSceneInfo.xml: not changed: no element iSceneInfo\n",
          "2/ISCENE_CAP_INFO_DETECT_OUT.bin: not changed: expected 4904 bytes, found 9\n",
          "_INFO.bin: not changed: ev0: expected a record of 8512 bytes, found 9\n",
          "_GAINS.bin: not changed: KELV_TAG_WB_GAINS.gains[3]: expected a value of at least",
          "3/iSceneInfo.xml: not changed: ", "1,1,1,1,1,4,8\n", "frame 3: KELV_TAG_WB",
          "!frame 3: ev0"}},
    };
    for (const Row& row : rows) {
        const std::string script = damaged + row.script;
        expect({script.c_str(), row.status, row.texts});
    }
}

TEST_F(ToolTest, ValuesAreOfTheirTypes) {
    std::string fields;
    for (const char* const field :
         {"a=u8 0 2", "b=i8 3 1", "c=i16 4 1", "d=u16 4 1", "e=i32 4 1", "f=u32 4 1", "g=i64 8 1",
          "h=u64 8 1", "i=f64 8 1", "s=char 0 4"}) {
        std::istringstream words(field + 2);
        std::string type, offset, count;
        words >> type >> offset >> count;
        fields += std::string("<field name=\"") + field[0] + "\" type=\"" + type + "\" offset=\"" +
                  offset + "\" count=\"" + count + "\"/>";
    }
    const std::string head =
        "sed -i 's,<field name=\"gains\".*," + fields + ",' r/tags.xml; W=KELV_TAG_WB_GAINS; ";
    const Row rows[] = {
        {"t copy r -o p --set $W=0x417E0080feffffff000000000000f8bf; "
         "t track p $W.a $W.a[1] $W.b $W.c $W.d $W.e $W.f $W.g $W.h $W.i $W.s $W --csv",
         0,
         {"\n1,1,2,2,2,\"65,126\",126,-128,-2,65534,-2,4294967294,-4613937818241073152,"
          "13832806255468478464,-1.5,A~,\"crc32 bfdc7ba7, 16 bytes\"\n"}},
        {"t copy r -o p --set $W.a=1,255 --set $W.b=-128 --set $W.c=-2 --set $W.i=-1.5 --frames 1; "
         "t show p --tag $W",
         0,
         {"000000  01 ff df 80 fe ff 80 3f 00 00 00 00 00 00 f8 bf  .......?"}},
        {"t copy r -o p --set $W.s=xy --set $W.e=-2147483648 --set $W.h=18446744073709551615 "
         "--frames 1; t show p --tag $W",
         0,
         {".s: w\\xBE\\xDF? -> xy\n",
          "000000  78 79 00 00 00 00 00 80 ff ff ff ff ff ff ff ff  xy."}},
        {"t copy r -o p --set $W.f=4294967295 --set $W.g=-9223372036854775808 --set $W.a[1]=7 "
         "--frames 1; t show p --tag $W",
         0,
         {".a[1]: 190 -> 7\n", "000000  77 07 df 3f ff ff ff ff 00 00 00 00 00 00 00 80  w."}},
        {"t copy r -o p --set $W.d=1..65534 --set $W.h=0..18446744073709551615; "
         "t track p $W.d $W.h --csv",
         0,
         {",1,1,1,0\n", ",2,2,32768,9223372036854775808\n", ",3,3,65534,18446744073709551615\n"}},
        {"n=0; for v in h=18446744073709551613..18446744073709551615 "
         "h=9007199254740993..9007199254740997 h=4..1 g=-9223372036854775808..9223372036854775807 "
         "i=-1.7e308..1.7e308 i=1.7e308..1.5e308; do t copy r -o p --set $W.$v >x; t track p "
         "$W.${v%%=*} "
         "--csv | tail -2 | cut -d, -f6; rm -r p; done | tr '\\n' ' '",
         0,
         {"18446744073709551614 18446744073709551615 9007199254740995 9007199254740997 3 1 0 "
          "9223372036854775807 0 1.7e+308 1.6e+308 1.5e+308"}},
        {"for v in a=256,1 a=1 a=1,2,3 b=-129 c=40000 d=-1 e=2147483648 f=4294967296 "
         "g=9223372036854775808 h=-1 h=1.5 i=1e400 i= s=abcde a[2]=1 s[0]=1 red=1e39 i=inf..1 "
         "i=1..nan a=1,2..3,4 h=1..x; do "
         "t copy r -o p --set $W.$v && echo TAKEN; done; ls p",
         2,
         {"found \"256\"",
          "found 1\n",
          "found 3\n",
          "from -128 to 127",
          "from -32768 to 32767",
          "from 0 to 65535",
          "from -2147483648 to 2147483647",
          "from 0 to 4294967295",
          "from -9223372036854775808 to 9223372036854775807",
          "from 0 to 18446744073709551615",
          "found \"1.5\"",
          "at most 1.7976931348623157e+308, found \"1e400\"",
          "found \"\"",
          "at most 4 bytes, found 5",
          ".a has the elements 0 to 1\n",
          ".s is a text\n",
          "at most 3.4028235e+38, found \"1e39\"",
          "i=inf..1: expected a ramp",
          "i=1..nan: expected a",
          "a=1,2..3,4: expected a ramp",
          "found \"x\"",
          "!TAKEN"}},
        // The file of a value that was cut: what is there is shown, what is not is missed.
        {"G=$(echo $F2/*WB_GAINS*); truncate -s 5 $G; t track r $W.a $W.b $W.e $W.s --csv --frames "
         "2; "
         "truncate -s 1 $G; t track r $W.a[0] $W.a $W.s --json --frames 2; t show $F2; "
         "t show $F2 --json >j || echo \"st $?\"; grep -o '\"a\":.*\"c\"' j",
         0,
         {"1,1,2,2,2,\"14,45\",63,,\\x0E-\\xE2?\n", ".e: the value ends before it, after 5 bytes\n",
          "\"values\":{\"KELV_TAG_WB_GAINS.a[0]\":14,\"KELV_TAG_WB_GAINS.a\":null,",
          ".a: the value ends after 1 of its 2 elements\n",
          ".s: the value ends after 1 of its 4 bytes\n", " 14 (cut off)\n", "st 3",
          "\"a\":[14],\"b\":null,\"c\""}},
        // What is no UTF-8, or moves the cursor.
        {"t show r --frames 2 --tag $W --json; t track r $W.s --json; printf '\\033,\"' | dd "
         "of=$(echo $F2/*WB_GAINS*) conv=notrunc; t track r $W.s --csv; t diff r base --json",
         3,
         {"\"s\":\"\\u000e-\ufffd?\",\"s_base64\":\"Di3iPw==\"",
          ("{\"KELV_TAG_WB_GAINS.s\":\"w\ufffd\ufffd?\",\"KELV_TAG_WB_GAINS.s_base64\":\"d77fPw=="
           "\"}"),
          "1,1,2,2,2,\"\\x1B,\"\"?\"\n", "!\x1b",
          "\"b\":\"\\u000e-\ufffd?\",\"b_base64\":\"Di3iPw==\""}},
        {"for v in $W=0xA $W=0x0g $W=@none =3 a; do t copy r -o p --set $v; done; "
         "t track r normal_num",
         2,
         {"=0xA: expected @FILE or hexadecimal", "=0x0g: expected @FILE", "none: expected a value",
          "=3: expected NAME=VALUE", "a: expected NAME=VALUE",
          "several fields have this name: cap_info/detect_out/normal_num, cap_info/normal_num"}},
    };
    for (const Row& row : rows) {
        const std::string script = head + row.script;
        expect({script.c_str(), row.status, row.texts});
    }
}

TEST_F(ToolTest, WhatIsInATreeIsCountedAndDated) {
    expectAll({
        // Frames out of time and order: gaps, a request twice, a pause, and one without an image.
        {"(cd $K; mv *_reqID_1_* 0228235959900_reqID_1_sofID_1; mv *_reqID_2_* "
         "0229000000000_reqID_2_sofID_3; mv *_reqID_3_* 0301000000033_reqID_2_sofID_5; cp -r 0301* "
         "0301000001033_reqID_7_sofID_11; rm 0301000001*/FCWH*); truncate -s 5 $K/0229*/*GYRO*; "
         "t info r; t info r --by frame; t info r --by tag",
         0,
         {"4 frames in 24 h 00 min  64x48  18 parameters", "requests 1..2, 7  sofs 1, 3, 5, 11\n",
          "sofs missing: 7..10\n", "requests repeated: 2\n",
          "longest pause: 24 h 00 min before frame 3 (usually 1.000 s)", "1 frame without an image",
          "\n4 frames, 87 files, ", "  1  23:59:59.900                  1    1  64x48     22  ",
          "  2  00:00:00.000       100        2    3  64x48     22  ",
          "  3  00:00:00.033  86400033        2    5  64x48     22  ",
          "  4  00:00:01.033      1000        7   11      -     21  ",
          "WB_GAINS                  0          1          0       4              16      64",
          "  4         5..4096  "}},
        {"for n in 0 999 1000 9994 9995 99949 99950 999499 999500 999500000; do truncate -s $n "
         "$D/pipe_1/mfnr5.2.xml; t info r; done",
         0,
         {"xml, 0 B\n", "xml, 999 B\n", "xml, 1.00 kB\n", "xml, 9.99 kB\n", "xml, 10.0 kB\n",
          "xml, 99.9 kB\n", "xml, 100 kB\n", "xml, 999 kB\n", "xml, 1.00 MB\n", "xml, 1.00 GB\n"}},
        {"cd $K; rm -r *_reqID_3_*; mv *_reqID_1_* 0101000000000_reqID_1_sofID_1; for n in "
         "0101000000999 "
         "0101000059999 0101000100000 0101005959999 0101010000000; do mv *_reqID_2_* "
         "${n}_reqID_2_sofID_2; t info .; done",
         0,
         {"frames in 999 ms ", "frames in 59.999 s ", "frames in 1 min 00 s ",
          "frames in 59 min 59 s ", "frames in 1 h 00 min "}},
        {"rm $F3/FCWH*; mv $F3 ${F3%_req*}; t info r --by frame; t info r --frames 1,3.. --by "
         "task",
         0,
         {"\n3 frames, 65 files, ", "requests 1..2  sofs 1..2\n", "\n2 frames, 43 files, ",
          "requests 1  sofs 1\n"}},
        {"for x in 3..1 x .. 1, 2x..3 1..y 0 0..2 -1 ''; do t info r --frames \"$x\" && echo "
         "TAKEN; done; rm -r $K/*; t info r",
         0,
         {"from 1 and ranges such as 3..9,12, found \"3..1\"", "found \"x\"", "found \"..\"",
          "found \"1,\"", "found \"2x..3\"", "found \"1..y\"", "found \"0\"", "found \"0..2\"",
          "found \"-1\"", "found '' (", "!TAKEN", "no frames"}},
        {"t show r || echo \"st $?\"; t show $F2 $F3 --tag X",
         2,
         {"selection picks 3;", "st 2", "_sofID_2: expected the tag X, found none",
          "_sofID_3: expected the tag X, found none"}},
        // Planes of an image that breaks off, within a pair of its chroma.
        {"rm $F3/FCWH*; { head -c 3072 /dev/zero | tr '\\0' '\\005'; printf '\\001\\011\\002\\010"
         "\\003'; } >$F3/FCWH_3_0_64_48_nv21.yuv; t show $F3; t show $F3 --json; rm $F3/FCWH* "
         "$F3/*ISCENE* $F3/iScene*; mv $F3/*GAINS* $F3/FCPDT_3_2_99_1_KELV_TAG_WB_GAINS.bin; "
         "t show $F3 | tr -s ' '",
         0,
         {"image 64x48, 3.08 kB, expected 4608 bytes, found 3077\n",
          "  y  mean   5.00  range   5 to   5\n",
          "  u  mean   8.50  range   8 to   9, 2 of 768 samples\n",
          "  v  mean   2.00  range   1 to   3, 3 of 768 samples\n",
          R"("u":{"mean":8.5,"min":8,"max":9,"samples":2})", "no scene record\nno image\n",
          "KELV_TAG_WB_GAINS 4100 2 99 block 16\n"}},
        // Of a file that goes on behind the picture, of an empty one, and of an odd size.
        {"t show $F3 | tail -3 >o; truncate -s 8G $F3/FCWH*; t show $F3 | tail -3 | cmp - o; : "
         ">$F3/FCWH_3_0_64_48_nv21.yuv; t show $F3 | tail -3; t show $F3 --json; cd $F3; rm FCWH*; "
         "printf 123456789VUvuabcd- >FCWH_3_0_3_3_nv21.yuv; t show . | tail -3; rm FCWH*; mkdir "
         "FCWH_3_0_9_9_nv21.yuv; t show . || echo \"st $?\"; rmdir FCWH*; echo >FCWH_3_0_0_9_.yuv; "
         "t show .",
         3,
         {"!differ", "!EOF", "  y  no samples\n  u  no samples\n", R"("v":null})",
          "range  49 to  57\n", "range  85 to 117\n", "range  86 to 118\n",
          "FCWH_3_0_9_9_nv21.yuv: it is no regular file\n", "st 3", "this one 0x9\n"}},
        // The scene record: from its text, else from the parameter file, else from nowhere.
        {"printf '\\007' | dd of=$F2/FCPDT_2_0_1_0_KELV_TAG_ISCENE_INFO.bin bs=1 seek=7132 "
         "conv=notrunc; t show $F2 | grep -E 'scene r|total_gain'; rm $F2/iScene*; t show $F2 | "
         "grep -E 'scene r|total_gain'; echo '<' >$F3/iSceneInfo.xml; t track r total_gain --csv; "
         "rm $F2/*ISCENE_INFO*; t track r total_gain KELV_TAG_WB_GAINS.red || echo \"st $?\"; "
         "t show $F3",
         3,
         {"scene record                               value\nthreeA_info/ae_info/total_gain",
          " 1536\n", "scene record (parameter file) ", " 1543\n", "\n1,1,2,2,2,1543\n1,1,3,3,3,\n",
          "_sofID_3: total_gain: ", "  2 *           - *                1.767\n", "st 3",
          "iSceneInfo.xml: cannot be read"}},
        {"cp $F2/*GAINS* $F2/FCPDT_2_3_1_0_KELV_TAG_WB_GAINS.bin; printf '\\0\\0\\0\\0' | dd "
         "of=$F2/FCPDT_2_3_1_0_KELV_TAG_WB_GAINS.bin conv=notrunc; rm $F3/*GAINS*; mkdir "
         "$F3/FCPDT_3_0_1_0_KELV_TAG_WB_GAINS.bin; t track r KELV_TAG_WB_GAINS.red",
         3,
         {"some frames have several files", " 2 *                1.767\n", "not a regular file",
          " 3 *                    -\n"}},
        {"t track r total_gain --svg p; cat p; rm $F2/iScene* $F2/*ISCENE_INFO*; t track r "
         "total_gain "
         "--svg p --force; cat p",
         0,
         {"y=\"28.0\" class=\"scale\">2048</text>", "y=\"128.0\" class=\"scale\">1024</text>",
          "\"M90.00 124.00h0L515.00 74.00L940.00 24.00\"", "\"M90.00 124.00h0M940.00 24.00h0\""}},
        {"t copy r -o p --set total_gain=5; t track p total_gain --changes; t track p total_gain "
         "exp_time --changes --csv; t track r total_gain --svg r/x || echo \"st $?\"",
         0,
         {"1        1             5\npipe,", "\n1,1,2,2,2,5,11250000\n", "lies in the input",
          "st 2"}},
    });
}

TEST_F(ToolTest, EveryVerbSaysWhatItCannotReadAndWhenItPicksNothing) {
    // Every verb with the same selection: how often it ends with which status and last line.
    const std::string each =
        "each() { for v in 'info r' 'check r' 'show r' 'track r total_gain' 'export r -o p' "
        "'diff r r' 'copy r -o p' 'sheet r -o p' 'replay r'; do s=0; t $v \"$@\" >said 2>&1 || "
        "s=$?; "
        "cat said >>log; echo \"$s $(grep tyksim: said | tail -1)\"; [ -e p ] && echo MADE; rm -rf "
        "p; "
        "done | sort | uniq -c | tr -s ' '; }; : >log; ";
    const std::string nothing = each +
                                "each --frames 9; each --task 9; each --pipe 7; "
                                "each --requests 2 --sofs 3; rm -r $K/*; each";
    expect({nothing.c_str(),
            0,
            {(" 9 2 tyksim: r: the selection picks no frame; found 3 frames: --frames 1..3, "
              "--requests 1..3, --sofs 1..3\n"),
             " 9 2 tyksim: r: the selection picks no frame; found --task 1 in pipe 1\n",
             " 9 2 tyksim: 'r': expected pipe 7, found the pipes 1\n", "!MADE",
             " 7 1 tyksim: r: expected frames, found none\n", " 1 0 \n", " 1 3 \n"}});
    const std::string links =
        each +
        "rm -r $F3; ln -s \"$PWD/$F2\" $F3; ln -s \"$PWD/$K\" "
        "$D/pipe_1/21260305140709123_task_1; each --frames 1 | tr -d 012; "
        "grep -c '_sofID_3: expected frame folders, found a symbolic link' log; "
        "grep -c '_task_1: expected a task or frame folder, found a symbolic link' log";
    expect({links.c_str(), 0, {"MADE", "!   ", "\n10\n10\n"}});
}

TEST_F(ToolTest, DifferencesAreNamedAndNothingElse) {
    expectAll({
        {"cp -a r p; G=p${F2#r}; truncate -s 5 $G/*GAINS*; printf x | dd "
         "of=$G/ISCENE_CAP_INFO_DETECT_OUT.bin bs=1 seek=300 conv=notrunc; mv $G/FCWH* "
         "$G/FCWH_2_0_48_64_nv21.yuv; touch $G/x; G=p${F3#r}; rm $G/*TONE* $G/FCWH*; mkdir "
         "$G/FCPDT_3_0_1_0_KELV_TAG_TONE_CURVE.bin; echo '<' >$G/iSceneInfo.xml; t diff r p",
         3,
         {"3 frames matched by request id, 2 differ\n", "2 images not compared\n", "!y same",
          "11 bytes differ, the first is at 5, 16 -> 5 bytes\n    gains[1]: 1 -> \n", "!gains[0]",
          "blue: 1.5680001 -> \n", "DETECT_OUT.bin: 1 byte differs, it is at 300\n",
          "  x: only in B\n", "image: 64x48 -> 48x64\n", "image: only in A\n",
          "TONE_CURVE (pipe type 1, camera 0): cannot be read\n", "!points",
          "TONE_CURVE.bin: cannot be read: not a regular file",
          "iSceneInfo.xml: cannot be read: "}},
        // A part of the image that is not there, and a field in a raw block.
        {"cp -a r p; G=p${F2#r}; truncate -s 99 $G/FCWH*; printf x | dd "
         "of=p${F3#r}/ISCENE_CAP_INFO_DETECT_OUT.bin bs=1 conv=notrunc; t diff r p; rm "
         "r/data/*/*/*/*/*/*/FCWH*; t diff r p --ignore image --ignore "
         "cap_info/detect_out/postproc_type && t diff $F2 p${F2#r} --ignore image",
         0,
         {"y same; u not compared; v not compared; compared 99 of 3072 samples of y; 4608 -> 99 "
          "bytes\n",
          "1 byte differs, it is at 0\n", "3 frames matched by request id, all the same",
          "1 frame matched by request id, all the same"}},
        {"t copy r -o p --set exp_time=7; t diff r p --ignore exp_time && t diff r p --ignore "
         "KELV_TAG_ISCENE_INFO",
         3,
         {"all the same", "threeA_info/ae_info/exp_time: 11250000 -> 7\n", "!KELV_TAG_ISCENE"}},
        {"cp -a r p; G=p${F3#r}; sed -i 's,gain>.*<,gain>7<,' $G/iScene*; touch $G/x; printf x "
         ">p${F2#r}/FCPDT_2_0_1_0_KELV_TAG_STREAM_QUALITY.bin; t diff r p",
         3,
         {"worst first:\nrequest 3: ", "  percent", "\nrequest 2: A"}},
        // What says something else to a replay, or the same in other words; the order of frames.
        {"cp -a r p; G=p${F2#r}; for f in $G/FC*_2_*; do mv $f $G/$(basename $f | sed s/_2_/_7_/); "
         "done; t diff r p; t diff r p --ignore sof && cp $F3/*GAINS* "
         "$F3/FCPDT_1_0_1_0_KELV_TAG_WB_GAINS.bin; G=p${F3#r}; mv $G/FCWH* "
         "$G/FCWH_3_00_64_48_nv21.yuv; t diff r p --ignore sof; mv $G $G-; mv $G- "
         "p${K#r}/0000000000000_reqID_3_sofID_3; t diff r p --ignore sof --json; t diff r p",
         3,
         {" 1 differs\n  differs           frames\n  names    sof ids       1\nworst first:",
          "\n  sof: 2 -> 7 in the names of 19 files\n", "id, all the same\n",
          "\n  KELV_TAG_WB_GAINS (pipe type 1, camera 0): only in A\n  name: ",
          "  name: FCWH_3_0_64_48_nv21.yuv -> FCWH_3_00_64_48_nv21.yuv\n", R"("moved":1,"images)",
          R"({"a":"FCWH_3_0_64_48_nv21.yuv","b":"FCWH_3_00)",
          "request 3: A task 1 frame 3, B task 1 frame 1\n", "  order: behind request 2 in A, "}},
        {"cp -a r p; rm -r $F2 $F3 p${K#r}/*_reqID_1_*; t diff r p",
         3,
         {"no frame of A matches one of B by request id: nothing was compared\n1 frame is",
          "1 frame is only in A: request 1\n2 frames are only in B: requests 2..3\n"}},
        {"cp -a r p; rm -r $F3 p${F3#r}; ln -s /tmp $F3; t diff r p; t diff r p --json",
         3,
         {"2 frames matched by request id, what could be read is the same\n",
          R"("same":false,"ok":false)"}},
        // A sheet of two trees says the same, and what a check finds in both. Of luma what is
        // there.
        {"cp -a r p; head -c 99 /dev/zero | tr '\\0' '\\005' >$F3/FCWH_3_0_64_48_nv21.yuv; "
         "G=p${F2#r}; >$G/FCWH_2_0_64_48_nv21.yuv; rm $G/*GAINS* p${F3#r}/FCWH*; t sheet r -o "
         "x.htm "
         "--against p || echo \"st $?\"; grep -o '\\[.image\",[^]]*]' x.htm; grep -o "
         "'.KELV_TAG_WB_GAINS (.*A' x.htm; grep -o '.other\":[^,]*,.at.:0,.frame.:.' x.htm; "
         "grep -F '[5,5,5.0,0.0,0.0,4509]' x.htm",
         0,
         {("x.htm: 3 frames, 0 errors, 1 warning, 0 notes; p: 2 of 3 frames differ, 1 error, 2 "
           "warnings"),
          R"(["image","4608 -\u003e 0 bytes",[null,null,null])", R"(["image","only in A",null,)",
          "\"KELV_TAG_WB_GAINS (pipe type 1, camera 0)\",\"only in A", "[5,5,5.0,0.0,0.0,4509]",
          R"("other":false,"at":0,"frame":3)", R"("other":true,"at":0,"frame":2)"}},
        {"t diff $F2 $F3", 3, {"request 2: A task 1 frame 2, B task 1 frame 3\n", "!only in"}},
        // Tasks belong together by name, else by place, and by pipe where there are several.
        {"t record r --frames 2 --size 16x8; t record r --frames 1 --size 16x8 --pipe 3; cp -a r "
         "p; "
         "P=p${D#r}; rm $P/pipe_3/*/*/FCWH*; t diff r p --pipe 1 && t diff r p; for k in "
         "$P/pipe_*/*_task_0; do mv $k ${k%/*}/1${k##*/}; done; t diff r p --pipe 1 --task 2 && "
         "rm -r $(ls -d $P/pipe_1/1* | tail -1); t diff r p",
         3,
         {"\n5 frames matched by request id, all the same\n",
          "\n6 frames matched by request id, 1 differs\n  differs",
          "\n2 frames matched by request id, all the same\n",
          "\n4 frames matched by request id, 1 differs\n2 frames are only in A: requests 1..2\n"}},
    });
}

/// A replay of `r` into `p` with the processor that does what its one option says; then the rest of
/// the line.
std::string odd(const std::string& option, const std::string& rest = "") {
    return "t replay r --with $P/odd_processor.so -o p --option " + option + rest;
}

TEST_F(ToolTest, ProcessorsStandInThePipelinesPlace) {
    expectAll({
        {"t replay r --with $P/denoise.so -o p && both p && t diff r p --match request",
         3,
         {"recorded: 3 frames", "frame: 0", "folder: 0", "2 differ", "!scene", "!  tag  "}},
        {"t replay r --with $P/brightness.so -o p && t diff r p", 3, {"3 differ", "u same"}},
        {"t replay r --with $P/denoise.so --option x -o p", 1, {"refuses to open: expected"}},
        {"t replay r --with good.jpg -o p", 1, {"expected a processor"}},
        {"t replay r --with $P/denoise.so", 2, {"go together"}},
        {odd("set", " && t check p && t track p KELV_TAG_WB_GAINS.red && t info p").c_str(),
         0,
         {"clean", "2.3694278e-38", "10x8"}},
        {odd("once", "; t info p").c_str(), 0, {"recorded: 1 frame", "requests 1 "}},
        {odd("nothing").c_str(), 3, {"handed back no picture", "recorded: nothing"}},
        {odd("error").c_str(), 3, {"had a bad day", "recorded: 2 frames"}},
        {odd("throw").c_str(), 3, {"threw an exception: no luck", "recorded: 2 frames"}},
        {odd("throw-number").c_str(), 3, {"threw an exception that is no", "recorded: 2 frames"}},
        {odd("refuse").c_str(), 1, {"refuses to open: no, thank you"}},
    });
}

TEST_F(ToolTest, WhatAProcessorHandsBackIsRefusedOrRecordedAsItIs) {
    // A block of no bytes made a tree with errors.
    for (const auto& [option, reason] : std::map<std::string, const char*>{
             {"cut", "a picture of 10x8 in 119 bytes; expected at least 120"},
             {"narrow", "10x8 with a stride of 9 bytes; expected at least 10"},
             {"wide", "a picture of 1048576x8; expected 1x1 to 16384x12288"},
             {"nowhere", "10x8 at a null pointer"},
             {"short", "which has "},
             {"empty", "0 bytes for tag 12291; a block has at least one"},
             {"unknown", "1 bytes for tag 4711, which the frame does not have"},
             {"null", "a null pointer as the value of tag "}}) {
        expect({odd(option).c_str(), 3, {reason, "recorded: nothing", "findings: 3"}});
    }
    // Of an odd size an image ends before its chroma does.
    for (const char* const size : {"64x48", "1x1", "3x100", "7x5", "641x2"}) {
        expect({(std::string("rm -r r; t record r --frames 1 --size ") + size + " && " +
                 odd("gaps", " && t diff r p && t check p"))
                    .c_str(),
                0,
                {"1 frame matched by request id, all the same", "p: clean"}});
    }
    expectAll({
        // Frames in their order, however small; the tuning copy of the tree, wherever it lies.
        {("rm -r r; t record r --frames 60 --size 2x2 && " +
          odd("same", " && ls $(echo p/data/*/*/*/*/*_task_0) | sed 's/.*reqID_//' | sort -nc"))
             .c_str(),
         0,
         {"recorded: 60 frames"}},
        {("t record r --frames 1 --size 2x2 --pipe 3 --property persist.vendor.cam.mfnr.version=3 "
          "&& rm $D/pipe_1/mfnr5* && " +
          odd("same", " --pipe 3 && t check p && ls p/data/*/*/*/pipe_1"))
             .c_str(),
         0,
         {"p: clean", "\nmfnr3.xml", "!mfnr5"}},
    });
}

TEST_F(ToolTest, EveryEndOfAProcessorsProcessIsNamed) {
    const std::string at = " at frame 2 of task 1, request 2";
    for (const auto& [option, end] : std::map<std::string, std::string>{
             {"abort", "crashed" + at + ": SIGABRT"},
             {"segv", "crashed" + at + ": SIGSEGV"},
             {"thread", "crashed" + at + ": SIGABRT"},
             {"kill", "was ended" + at + ": SIGKILL"},
             {"exit", "ended its process with status 0" + at},
             {"_exit", "ended its process with status 9" + at},
             {"fork", "ended its process with status 7" + at},
             {"close", "closed its connection to tyksim" + at},
             {"garbage", "sent tyksim something that is no answer" + at},
             {"exit-open", "ended its process with status 0 while it opened"},
             {"abort-open", "crashed while it opened: SIGABRT"}}) {
        expect({odd(option, "; s=$?; ls -A; exit $s").c_str(),
                1,
                {("odd_processor.so: " + end).c_str(), "!unknown reason", "!\np\n", "!\n.p"}});
    }
    expectAll({
        {"head -c 5000 $P/odd_processor.so >cut.so; t replay r --with ./cut.so -o p",
         1,
         {"cut.so: crashed while it was loaded: SIGBUS", "a file that is cut short"}},
        // All was recorded by then, and stays.
        {odd("abort-close", "; s=$?; t diff r p --ignore image; exit $s").c_str(),
         3,
         {"crashed while it closed: SIGABRT", "recorded: 3 frames", "all the same"}},
        {odd("status-exit").c_str(), 3, {"with status 3 after it closed", "recorded: 3 frames"}},
        {odd("exit-close").c_str(), 3, {"ended its process with status 0 while it closed"}},
    });
}

TEST_F(ToolTest, AProcessorThatLoopsIsEndedAtOnceAndWithTyksim) {
    const auto looping = [](const std::string& rest) {
        return "bg replay r --with $P/odd_processor.so -o p --option loop & B=$!; until grep -q "
               "'^looping' out; do sleep 0.01; done; L=$(sed -n 's/^looping //p' out); " +
               rest;
    };
    expectAll({
        {looping("kill -TERM $B; s=0; wait $B || s=$?; kill -0 $L || ls -A; exit $s").c_str(),
         143,
         {"stopped by Terminated: replayed 2 frames", "No such process", "!\n.p"}},
        {looping(
             "kill -KILL $B; wait $B; until ! kill -0 $L; do sleep 0.01; done; rm -rf tmp/* .p*")
             .c_str(),
         0,
         {"No such process"}},
        // As from a terminal: to both processes.
        {"eval \"timeout -s INT --preserve-status 1 $T replay r --with $P/odd_processor.so -o p "
         "--option loop\"; s=$?; ls -A; exit $s",
         130,
         {"stopped by Interrupt: replayed ", "!\n.p"}},
    });
}

/// `faults SORT TEXT WORD...` runs the tool once for each time that it reads or changes (SORT) what
/// has TEXT in its path, and lets that call fail; of EACH calls only the first. Says how many
/// failed, and which of them left something wrong without a word: CLEAN is said, and p is not what
/// SAME is.
constexpr const char* kFaults = R"sh(
run() { (export LD_PRELOAD="$S" TYK_FAULT=5 TYK_FAULT_LOG="$PWD/log"; t "$@" >said 2>&1); }
faults() {
    export TYK_FAULT_OF=$1 TYK_FAULT_IN=$2; shift 2
    rm -rf p log; TYK_FAULT_AT=1000000 run "$@" || return
    met=0
    for n in $(seq 1 $EACH $(wc -l <log)); do
        rm -rf p log; s=0
        TYK_FAULT_AT=$n run "$@" || s=$?
        if grep -q '^!' log; then met=$((met + 1)); fi
        case $s in
        0) grep -q "$CLEAN" said && { [ ! -e p ] || t diff ${SAME:-r} p >said; } ||
               echo "not said: $(grep '^!' log) $(cat said)" ;;
        1) [ ! -e p ] || echo "made: $(grep '^!' log)" ;;
        esac
    done
    echo "faults: $met"
}
)sh";

TEST_F(ToolTest, NoFaultOfTheSystemPassesUnnoticed) {
    const auto expectSaid = [](const std::string& call) {
        expect({(kFaults + call).c_str(), 0, {"faults: ", "!faults: 0", "!not said", "!made"}});
    };
    const std::string with = " replay r --with $P/odd_processor.so --option same -o p";
    // The image that the processor is given, and what no file's length tells.
    expectSaid("CLEAN='verified: 57 ' EACH=1; faults reads FCWH_2" + with);
    expectSaid("CLEAN='verified: 57 ' EACH=1; faults changes iSceneInfo.xml" + with);
    // What a copy changes.
    expectSaid(
        "t copy r --set total_gain=3 -o q; SAME=q CLEAN='3 values changed' EACH=1; faults reads "
        "iSceneInfo.xml copy r --set total_gain=3 -o p");
    // Whatever a page shows.
    expectSaid("CLEAN=. EACH=1; faults reads WB_GAINS sheet r -o p");
    // Whatever else is read, listed or written of a frame.
    expectSaid("CLEAN='verified: 57 ' EACH=7; faults reads reqID_2" + with);
    expectSaid("CLEAN='verified: 57 ' EACH=7; faults changes reqID_2" + with);
    expectSaid("CLEAN='verified: 57 ' EACH=7; faults reads reqID_2 replay r --verify");
    expectSaid(
        "CLEAN='verified: 54 ' EACH=7; faults reads reqID_2 replay r --verify --entry folder");
}

TEST_F(ToolTest, OneRecorderAtATimeAndAnOrderedEnd) {
    expect(
        {"bg record r --frames 100000 --size 16x8 & P=$!; "
         "until [ -e $D/pipe_1/*/*_reqID_5_* ]; do sleep 0.01; done; "
         "t record r --frames 1 || echo \"second $?\"; t record r --frames 1 --pipe 2; "
         "kill -TERM $P; s=0; wait $P || s=$?; echo \"first $s\"; "
         "t check r --fail-on warning && t record r --frames 1 && find r -name '*.new*' -o -name "
         "'.*'",
         0,
         {"another recorder is at work on this pipe", "second 1", "frames: 1 dumped of 1",
          "stopped by Terminated: recorded ", "first 143", ": clean: ", "!\nr/."}});
    expect(
        {"bg replay r --loop 1000000 & P=$!; sleep 1; ls tmp; kill -INT $P; kill -TERM $P; s=0; "
         "wait $P || s=$?; echo \"ended $s\"",
         0,
         {"tyksim-", "stopped by Terminated: replayed ", "ended 143"}});
}

TEST_F(ToolTest, DamageIsNamedAndTheOtherFramesAreReplayed) {
    expectAll({
        {"rm $F2/FCWH*; both r", 0, {"image-missing", "frame: 3", "folder: 3"}},
        {"rm $F2/*WB_GAINS*; both r", 0, {"parameter-missing: ", "frame: 3", "folder: 3"}},
        {"rm $D/pipe_1/mfnr*; both r", 0, {"tuning-copy-missing", "frame: 3", "folder: 3"}},
        {"rm $F3/FCWH*; truncate -s 9 $F3/*WB_G*; both r", 0, {"frame-torn: ", "frame: 3"}},
        {"truncate -s 99 $F2/FCWH*; both r", 0, {"image-short", "4608 bytes for 64x48, found 99"}},
        {"truncate -s 0 $F2/*SENSITIVITY*; both r",
         0,
         {"loadParamAndImage: getBinSize return negative, size: 0 (FCPDT_2_0_1_0_KELV_TAG_S",
          "frames: 2 replayed, 1 abandoned", "frames: 3 replayed, 0 abandoned", "parameter-empty",
          "folder: 3"}},
        {"truncate -s 15 $F2/*WB_GAINS*; both r",
         0,
         {"expected 16 bytes, the size of tag KELV_TAG_WB_GAINS, found 15", "frame: 3",
          "folder: 3"}},
        {"truncate -s 512001 $F2/*WB_GAINS*; both r",
         0,
         {"WB_GAINS.bin: 512001 bytes", "folder: 3"}},
        {"truncate -s 4294967297 $F2/*WB_GAINS*; both r",
         0,
         {"found 4294967297, which the library takes for 1", "!not arrive",
          "!: expected its value"}},
        {"rm r/tags.xml; truncate -s 15 $F2/*WB_GAINS*; both r",
         0,
         {"found 15", "tags derived from", "frame: 3", "folder: 3"}},
        {"echo x >$F2/FCPDT_1_2.bin; both r", 0, {"parameter-name", "frame: 3", "folder: 3"}},
        {"echo x >$F2/FCWH_1_2.yuv; both r", 0, {"image-name", "frame: 3", "folder: 3"}},
        {"mv $F2/FCWH* $F2/FCWH_2_0_64_48_nv12.yuv; both r", 0, {"it is replayed as NV21"}},
        {"echo x >$F2/FCPDT_2_0_1_0_KELV_TAG_NEW.bin; both r",
         0,
         {"parameter-unknown-tag", "replay-lost", "frame: 3", "folder: 3"}},
        {"echo x >$F2/FCPDT_2_0_1_1_KELV_TAG_WB_GAINS.bin; both r",
         0,
         {"expected a dump type for a fixed-size value, found 1", "frame: 3", "folder: 3"}},
        {"echo x >$F2/FCWH_2_0_65535_65535_nv21.yuv; both r", 0, {"image-name", "frame: 3"}},
        {"rm $F2/*WB_GAINS*; mkdir $F2/FCPDT_2_0_1_0_KELV_TAG_WB_GAINS.bin; both r",
         0,
         {"file-kind", "found a folder", "frame: 3", "folder: 3"}},
        {"rm $F2/FCWH*; mkfifo $F2/FCWH_2_0_64_48_nv21.yuv; both r",
         0,
         {"found a FIFO", "replay-failure", "readBin: open failed", "frame: 3"}},
        {"rm r/tags.xml; mkfifo r/tags.xml; both r", 0, {"tags.xml", "frame: 1", "folder: 1"}},
        {"mv $F2 x; ln -s ../../../../../../../x $F2; both r; rm -r x",
         0,
         {"not-a-folder", "found a symbolic link to a folder", "frames: 2 replayed"}},
        {"mv $F2 $K/0101010101010_reqID_2; both r", 0, {"frame-name", "frame: 3", "folder: 3"}},
        {"rm $F2/*; both r", 0, {"frame-empty", "frame: 3", "folder: 3"}},
        {"echo x >$F2/iSceneInfo.xml; both r",
         0,
         {"frame: 3", "scene-xml", "replay-failure", "folder: 3"}},
        {"rm $F2/iSceneInfo.xml; both r", 0, {"frame: 3", "scene-file-missing", "folder: 3"}},
        {"truncate -s 823 $F2/ISCENE*HDR*; both r",
         0,
         {"frame: 3", "scene-block-size", "expected ISCENE_CAP_INFO_HDR_DETECT_OUT.bin as in",
          "folder: 3"}},
        {"mv $D/pipe_1 $D/pipe_01; t replay r",
         1,
         {"expected frames, found none", "/pipe_01: expected pipe folders"}},
        {"x=$(printf '%s/\\033[31mre\\nd' $F2); echo x >\"$x\"; t check r",
         3,
         {"/\\x1B[31mre\\nd: ", "!\x1b"}},
        // Characters that are whole are shown, but for those that turn a line; bytes are spelled.
        {"cd $F2; touch \"$(printf 'a\\303\\244\\360\\237\\230\\200')\" \"$(printf "
         "'b\\342\\200\\256\\302\\205')\" \"$(printf "
         "'c\\300\\200\\355\\240\\200\\364\\220\\200\\200\\340\\200\\200\\303')\"; cd - "
         ">/dev/null; t check r; t check r --json",
         3,
         {"/a\u00e4\U0001f600: expected", "/b\\u{202E}\\u{0085}: ",
          "/c\\xC0\\x80\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80\\xE0\\x80\\x80\\xC3: ",
          "/c"
          "\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\ufffd\",\"path_"
          "base64\":\""}},
    });
}

TEST_F(ToolTest, WhatIsEditedOrSetArrivesAndIsNamed) {
    expectAll({
        {"sed -i 's/<exp_time>11250000</<exp_time>42</' $F2/iScene*; both r",
         0,
         {"exp_time = 11250000 as dumped, found 42 arrived", "frame: 0", "folder: 3"}},
        {"snap >a; t replay r --set total_gain=100..300 --set KELV_TAG_WB_GAINS.gains[1]=2 "
         "--verify "
         "--entry folder --show-scene; snap >b; cmp a b",
         0,
         {"total_gain = 100\n", "total_gain = 200\n", "total_gain = 300\n", "findings: 0"}},
        {"t replay r --set total_gian=1", 2, {"total_gain"}},
        {"t replay r --set total_gain=x", 2, {"total_gain"}},
        {"t replay r --loop 3 --frames 2..3 --verify", 0, {"6 replayed", "findings: 0"}},
    });
}

TEST_F(ToolTest, AnyPartOfATreeIsReplayedAndNothingIsWrittenThere) {
    expect(
        {"t record r --frames 2 --pipe 3 --size 16x8 && cp -r $K p && snap >a; "
         "for x in 'r --pipe 3' $D/pipe_1 $K $F2 p; do both $x; done; snap >b; cmp a b; "
         "t replay r || echo \"st $?\"; t replay r --pipe 7",
         2,
         {"of pipe 3", "of pipe 1", "frames: 1 replayed", "!frame: 1", "!frame: 3", "!folder: 3",
          "pick one with --pipe: 1, 3", "st 2", "expected pipe 7, found the pipes 1, 3"}});
    expect(
        {"t record p --frames 2 --size 16x8 --camera 3 && "
         "t replay p --entry folder --show-scene --verify",
         0,
         {"(camera 3, sof 2)", "findings: 0"}});
}

}  // namespace
