#include "task/yieldgate.h"

#include <gtest/gtest.h>
#include <sched.h>

#include "nbihost/recordinghost.h"
#include "nbiutil/ad.h"
#include "nbiutil/processexception.h"
#include "support/sleeper.h"
#include "support/yields.h"
#include "task/worktokens.h"

namespace NS_UTIL {
namespace {

using nbitest::FakeYields;
using nbitest::RecordingHost;
using nbitest::Sleeper;

constexpr std::int64_t QUICK = 500;
constexpr std::int64_t SLOW = Yields::SLOW + 1;

/// Lets the calling thread run on one core alone.
class OneCore {
public:
    OneCore()
    {
        sched_getaffinity(0, sizeof m_Before, &m_Before);
        int nCore = 0;
        while (!CPU_ISSET(nCore, &m_Before)) ++nCore;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(nCore, &one);
        EXPECT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
    }
    ~OneCore() { sched_setaffinity(0, sizeof m_Before, &m_Before); }
    OneCore(const OneCore&) = delete;
    OneCore& operator=(const OneCore&) = delete;

private:
    cpu_set_t m_Before;
};

class YieldGateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        cpu_set_t cores;
        ASSERT_EQ(sched_getaffinity(0, sizeof cores, &cores), 0);
        if (CPU_COUNT(&cores) == 1) GTEST_SKIP() << "one core: nothing ever yields";
    }

