// Runs tyksim like a user. Each row of a table is a test.
#include "tests/support/Lease.h"
#include "tests/tool/ToolRun.h"

#include <gtest/gtest.h>

#include <memory>

namespace tooltest {

/// gtest needs only a name, because a failure shows the script.
static void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

namespace {

/// The rows of a table share a folder, which is restored for each.
class Tool : public testing::TestWithParam<Row> {
protected:
    static void SetUpTestSuite() { folder_ = std::make_unique<ToolFolder>(); }
    static void TearDownTestSuite() { folder_.reset(); }

    static std::unique_ptr<ToolFolder> folder_;
};
std::unique_ptr<ToolFolder> Tool::folder_;

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TYK_THREAD_SANITIZER
#endif
#endif

#ifdef TYK_THREAD_SANITIZER
constexpr bool kThreadSanitizer = true;
#else
constexpr bool kThreadSanitizer = false;
#endif

TEST_P(Tool, Row) {
    if (kThreadSanitizer && GetParam().script.find("LD_PRELOAD") != std::string::npos) {
        GTEST_SKIP() << "ThreadSanitizer replaces the functions that the row replaces";
    }
    folder_->run(GetParam());
}

std::string nameOf(const testing::TestParamInfo<Row>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(CommandLine, Tool, testing::ValuesIn(commandLineRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(CommandLineSuggestions, Tool, testing::ValuesIn(suggestionRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Record, Tool, testing::ValuesIn(recordRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(RecordRefuses, Tool, testing::ValuesIn(recordRefusesRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(RecordRoots, Tool, testing::ValuesIn(recordRootsRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Replay, Tool, testing::ValuesIn(replayRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(ReplayDamage, Tool, testing::ValuesIn(replayDamageRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(ReplayFaults, Tool, testing::ValuesIn(replayFaultRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Copy, Tool, testing::ValuesIn(copyRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(CopySet, Tool, testing::ValuesIn(copySetRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Value, Tool, testing::ValuesIn(valueRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Output, Tool, testing::ValuesIn(outputRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Info, Tool, testing::ValuesIn(infoRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Show, Tool, testing::ValuesIn(showRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Track, Tool, testing::ValuesIn(trackRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Diff, Tool, testing::ValuesIn(diffRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Selection, Tool, testing::ValuesIn(selectionRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Processor, Tool, testing::ValuesIn(processorRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(ProcessorEnds, Tool, testing::ValuesIn(processorEndRows()), nameOf);
INSTANTIATE_TEST_SUITE_P(Tags, Tool, testing::ValuesIn(tagsRows()), nameOf);

/// A row, and the file on which this process holds a lease meanwhile.
class LeasedInput : public testing::TestWithParam<std::pair<const char*, Row>> {};

TEST_P(LeasedInput, IsWaitedFor) {
    const auto& [name, row] = GetParam();
    const ToolFolder folder;
    writeAll(folder.path() / "base/values", "frame,total_gain\n1,5\n");
    const Lease lease(folder.path() / name);
    if (!lease.isHeld()) GTEST_SKIP() << "no leases on this disk";
    folder.run(row);
}

INSTANTIATE_TEST_SUITE_P(
    Tool, LeasedInput,
    testing::Values(std::pair("base/tags.xml", Row{"TagTable", "tyksim info base"}),
                    std::pair("base/values", Row{"Values", "tyksim record p --values base/values"}),
                    std::pair("base/values", Row{"Library",
                                                 "fails 1 tyksim tags types --elf base/values",
                                                 {"a file of another kind"}})),
    [](const auto& each) { return each.param.second.name; });

}  // namespace
}  // namespace tooltest
