#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "nbiutil/nbitask.h"
#include "support/lockfailure.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

TEST(DBAgentTest, AgentKeepsNameAndMaximum)
{
    const std::string name("na\0me", 5);
    const DBAgent agent(name, 3);
    EXPECT_EQ(agent.GetAgentName(), name);
    EXPECT_EQ(agent.GetHugeTaskMaxnum(), 3);
    static_assert(std::is_same_v<decltype(agent.GetAgentName()), const std::string&>);
    static_assert(std::is_same_v<decltype(agent.GetHugeTaskMaxnum()), const int&>);
}

TEST(DBAgentTest, CountGoesUpToTheMaximum)
{
    DBAgent agent("a", 2);
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_FALSE(agent.IncreaseHugeTask());
    EXPECT_TRUE(agent.DecreaseHugeTask());
    EXPECT_TRUE(agent.IncreaseHugeTask()) << "a refused increase has counted nothing";
    EXPECT_FALSE(agent.IncreaseHugeTask());
}

TEST(DBAgentTest, CountDoesNotGoBelowZero)
{
    DBAgent agent("a", 1);
    EXPECT_FALSE(agent.DecreaseHugeTask());
    EXPECT_FALSE(agent.DecreaseHugeTask());
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_FALSE(agent.IncreaseHugeTask()) << "a refused decrease has counted nothing";
}

TEST(DBAgentTest, MaximumOfZeroOrLessLetsNothingIn)
{
    for (const int nMax : {0, -1, -2147483647 - 1}) {
        DBAgent agent("a", nMax);
        EXPECT_FALSE(agent.IncreaseHugeTask());
        EXPECT_FALSE(agent.DecreaseHugeTask());
        EXPECT_EQ(agent.GetHugeTaskMaxnum(), nMax);
    }
}

TEST(DBAgentTest, CountGoesOnWhenTheLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    DBAgent agent("a", 1);
    const FailingLocks failing(LockKind::MUTEX, 4);
    EXPECT_TRUE(agent.IncreaseHugeTask());
    EXPECT_FALSE(agent.IncreaseHugeTask());
    EXPECT_TRUE(agent.DecreaseHugeTask());
    EXPECT_FALSE(agent.DecreaseHugeTask());
    EXPECT_EQ(failing.Left(), 0);
}

TEST(DBAgentTest, EightThreadsNeverExceedTheMaximum)
{
    constexpr int THREADS = 8;
    constexpr int MAX = 1000;
    DBAgent agent("a", MAX);
    std::atomic<int> nIncreased{0};
    std::atomic<int> nDecreased{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < MAX; ++j) nIncreased += agent.IncreaseHugeTask() ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(nIncreased, MAX);
    threads.clear();
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < MAX; ++j) nDecreased += agent.DecreaseHugeTask() ? 1 : 0;
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(nDecreased, MAX);
    EXPECT_FALSE(agent.DecreaseHugeTask());
}

}  // namespace
}  // namespace NS_UTIL
