// Tests of export and diff on trees with known images.
#include <gtest/gtest.h>
#include <libexif/exif-data.h>
#include <turbojpeg.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <png.h>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Bytes = std::string;

constexpr int kWidth = 32;
constexpr int kHeight = 16;
constexpr size_t kLuma = size_t{kWidth} * kHeight;
constexpr const char* kName = "/pipe1_task1_frame0001_req1_sof1_cam0";

struct Yuv {
    int y, u, v;
};
constexpr Yuv kLeft = {120, 90, 170};
constexpr Yuv kRight = {80, 180, 110};

uint8_t at(const Bytes& bytes, size_t index) {
    return static_cast<uint8_t>(bytes.at(index));
}

Bytes readAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Two halves of one colour each, in rows of `stride` bytes.
Bytes halves(size_t stride, bool vFirst) {
    Bytes bytes(stride * kHeight * 3 / 2, '\0');
    for (size_t row = 0; row < kHeight * 3 / 2; ++row) {
        for (size_t x = 0; x < kWidth; ++x) {
            const Yuv& colour = x < kWidth / 2 ? kLeft : kRight;
            const int chroma = (x % 2 == 0) == vFirst ? colour.v : colour.u;
            bytes[row * stride + x] = static_cast<char>(row < kHeight ? colour.y : chroma);
        }
    }
    return bytes;
}

/// Red, green and blue by the definition of the matrices and ranges.
std::array<double, 3> rgbOf(const Yuv& yuv, bool bt709, bool limited) {
    const double kr = bt709 ? 0.2126 : 0.299, kb = bt709 ? 0.0722 : 0.114;
    const double y = limited ? (yuv.y - 16) / 219.0 : yuv.y / 255.0;
    const double pb = (yuv.u - 128) / (limited ? 224.0 : 255.0);
    const double pr = (yuv.v - 128) / (limited ? 224.0 : 255.0);
    const double r = y + 2 * (1 - kr) * pr, b = y + 2 * (1 - kb) * pb;
    return {255 * r, 255 * (y - kr * r - kb * b) / (1 - kr - kb), 255 * b};
}

Bytes decodePng(const fs::path& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
    image.format = PNG_FORMAT_RGB;
    Bytes pixels(PNG_IMAGE_SIZE(image), '\0');
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    return pixels;
}

Bytes decodeJpeg(const Bytes& file) {
    Bytes pixels(kLuma * 3, '\0');
    const auto from = [](const Bytes& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    };
    tjhandle decoder = tjInitDecompress();
    tjDecompress2(decoder, from(file), file.size(), const_cast<unsigned char*>(from(pixels)),
                  kWidth, 0, kHeight, TJPF_RGB, TJFLAG_FASTUPSAMPLE);
    tjDestroy(decoder);
    return pixels;
}

Bytes fromBase64(const Bytes& text) {
    const Bytes digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Bytes bytes;
    uint32_t bits = 0;
    for (size_t i = 0; i < std::min(text.find('='), text.size()); ++i) {
        bits = bits << 6 | static_cast<uint32_t>(digits.find(text[i]));
        if (i % 4 != 0) bytes += static_cast<char>(bits >> (6 - i % 4 * 2) & 0xFF);
    }
    return bytes;
}

std::string exifValue(const ExifData& data, ExifTag tag) {
    std::array<char, 200> text{};
    for (const ExifIfd ifd : {EXIF_IFD_0, EXIF_IFD_EXIF}) {
        ExifEntry* const entry = exif_content_get_entry(data.ifd[ifd], tag);
        if (entry) return exif_entry_get_value(entry, text.data(), text.size());
    }
    return "";
}

class PictureTest : public testing::Test {
protected:
    PictureTest() {
        std::string name = (fs::temp_directory_path() / "tyksim-picture-XXXXXX").string();
        root_ = mkdtemp(name.data());
        EXPECT_EQ(run("record a --frames 3 --size 32x16"), 0) << out_;
        for (const auto& entry : fs::recursive_directory_iterator(root_ / "a")) {
            if (entry.path().extension() == ".yuv") images_.push_back(entry.path());
        }
        std::sort(images_.begin(), images_.end());
    }
    ~PictureTest() override { fs::remove_all(root_); }

