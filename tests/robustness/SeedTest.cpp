// Runs every fuzz target on its corpus, in every build that has tests.
#include "fuzz/Target.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class SeedTest : public testing::TestWithParam<fuzz::Target> {};

TEST_P(SeedTest, FollowsTheRules) {
    alarm(300);  // a hang ends the test
    const fs::path folder = fs::path(TYK_FUZZ_FOLDER) / "corpus" / GetParam().name;
    const std::set<fs::path> seeds(fs::directory_iterator(folder), {});
    EXPECT_GE(seeds.size(), 15U);
    for (const fs::path& seed : seeds) {
        std::printf("%s\n", seed.c_str());  // the last line before a crash names its input
        std::fflush(stdout);
        std::ifstream file(seed, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        GetParam().run(bytes);
    }
    GetParam().finish();
}
INSTANTIATE_TEST_SUITE_P(Of, SeedTest, testing::ValuesIn(fuzz::targets()),
                         [](const auto& target) { return target.param.name; });

}  // namespace
