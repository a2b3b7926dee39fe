// Tests that photographs of every chroma subsampling become NV21.
#include "tests/tool/Photographs.h"
#include "tests/tool/ToolRun.h"

#include <gtest/gtest.h>

namespace tooltest {
namespace {

class Subsampling : public testing::TestWithParam<std::pair<const char*, int>> {};

TEST_P(Subsampling, BecomesNv21) {
    const int subsampling = GetParam().second;
    const ToolFolder folder;
    writeAll(folder.path() / "good.jpg", redJpeg(33, 18, subsampling));
    folder.run({"Record", "tyksim record p good.jpg; cp p/data/*/*/*/*/*/*/FCWH_1_0_33_18* image"});
    const std::string image = readAll(folder.path() / "image");
    ASSERT_EQ(image.size(), 891U);
    const size_t luma = size_t{33} * 18;
    const bool gray = subsampling == TJSAMP_GRAY;
    for (size_t i = 0; i < image.size(); ++i) {
        const int chroma = gray ? 128 : (i - luma) % 2 == 0 ? 255 : 85;
        ASSERT_NEAR(static_cast<unsigned char>(image[i]), i < luma ? 76 : chroma, 2)
            << "byte " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Photograph, Subsampling,
    testing::Values(std::pair("Yuv420", TJSAMP_420), std::pair("Yuv422", TJSAMP_422),
                    std::pair("Yuv444", TJSAMP_444), std::pair("Yuv440", TJSAMP_440),
                    std::pair("Yuv411", TJSAMP_411), std::pair("Gray", TJSAMP_GRAY)),
    [](const auto& each) { return each.param.first; });

}  // namespace
}  // namespace tooltest
