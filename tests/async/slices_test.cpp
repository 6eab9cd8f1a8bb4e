#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <thread>

#include "async/asynctesting.h"
#include "support/eventually.h"
#include "support/fastclock.h"

namespace NS_UTIL {
namespace {

using nbitest::Eventually;
using nbitest::FastClock;
using nbitest::Gate;
using nbitest::TestAgent;
using std::chrono::seconds;

using SlicesTest = nbitest::AsyncTest;

TEST_F(SlicesTest, WaitForLooksAtTheFrameworkBeforeEachSliceOfTenSeconds)
{
    const Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] {});
    const FastClock clock;
    const std::size_t nBefore = m_Host.StateQueries();
    EXPECT_FALSE(future.WaitFor(seconds(25)));
    EXPECT_EQ(m_Host.StateQueries() - nBefore, 4u) << "at 0, 10, 20 and 25 seconds";
    const auto lengths = clock.Lengths();
    ASSERT_EQ(lengths.size(), 3u);
    EXPECT_LE(lengths[0], seconds(10));
    EXPECT_LE(lengths[1], seconds(10));
    EXPECT_LE(lengths[2], seconds(5));
}

TEST_F(SlicesTest, AStopThatNobodySignalsIsSeenAtTheNextLook)
{
    Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] {});
    const FastClock clock;
    std::thread stopper([this, &clock] {
        EXPECT_TRUE(Eventually([&clock] { return clock.Lengths().size() >= 2; }));
        m_Host.SetState(2);
    });
    EXPECT_TRUE(future.WaitFor(std::chrono::hours::max()));
    stopper.join();
    EXPECT_EQ(nbitest::FailureOf(future).m_nCode, ErrCode::TASK_CANCELLED);
}

TEST_F(SlicesTest, AnAnswerEndsTheSlice)
{
    Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] { return 7; });
    const FastClock clock;
    std::thread opener([&gate, &clock] {
        EXPECT_TRUE(Eventually([&clock] { return !clock.Lengths().empty(); }));
        gate.Open();
    });
    EXPECT_TRUE(future.WaitFor(std::chrono::hours::max()));
    EXPECT_EQ(future.Get(), 7);
    opener.join();
}

}  // namespace
}  // namespace NS_UTIL
