// Tests that work on several threads gives the same results as work on one.
#include "tree/read/OrderedWork.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

using tyktree::forEachInOrder;

namespace {

constexpr size_t kItems = 500;

/// Keeps a thread busy for a time that depends on the item.
void spin(size_t index) {
    std::atomic<size_t> turns{index * 7919 % 2000};
    while (turns > 0) --turns;
}

/// The parameter is the number of threads, which may exceed the number of items.
class OrderedWorkTest : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Threads, OrderedWorkTest, testing::Values(0, 1, 2, 3, 8, 1000),
                         testing::PrintToStringParamName());

TEST_P(OrderedWorkTest, TakesEachResultOnceAndInOrder) {
    size_t taken = 0;
    std::atomic<size_t> worked{0};
    struct State {
        size_t busy = 0;
    };
    const bool complete = forEachInOrder<size_t>(
        kItems, {GetParam(), {}}, [&] { return State(); },
        [&](State& state, size_t& result, size_t index) {
            ASSERT_EQ(++state.busy, 1U) << "two threads share a state";
            spin(index);
            result = index * index;
            ++worked;
            --state.busy;
        },
        [&](size_t& result, size_t index) {
            EXPECT_EQ(index, taken++);
            EXPECT_EQ(result, index * index);
            const auto threads = static_cast<size_t>(std::max(GetParam(), 1));
            EXPECT_LE(worked, taken + 2 * threads) << "results pile up";
        });
    EXPECT_TRUE(complete);
    EXPECT_EQ(taken, kItems);
}

TEST_P(OrderedWorkTest, RethrowsAnExceptionAfterTheResultsBeforeIt) {
    constexpr size_t kFails = 40;
    size_t taken = 0;
    const auto run = [&] {
        forEachInOrder<int>(
            kItems, {GetParam(), {}},
            [](int& /*result*/, size_t index) {
                if (index >= kFails) throw std::runtime_error(std::to_string(index));
                spin(index);
            },
            [&](int& /*result*/, size_t /*index*/) { ++taken; });
    };
    try {
        run();
        ADD_FAILURE() << "expected an exception";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), std::to_string(kFails));
    }
    EXPECT_EQ(taken, kFails);
}

TEST_P(OrderedWorkTest, StopsWhenInterruptedOrWhenTakingThrows) {
    size_t taken = 0;
    const auto work = [](int& /*result*/, size_t index) { spin(index); };
    const tyktree::Execution execution{GetParam(), [&] { return taken == 7; }};
    EXPECT_FALSE(forEachInOrder<int>(kItems, execution, work, [&](int&, size_t) { ++taken; }));
    EXPECT_EQ(taken, 7U);
    const auto takeAndThrow = [](int&, size_t index) {
        if (index == 7) throw std::runtime_error("full");
    };
    EXPECT_THROW(forEachInOrder<int>(kItems, {GetParam(), {}}, work, takeAndThrow),
                 std::runtime_error);
    EXPECT_TRUE(forEachInOrder<int>(0, execution, work, takeAndThrow));
}

}  // namespace