    int run(const std::string& arguments, const std::string& before = "") {
        const std::string command = "cd '" + root_.string() +
                                    "' && export ASAN_OPTIONS=detect_leaks=0:$ASAN_OPTIONS; " +
                                    before + TYKSIM_COMMAND " " + arguments + " >out 2>err";
        const int status = std::system(command.c_str());
        out_ = readAll(root_ / "out") + readAll(root_ / "err");
        fs::remove(root_ / "out");
        fs::remove(root_ / "err");
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    void setImage(const Bytes& bytes, size_t frame = 0, const std::string& name = "") {
        fs::path path = images_.at(frame);
        if (!name.empty()) {
            fs::remove(path);
            images_[frame] = path = path.parent_path() / name;
        }
        std::ofstream(path, std::ios::binary) << bytes;
    }

    /// Exports the first frame and returns the file with the ending.
    Bytes exported(const std::string& options, const std::string& ending, int status = 0) {
        EXPECT_EQ(run("export a -o p --force --frames 1 " + options), status) << options << out_;
        return readAll(root_ / ("p" + (kName + ending)));
    }

    static void expectHalves(const Bytes& pixels, bool bt709, bool limited, double tolerance) {
        ASSERT_EQ(pixels.size(), kLuma * 3);
        for (size_t i = 0; i < kLuma; ++i) {
            const auto colour = rgbOf(i % kWidth < kWidth / 2 ? kLeft : kRight, bt709, limited);
            for (size_t c = 0; c < 3; ++c) {
                ASSERT_NEAR(at(pixels, 3 * i + c), std::clamp(colour.at(c), 0.0, 255.0), tolerance)
                    << i << "." << c;
            }
        }
    }

    fs::path root_;
    std::vector<fs::path> images_;
    std::string out_;
};

TEST_F(PictureTest, Colours) {
    for (const bool vFirst : {true, false}) {
        setImage(halves(kWidth, vFirst));
        for (const bool bt709 : {false, true}) {
            for (const bool limited : {false, true}) {
                const std::string options = std::string("--order ") + (vFirst ? "nv21" : "nv12") +
                                            " --matrix " + (bt709 ? "bt709" : "bt601") +
                                            " --range " + (limited ? "limited" : "full");
                SCOPED_TRACE(options);
                const Bytes rgb = exported(options + " --format rgb", "_32x16.rgb");
                expectHalves(rgb, bt709, limited, 2);
                exported(options + " --format png", ".png");
                EXPECT_EQ(decodePng(root_ / ("p" + std::string(kName) + ".png")), rgb);
                expectHalves(decodeJpeg(exported(options + " --quality 100", ".jpg")), bt709,
                             limited, 4);
            }
        }
        EXPECT_EQ(exported(std::string("--format nv21 --order ") + (vFirst ? "nv21" : "nv12"),
                           "_32x16.nv21"),
                  halves(kWidth, true));
    }
    EXPECT_NE(out_.find("assumed: NV12, BT.601, full range, rows without gaps"), std::string::npos);
}

TEST_F(PictureTest, SheetAndShowReadImagesLikeExport) {
    setImage(halves(40, false));
    const std::string stored = " --frames 1 --order nv12 --stride 40";
    for (const bool bt709 : {false, true}) {
        for (const bool limited : {false, true}) {
            const std::string options = stored + " --matrix " + (bt709 ? "bt709" : "bt601") +
                                        " --range " + (limited ? "limited" : "full");
            SCOPED_TRACE(options);
            // The file is longer than a dump of the picture, which is a finding.
            ASSERT_EQ(run("sheet a -o page --force" + options), 3) << out_;
            const Bytes page = readAll(root_ / "page");
            const size_t from = page.find("/9j/");
            ASSERT_NE(from, Bytes::npos);
            const Bytes thumbnail = fromBase64(page.substr(from, page.find(' ', from) - from));
            expectHalves(decodeJpeg(thumbnail), bt709, limited, 6);
        }
    }
    ASSERT_EQ(run("show a --json" + stored), 0) << out_;
    const json image = json::parse(out_)["image"];
    EXPECT_EQ(image["y"]["mean"], 100);
    EXPECT_EQ(image["u"]["mean"], 135);
    EXPECT_EQ(image["v"]["mean"], 140);
    EXPECT_EQ(image["expected_bytes"], 40 * 23 + 32);
    EXPECT_EQ(image["assumed"]["order"], "nv12");
    EXPECT_EQ(image["assumed"]["stride"], 40);
    ASSERT_EQ(run("show a" + stored), 0) << out_;
    EXPECT_NE(out_.find("  assumed: NV12, BT.601, full range, rows 40 bytes apart\n"),
              std::string::npos);
    for (const char* const verb : {"show", "sheet -o page --force", "diff a"}) {
        EXPECT_EQ(run(std::string(verb) + " a --frames 1 --stride 31"), 2) << out_;
        EXPECT_NE(out_.find("expected at least the 32 bytes of a row"), std::string::npos) << out_;
    }
}

TEST_F(PictureTest, ExportsTheExistingSamples) {
    const Bytes whole = halves(kWidth, true);
    setImage(halves(40, true));
    EXPECT_EQ(exported("--format nv21 --stride 40", "_32x16.nv21"), whole);
    setImage(whole + "more");
    EXPECT_EQ(exported("--format nv21", "_32x16.nv21", 3), whole);
    EXPECT_NE(out_.find("image-long"), std::string::npos);
    setImage(whole.substr(0, kLuma / 2));
    const Bytes cut = exported("--format nv21", "_32x16.nv21", 3);
    EXPECT_EQ(cut, whole.substr(0, kLuma / 2) + Bytes(kLuma / 2, '\0') + Bytes(kLuma / 2, '\x80'));
    EXPECT_NE(out_.find("image-short"), std::string::npos);
    // 3 x 3: a dump has 13 bytes of 17.
    setImage("abcdefghiVUvu", 0, "FCWH_1_0_3_3_nv21.yuv");
    EXPECT_EQ(exported("--format nv21", "_3x3.nv21", 3), "abcdefghiVUvu\x80\x80\x80\x80");
    EXPECT_NE(out_.find("image-odd"), std::string::npos);
    for (const char* const side : {"1_1", "3_3", "17_33", "1_40"}) {
        const std::string name = std::string("FCWH_1_0_") + side + "_nv21.yuv";
        setImage(Bytes(2000, 'x'), 0, name);
        EXPECT_EQ(exported("", ".jpg", 3).substr(0, 2), "\xff\xd8") << side;
        EXPECT_FALSE(exported("--format png --scale 1/3 --rotate 270", ".png", 3).empty()) << side;
    }
    setImage("");
    EXPECT_EQ(run("export a -o q"), 3);
    EXPECT_NE(out_.find("file-unreadable"), std::string::npos) << out_;
    EXPECT_NE(out_.find("2 images of 3 frames"), std::string::npos) << out_;
}

/// A plane with its operations, implemented by their definitions.
struct Samples {
    size_t width, height;
    Bytes bytes;