    /// How long the gate stays closed, as far as millisecond steps tell.
    std::int64_t PauseOf(YieldGate& gate)
    {
        std::int64_t nPause = 0;
        for (; !gate.IsOpen() && nPause < 20'000; ++nPause) m_Yields.Pass(1'000'000);
        return nPause;
    }

    FakeYields m_Yields{QUICK};
    YieldGate m_Gate;
};

TEST_F(YieldGateTest, QuickYieldsEndWithTheirNumber)
{
    Yields yields(m_Gate);
    while (yields.Next()) {
    }
    EXPECT_EQ(m_Yields.Count(), Yields::MOST);
    EXPECT_FALSE(yields.WereSlow());
    EXPECT_TRUE(m_Gate.IsOpen());
}

TEST_F(YieldGateTest, SlowYieldIsTheLast)
{
    Yields yields(m_Gate);
    EXPECT_TRUE(yields.Next());
    m_Yields.Take(SLOW);
    EXPECT_TRUE(yields.Next());
    EXPECT_TRUE(yields.WereSlow());
    EXPECT_FALSE(yields.Next());
    EXPECT_EQ(m_Yields.Count(), 2);
}

TEST_F(YieldGateTest, YieldOfMoreThanFiftyMicrosecondsIsSlow)
{
    Yields yields(m_Gate);
    m_Yields.Take(50'000);
    EXPECT_TRUE(yields.Next());
    EXPECT_FALSE(yields.WereSlow());
    m_Yields.Take(50'001);
    EXPECT_TRUE(yields.Next());
    EXPECT_TRUE(yields.WereSlow());
}

TEST_F(YieldGateTest, NobodyYieldsWhileItIsClosed)
{
    EXPECT_TRUE(m_Gate.IsOpen());
    m_Gate.Close();
    Yields yields(m_Gate);
    EXPECT_FALSE(yields.Next());
    EXPECT_EQ(m_Yields.Count(), 0);
}

TEST_F(YieldGateTest, PausesGrowUntilTheyAreTheLongest)
{
    for (const std::int64_t nMilliseconds : {1, 16, 256, 4096, 10'000, 10'000}) {
        EXPECT_TRUE(m_Gate.IsOpen());
        m_Gate.Close();
        EXPECT_EQ(PauseOf(m_Gate), nMilliseconds);
    }
}

TEST_F(YieldGateTest, OneThatWasOpenForLongBeginsWithTheShortestPause)
{
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(m_Gate.IsOpen());
        m_Gate.Close();
        PauseOf(m_Gate);
    }
    m_Yields.Pass(YieldGate::PAUSES_TO_RECOVER * 16'000'000LL - 1);
    m_Gate.Close();
    EXPECT_EQ(PauseOf(m_Gate), 256);
    m_Yields.Pass(YieldGate::PAUSES_TO_RECOVER * 256'000'000LL);
    m_Gate.Close();
    EXPECT_EQ(PauseOf(m_Gate), 1);
}

TEST_F(YieldGateTest, ClosingAClosedOneChangesNothing)
{
    EXPECT_TRUE(m_Gate.IsOpen());
    for (int i = 0; i < 5; ++i) m_Gate.Close();
    EXPECT_EQ(PauseOf(m_Gate), 1);
}

TEST_F(YieldGateTest, ThreadWithOneCoreDoesNotYield)
{
    const OneCore oneCore;
    YieldGate gate;
    EXPECT_FALSE(gate.IsOpen());
    EXPECT_FALSE(Yields(gate).Next());
}

TEST_F(YieldGateTest, CoresAreCountedAgainAfterAPause)
{
    YieldGate gate;
    {
        const OneCore oneCore;
        EXPECT_FALSE(gate.IsOpen());
    }
    EXPECT_EQ(PauseOf(gate), 10'000);
}

/// What waiters and workers make of slow yields. Their gate is the process's: each test is a process.
class SlowYieldTest : public YieldGateTest {
protected:
    static void WaitForFinished()
    {
        AD ad;
        ad.Awake();
        ad.Wait();
    }
    /// A wait whose answer comes with the first yield, if there is one, or with the sleep.
    void WaitForPending()
    {
        AD ad;
        m_Yields.Do([&ad] { ad.Awake(); });
        m_Host.SetState(2);  // so that a waiter that would sleep comes back at once
        try {
            ad.Wait();
        } catch (ProcessException&) {
        }
        m_Yields.Do({});
    }
    int YieldsOfAWait()
    {
        const int nBefore = m_Yields.Count();
        WaitForPending();
        return m_Yields.Count() - nBefore;
    }
    int YieldsWithoutAnAnswer()
    {
        const int nBefore = m_Yields.Count();
        AD ad;
        m_Host.SetState(2);
        EXPECT_THROW(ad.Wait(), ProcessException);
        return m_Yields.Count() - nBefore;
    }
    /// Of one that looks for work twice while \p nTokens come with each of its yields, and one when it sleeps.
    static int YieldsOfAWorker(int nTokens, std::int64_t nNanosecondsEach)
    {
        WorkTokens tokens;
        int nYields = 0;
        Sleeper taker([&] {
            FakeYields yields(nNanosecondsEach);
            yields.Do([&] {
                for (int i = 0; i < nTokens; ++i) tokens.Post();
            });
            tokens.Take();
            while (tokens.TryTake()) {
            }
            tokens.Take();
            nYields = yields.Count();
        });
        tokens.Post();
        taker.Join();
        return nYields;
    }

    RecordingHost m_Host;
};

TEST_F(SlowYieldTest, WaiterYieldsBeforeItSleeps)
{
    EXPECT_EQ(YieldsOfAWait(), 1);
    EXPECT_EQ(YieldsOfAWait(), 1);
}

TEST_F(SlowYieldTest, AnswerThatComesWithAYieldCountsWhateverTheFrameworkDoes)
{
    AD ad;
    m_Yields.Do([&ad] { ad.Awake(); });
    m_Host.SetState(2);
    EXPECT_NO_THROW(ad.Wait());
    m_Yields.Do({});
    EXPECT_EQ(m_Host.StateQueries(), 0U);
}

TEST_F(SlowYieldTest, WaiterThatWaitsAgainAfterASlowYieldSleepsAtOnce)
{
    m_Yields.Take(SLOW);
    EXPECT_EQ(YieldsOfAWait(), 1);
    EXPECT_EQ(YieldsOfAWait(), 0);
    m_Yields.Take(QUICK);
    EXPECT_EQ(YieldsOfAWait(), 0) << "for a time";
    m_Yields.Pass(YieldGate::SHORTEST_PAUSE);
    EXPECT_EQ(YieldsOfAWait(), 1);
}

TEST_F(SlowYieldTest, WaiterWhoseNextAnswersAreThereGoesOnYielding)
{
    m_Yields.Take(SLOW);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(YieldsOfAWait(), 1);
        for (int nAnswers = 0; nAnswers < 3; ++nAnswers) WaitForFinished();
    }
}

TEST_F(SlowYieldTest, WaiterWhoFindsFewAnswersSleepsAtOnce)
{
    m_Yields.Take(SLOW);
    EXPECT_EQ(YieldsOfAWait(), 1);
    for (int nAnswers = 0; nAnswers < 2; ++nAnswers) WaitForFinished();
    EXPECT_EQ(YieldsOfAWait(), 0);
}

TEST_F(SlowYieldTest, WhatAWorkerFindsHoldsForWaitersToo)
{
    m_Yields.Take(0);  // time stands still while this thread waits for the other
    EXPECT_EQ(YieldsOfAWorker(1, SLOW), 1);
    EXPECT_EQ(YieldsOfAWait(), 0);
}

TEST_F(SlowYieldTest, SlowYieldWithoutAnAnswerKeptNobodyFromOne)
{
    m_Yields.Take(SLOW);
    EXPECT_EQ(YieldsWithoutAnAnswer(), 1);
    EXPECT_EQ(YieldsWithoutAnAnswer(), 1);
}

TEST_F(SlowYieldTest, WorkerWhoseTokenCameDuringASlowYieldSleepsAtOnceTheNextTime)
{
    EXPECT_EQ(YieldsOfAWorker(1, SLOW), 1);
}

TEST_F(SlowYieldTest, WorkerWhoGotFewTokensForTheTimeSleepsAtOnceTheNextTime)
{
    EXPECT_EQ(YieldsOfAWorker(60, 60 * Yields::SLOW), 1);
}

TEST_F(SlowYieldTest, WorkerWhoGotManyTokensFromASlowYieldGoesOnYielding)
{
    EXPECT_EQ(YieldsOfAWorker(61, 60 * Yields::SLOW), 2);
}

}  // namespace
}  // namespace NS_UTIL