    uint8_t at(size_t x, size_t y) const { return static_cast<uint8_t>(bytes.at(y * width + x)); }

    /// A plane of `columns` x `rows` samples from `value`.
    template <typename Value>
    static Samples of(size_t width, size_t height, Value value) {
        Samples made{width, height, ""};
        for (size_t i = 0; i < width * height; ++i) {
            made.bytes += static_cast<char>(value(i % width, i / width));
        }
        return made;
    }

    /// The mean of the existing samples in a block of `side` x `side`.
    uint8_t mean(size_t left, size_t top, size_t side) const {
        unsigned sum = 0, count = 0;
        for (size_t y = top; y < std::min(top + side, height); ++y) {
            for (size_t x = left; x < std::min(left + side, width); ++x, ++count) sum += at(x, y);
        }
        return static_cast<uint8_t>((2 * sum + count) / (2 * count));
    }

    Samples shrunk(size_t by) const {
        return of((width + by - 1) / by, (height + by - 1) / by,
                  [&](size_t x, size_t y) { return mean(x * by, y * by, by); });
    }

    /// The plane, rotated clockwise.
    Samples turned(int degrees) const {
        if (degrees == 0) return *this;
        return of(height, width, [&](size_t x, size_t y) { return at(y, height - 1 - x); })
            .turned(degrees - 90);
    }

    /// The chroma of each of `columns` x `rows` pixels.
    Samples spread(size_t columns, size_t rows) const {
        return of(columns, rows, [&](size_t x, size_t y) { return at(x / 2, y / 2); });
    }

    std::string ending() const {
        return "_" + std::to_string(width) + "x" + std::to_string(height);
    }
};

TEST_F(PictureTest, PixelsAreMeansOfTheirBlocksAndKeepTheirColourWhenRotated) {
    const auto noise = [](size_t x, size_t y) { return (x * 7 + y * 13 + x * x * y * 5) % 256; };
    const std::string png = "p" + std::string(kName) + ".png";
    for (const auto& [width, height] : {std::pair<size_t, size_t>{7, 5}, {6, 5}, {9, 4}}) {
        const Samples luma = Samples::of(width, height, noise);
        const Samples pairs = Samples::of((width + 1) / 2 * 2, (height + 1) / 2, noise);
        const auto chroma = [&pairs = pairs](size_t first) {
            return Samples::of(pairs.width / 2, pairs.height,
                               [&](size_t x, size_t y) { return pairs.at(2 * x + first, y); });
        };
        setImage(luma.bytes + pairs.bytes, 0,
                 "FCWH_1_0_" + std::to_string(width) + "_" + std::to_string(height) + "_nv21.yuv");
        for (const size_t by : {1U, 3U}) {
            const Samples y = luma.shrunk(by), u = chroma(1).shrunk(by), v = chroma(0).shrunk(by);
            const std::string scale = "--scale 1/" + std::to_string(by);
            const Bytes upright = exported(scale + " --format rgb", y.ending() + ".rgb");
            for (const int degrees : {0, 90, 180, 270}) {
                const std::string how = scale + " --rotate " + std::to_string(degrees);
                SCOPED_TRACE(luma.ending() + " " + how);
                const Samples turned = y.turned(degrees);
                const Samples colour[] = {v.spread(y.width, y.height).turned(degrees),
                                          u.spread(y.width, y.height).turned(degrees)};
                Bytes planes = turned.bytes;
                for (size_t row = 0; row < turned.height; row += 2) {
                    for (size_t x = 0; x < turned.width; x += 2) {
                        for (const Samples& each : colour) planes += char(each.mean(x, row, 2));
                    }
                }
                EXPECT_EQ(exported(how + " --format nv21", turned.ending() + ".nv21"), planes);
                const Samples plane = u.turned(degrees);
                EXPECT_EQ(exported(how + " --format rgb --plane u", plane.ending() + ".gray"),
                          plane.bytes);
                Bytes pixels(upright.size(), '\0');
                for (size_t part = 0; part < 3; ++part) {
                    const Samples one = Samples::of(y.width, y.height, [&](size_t x, size_t row) {
                        return upright.at(3 * (row * y.width + x) + part);
                    });
                    const Bytes to = one.turned(degrees).bytes;
                    for (size_t i = 0; i < to.size(); ++i) pixels[3 * i + part] = to[i];
                }
                EXPECT_EQ(exported(how + " --format rgb", turned.ending() + ".rgb"), pixels);
                exported(how + " --format png", ".png");
                EXPECT_EQ(decodePng(root_ / png), pixels);
            }
        }
    }
}

TEST_F(PictureTest, FactsAndVideos) {
    const Bytes jpeg = exported("", ".jpg");
    ExifData* const exif = exif_data_new_from_data(
        reinterpret_cast<const unsigned char*>(jpeg.data()), static_cast<unsigned>(jpeg.size()));
    ASSERT_NE(exif, nullptr);
    EXPECT_EQ(exifValue(*exif, EXIF_TAG_EXPOSURE_TIME), "1/100 sec.");
    EXPECT_EQ(exifValue(*exif, EXIF_TAG_ISO_SPEED_RATINGS), "100");
    EXPECT_EQ(exifValue(*exif, EXIF_TAG_EXPOSURE_BIAS_VALUE), "-1.00 EV");
    EXPECT_EQ(exifValue(*exif, EXIF_TAG_IMAGE_DESCRIPTION),
              "pipe 1, task 1, frame 1, request 1, sof 1, camera 0");
    exif_data_unref(exif);
    const Bytes png = exported("--format png", ".png");
    EXPECT_LT(png.find("eXIf"), png.find("IDAT"));

    setImage(halves(kWidth, true));
    setImage(Bytes(6, 'x'), 1, "FCWH_2_0_2_2_nv21.yuv");
    ASSERT_EQ(run("export a --y4m video --fps 29.97"), 3);
    EXPECT_NE(out_.find("image-size-varies"), std::string::npos) << out_;
    const Bytes video = readAll(root_ / "video");
    const Bytes head =
        "YUV4MPEG2 W32 H16 F2997:100 Ip A1:1 C420jpeg XYSCSS=420JPEG XCOLORRANGE=FULL "
        "XTYKSIM\nFRAME\n";
    EXPECT_EQ(video.substr(0, head.size()), head);
    EXPECT_EQ(video.size(), head.size() + 6 + 2 * kLuma * 3 / 2);
    EXPECT_EQ(at(video, head.size()), kLeft.y);
    EXPECT_EQ(at(video, head.size() + kLuma), kLeft.u);
    EXPECT_EQ(at(video, head.size() + kLuma + kLuma / 4), kLeft.v);
    EXPECT_EQ(run("export a --y4m - --fps 29.97 | cmp - video"), 0) << out_;
}

TEST_F(PictureTest, OutputIsCompleteOrMissing) {
    EXPECT_EQ(run("export a -o a/x"), 2);
    EXPECT_EQ(run("export a/data/vendor/cameraserver/tykdump -o a"), 2);
    fs::create_directory(root_ / "kept");
    EXPECT_EQ(run("export a -o kept"), 2);
    EXPECT_EQ(run("diff a a --heat-map kept"), 2);
    EXPECT_EQ(run("export a"), 2);
    // A limit of 512 bytes for files acts like a full disk.
    EXPECT_EQ(run("export a -o p --format rgb", "ulimit -f 1; "), 1);
    EXPECT_EQ(run("export a --y4m p", "ulimit -f 1; "), 1);
    EXPECT_NE(out_.find("File too large"), std::string::npos) << out_;
    size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(root_)) ++entries;
    EXPECT_EQ(entries, 2U) << "the tree and the folder";
}

TEST_F(PictureTest, Differences) {
    for (size_t frame = 0; frame < 3; ++frame) setImage(halves(kWidth, true), frame);
    fs::copy(root_ / "a", root_ / "b", fs::copy_options::recursive);
    EXPECT_EQ(run("diff a b"), 0);
    EXPECT_EQ(out_, "3 frames matched by request id, all the same\n");

    Bytes changed = halves(kWidth, true);
    changed[33] = static_cast<char>(kLeft.y + 10);
    changed[34] = static_cast<char>(kLeft.y - 2);
    changed[kLuma + 3] = static_cast<char>(kLeft.u + 1);
    setImage(changed, 1);
    const fs::path frame = images_[2].parent_path();
    ASSERT_EQ(
        std::system(("cd '" + frame.string() +
                     "' && sed -i 's|<total_gain>[0-9]*<|<total_gain>777<|' iSceneInfo.xml "
                     "&& printf '\\0\\0\\200\\77' | dd of=FCPDT_3_0_1_0_KELV_TAG_WB_GAINS.bin "
                     "bs=1 conv=notrunc 2>/dev/null && rm *GAMMA*")
                        .c_str()),
        0);
    ASSERT_EQ(run("diff b a --json --heat-map heat"), 3);
    const json document = json::parse(out_);
    EXPECT_EQ(document["same"], false);
    ASSERT_EQ(document["frames"].size(), 2U);
    const json& image = document["frames"][0]["image"];
    EXPECT_EQ(document["frames"][0]["a"]["request"], 2);
    EXPECT_NEAR(image["y"]["psnr"], 10 * std::log10(255.0 * 255 * kLuma / 104), 1e-9);
    EXPECT_EQ(image["y"]["max"], 10);
    EXPECT_EQ(image["y"]["mean"], 12.0 / kLuma);
    EXPECT_EQ(image["y"]["pixels"], 2);
    EXPECT_EQ(image["u"]["pixels"], 1);
    EXPECT_EQ(image["v"]["psnr"], nullptr);
    const json& other = document["frames"][1];
    EXPECT_EQ(other["scene"][0]["name"], "threeA_info/ae_info/total_gain");
    EXPECT_EQ(other["scene"][0]["b"], 777);
    EXPECT_EQ(other["tags"][0]["tag"], "KELV_TAG_GAMMA_CURVE");
    EXPECT_EQ(other["tags"][0]["size_b"], nullptr);
    EXPECT_EQ(document["summary"]["images"]["y"]["pixels"], 2);
    const Bytes map = decodePng(root_ / "heat/pipe1_task1_frame0002_req2_sof2_cam0.png");
    for (const size_t pixel : {33U, 34U, 2U, 3U}) {  // the chroma sample spans two columns
        EXPECT_GT(at(map, 3 * pixel), at(map, 3 * pixel + 1)) << pixel;
    }
    EXPECT_EQ(at(map, 108), at(map, 109));

    // Samples that one file does not have are not compared.
    setImage(changed.substr(0, 40), 1);
    EXPECT_EQ(run("diff b a --frames 2 --heat-map cut"), 3);
    EXPECT_NE(out_.find("u not compared; v not compared; compared 40 of 512 samples of y; 768"),
              std::string::npos)
        << out_;
    const Bytes cut = decodePng(root_ / "cut/pipe1_task1_frame0002_req2_sof2_cam0.png");
    const auto blueness = [&cut](size_t pixel) {
        return at(cut, 3 * pixel + 2) - at(cut, 3 * pixel);
    };
    EXPECT_LT(blueness(33), 0);
    EXPECT_EQ(blueness(39), 0);
    EXPECT_GT(blueness(40), 0);
    EXPECT_GT(blueness(kLuma - 1), 0);
    setImage(changed, 1);

    const std::string parts = " --ignore total_gain --ignore KELV_TAG_GAMMA_CURVE --ignore ";
    EXPECT_EQ(run("diff b a --tolerance 9" + parts + "KELV_TAG_WB_GAINS"), 3);
    EXPECT_NE(out_.find("1 pixel"), std::string::npos) << out_;
    EXPECT_EQ(run("diff b a --tolerance 10" + parts + "KELV_TAG_WB_GAINS"), 0) << out_;
    EXPECT_EQ(run("diff b a --ignore image" + parts + "KELV_TAG_WB_GAINS"), 0) << out_;
    EXPECT_EQ(run("diff b a --ignore nonsense"), 2);

    fs::remove_all(images_[0].parent_path());
    EXPECT_EQ(run("diff b a --frames 1 --match order"), 3);
    EXPECT_NE(out_.find("request 1: A task 1 frame 1, B task 1 frame 1"), std::string::npos);
    EXPECT_EQ(run("diff b a --ignore image" + parts + "KELV_TAG_WB_GAINS"), 3);
    EXPECT_NE(out_.find("1 frame is only in A"), std::string::npos) << out_;
}

}  // namespace
