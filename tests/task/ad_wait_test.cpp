#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "nbiutil/ad.h"
#include "support/condwaits.h"
#include "support/lockfailure.h"
#include "support/tasks.h"
#include "task/adtesting.h"

namespace NS_UTIL {
namespace {

using ADWaitTest = nbitest::ADTest;
using nbitest::CanFailLocks;
using nbitest::Eventually;
using nbitest::FailingLocks;
using nbitest::LockKind;
using nbitest::NextWait;
using nbitest::NO_FAILING_LOCKS;
using nbitest::Outcome;
using nbitest::OutcomeOf;
using nbitest::OutcomeOfWait;
using nbitest::SetClock;
using nbitest::ShortSlices;
using nbitest::Sleeper;
using nbitest::STOPPING;

TEST_F(ADWaitTest, WaitToCompleteReturnsWhenWoken)
{
    AD ad;
    std::thread waker([mine = ad]() mutable { mine.Awake(); });
    while (!ad.IsFinished()) ad.WaitToComplete();
    waker.join();
}

TEST_F(ADWaitTest, WaitToCompleteRaisesNothingWhateverTheCode)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.Awake();
    EXPECT_NO_THROW(ad.WaitToComplete());
}

TEST_F(ADWaitTest, WaitToCompleteReturnsAfterTheFirstWakeUpWhateverWokeIt)
{
    AD ad;
    const NextWait wait([] {});
    ad.WaitToComplete();
    EXPECT_TRUE(wait.IsOver());
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADWaitTest, WaitToCompleteDoesNotLookAtTheFramework)
{
    AD ad;
    m_Host.SetState(STOPPING);
    const NextWait wait([] {});
    ad.WaitToComplete();
    EXPECT_TRUE(wait.IsOver()) << "it does wait";
    EXPECT_EQ(m_Host.StateQueries(), 0u);
}

TEST_F(ADWaitTest, WaitToCompleteHasNoTimeLimit)
{
    AD ad;
    const ShortSlices slices;
    std::atomic<bool> bBack{false};
    std::thread waiter([&ad, &bBack] {
        ad.WaitToComplete();
        bBack = true;
    });
    AD other;
    std::thread sliced([&other] { other.Wait(); });
    EXPECT_TRUE(Eventually([&slices] { return slices.Count() >= 5; })) << "time for a limit to pass";
    EXPECT_FALSE(bBack);
    ad.Awake();
    other.Awake();
    waiter.join();
    sliced.join();
}

TEST_F(ADWaitTest, WaitToCompleteProceedsWhenTheLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    AD ad;
    const NextWait wait([] {});
    const FailingLocks failing(LockKind::MUTEX);
    ad.WaitToComplete();
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_TRUE(wait.IsOver());
}

// Wait

TEST_F(ADWaitTest, WaitOnAFinishedSuccessReturnsWithoutAskingTheFramework)
{
    AD ad;
    ad.Awake();
    m_Host.SetState(STOPPING);
    EXPECT_NO_THROW(ad.Wait());
    EXPECT_EQ(m_Host.StateQueries(), 0u);
    EXPECT_EQ(StoredCode(ad), 0u);
}

TEST_F(ADWaitTest, WaitOnAFinishedFailureRaisesWhatWasRecorded)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.SetErrorInfo("x");
    ad.Awake();
    for (int i = 0; i < 2; ++i) {
        const Outcome outcome = OutcomeOfWait(ad);
        EXPECT_TRUE(outcome.m_bRaised);
        EXPECT_EQ(outcome.m_nCode, 7u);
        EXPECT_EQ(outcome.m_Message, "ErrCode:7,Detail:x");
    }
}

TEST_F(ADWaitTest, FailureWithoutATextEndsInDetail)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.Awake();
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:7,Detail:");
}

TEST_F(ADWaitTest, TextReachesTheMessageByteForByte)
{
    const std::string text("%s%n\0\n\xff,Detail:", 15);
    AD ad;
    ad.SetErrorCode(7);
    ad.SetErrorInfo(text);
    ad.Awake();
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:7,Detail:" + text);
}

TEST_F(ADWaitTest, ExceptionHasTheLow32BitsOfACodeAndItsMessageAll64)
{
    const std::vector<std::pair<unsigned long, std::string>> codes{
        {0x41180009UL, "ErrCode:1092091913,Detail:"},
        {0x100000005UL, "ErrCode:4294967301,Detail:"},
        {0xFFFFFFFFFFFFFFFFUL, "ErrCode:18446744073709551615,Detail:"}};
    for (const auto& [nCode, message] : codes) {
        AD ad;
        ad.SetErrorCode(nCode);
        ad.Awake();
        const Outcome outcome = OutcomeOfWait(ad);
        EXPECT_EQ(outcome.m_nCode, static_cast<unsigned int>(nCode));
        EXPECT_EQ(outcome.m_Message, message);
        EXPECT_EQ(StoredCode(ad), nCode);
    }
}

TEST_F(ADWaitTest, CodeWhoseLow32BitsAreZeroIsAFailure)
{
    AD ad;
    ad.SetErrorCode(0x100000000UL);
    ad.Awake();
    const Outcome outcome = OutcomeOfWait(ad);
    EXPECT_TRUE(outcome.m_bRaised);
    EXPECT_EQ(outcome.m_nCode, 0u);
    EXPECT_EQ(outcome.m_Message, "ErrCode:4294967296,Detail:");
}

TEST_F(ADWaitTest, WaitReturnsWhenAnotherThreadFinishesTheWork)
{
    for (int i = 0; i < 200; ++i) {
        AD ad;
        std::thread worker([mine = ad]() mutable {
            mine.SetErrorCode(0);
            mine.Awake();
        });
        EXPECT_NO_THROW(ad.Wait());
        EXPECT_TRUE(ad.IsFinished());
        worker.join();
    }
}

TEST_F(ADWaitTest, WaiterSeesWhatWasRecordedBeforeTheWakeUp)
{
    for (int i = 1; i <= 200; ++i) {
        AD ad;
        std::thread worker([mine = ad, i]() mutable {
            mine.SetErrorCode(static_cast<unsigned long>(i));
            mine.SetErrorInfo("text");
            mine.Awake();
        });
        EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:" + std::to_string(i) + ",Detail:text");
        worker.join();
    }
}

/// Threads that wait on one descriptor.
class Waiters {
public:
    Waiters(AD& ad, std::size_t nCount) : m_Outcomes(nCount)
    {
        m_Threads.reserve(nCount);
        for (Outcome& outcome : m_Outcomes) {
            m_Threads.emplace_back([this, &outcome, mine = ad]() mutable {
                outcome = OutcomeOfWait(mine);
                ++m_nBack;
            });
        }
    }
    const std::vector<Outcome>& Join()
    {
        for (std::thread& thread : m_Threads) thread.join();
        return m_Outcomes;
    }
    std::size_t Back() const { return m_nBack; }

private:
    std::atomic<std::size_t> m_nBack{0};
    std::vector<Outcome> m_Outcomes;
    std::vector<std::thread> m_Threads;
};

TEST_F(ADWaitTest, AwakeWakesEveryWaiter)
{
    AD ad;
    ShortSlices slices;
    Waiters waiters(ad, 8);
    EXPECT_TRUE(Eventually([&slices] { return slices.Count() >= 16; }));
    EXPECT_EQ(waiters.Back(), 0u);
    ad.SetErrorCode(9);
    ad.Awake();
    for (const Outcome& outcome : waiters.Join()) EXPECT_EQ(outcome.m_nCode, 9u);
}

TEST_F(ADWaitTest, AwakeWakesSleepersOfBothKinds)
{
    AD ad;
    std::list<Sleeper> sleepers;
    for (int i = 0; i < 4; ++i) {
        sleepers.emplace_back([mine = ad]() mutable { mine.Wait(); });
        sleepers.emplace_back([mine = ad]() mutable { mine.WaitToComplete(); });
    }
    for (const Sleeper& sleeper : sleepers) EXPECT_FALSE(sleeper.IsDone());
    ad.Awake();
    for (Sleeper& sleeper : sleepers) sleeper.Join();
}

TEST_F(ADWaitTest, WaiterLooksAtTheFrameworkBeforeEachSliceOfTenSeconds)
{
    AD ad;
    const ShortSlices slices;
    Waiters waiters(ad, 1);
    EXPECT_TRUE(Eventually([&slices] { return slices.Count() >= 5; }));
    EXPECT_GE(m_Host.StateQueries(), 5u);
    EXPECT_EQ(waiters.Back(), 0u) << "it never gives up while the framework runs";
    ad.Awake();
    EXPECT_FALSE(waiters.Join()[0].m_bRaised);
    for (const std::int64_t nLength : slices.Lengths()) EXPECT_EQ(nLength, 10000000000);
}

/// Ten seconds are real time: after a step back of the clock a waiter would look at the framework an hour late.
TEST_F(ADWaitTest, SlicesDoNotFollowTheTimeOfDay)
{
    for (const int nSeconds : {-3600, 3600}) {
        AD ad;
        const SetClock clock(nSeconds);
        const ShortSlices slices;
        Waiters waiters(ad, 1);
        EXPECT_TRUE(Eventually([&slices] { return slices.Count() >= 3; }));
        ad.Awake();
        waiters.Join();
        for (const std::int64_t nLength : slices.Lengths()) EXPECT_EQ(nLength, 10000000000) << nSeconds;
        EXPECT_TRUE(slices.AllSlept()) << nSeconds;
    }
}

TEST_F(ADWaitTest, FinishAtTheVeryEndOfASliceEndsTheWait)
{
    AD ad;
    const NextWait slice(
        [&ad] {
            ad.SetErrorCode(4);
            ad.Awake();
        },
        ETIMEDOUT);
    const ShortSlices slices;
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 4u);
    EXPECT_TRUE(slice.IsOver());
    EXPECT_EQ(slices.Count(), 0u) << "there is no second slice";
}

TEST_F(ADWaitTest, OtherAnswersOfTheFrameworkDoNotEndAWait)
{
    for (const int nState : {-2, 1, 3, 258}) {
        AD ad;
        m_Host.SetState(nState);
        const ShortSlices slices;
        Waiters waiters(ad, 1);
        EXPECT_TRUE(Eventually([&slices] { return slices.Count() >= 2; }));
        EXPECT_EQ(waiters.Back(), 0u) << nState;
        ad.Awake();
        EXPECT_FALSE(waiters.Join()[0].m_bRaised) << nState;
    }
}

TEST_F(ADWaitTest, StoppingFrameworkEndsTheWaitOfManyWithCodeOne)
{
    AD ad;
    ad.SetErrorInfo("so far");
    const ShortSlices slices;
    Waiters waiters(ad, 8);
    EXPECT_TRUE(Eventually([&slices] { return slices.Count() >= 8; }));
    m_Host.SetState(STOPPING);
    for (const Outcome& outcome : waiters.Join()) {
        EXPECT_TRUE(outcome.m_bRaised);
        EXPECT_EQ(outcome.m_nCode, 1u);
        EXPECT_EQ(outcome.m_Message, "ErrCode:1,Detail:so far");
    }
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADWaitTest, StoppingFrameworkEndsAWaitBeforeItBegins)
{
    AD ad;
    ad.SetErrorCode(9);
    m_Host.SetState(STOPPING);
    const NextWait wait([] {});
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 1u) << "whatever the code was";
    EXPECT_FALSE(wait.IsOver());
    EXPECT_EQ(StoredCode(ad), 1u);
}

TEST_F(ADWaitTest, WorkThatEndsAfterTheStopStillRecordsItsOutcome)
{
    AD ad;
    m_Host.SetState(STOPPING);
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 1u);
    ad.SetErrorCode(0);
    ad.Awake();
    EXPECT_NO_THROW(ad.Wait());
}

TEST_F(ADWaitTest, WaitReturnsAfterAWakeUpThoughNothingIsFinished)
{
    AD ad;
    const NextWait wait([] {});
    EXPECT_NO_THROW(ad.Wait());
    EXPECT_TRUE(wait.IsOver());
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADWaitTest, WakeUpWithACodeRaisesIt)
{
    AD ad;
    const NextWait wait([&ad] { ad.SetErrorCode(8); });
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 8u);
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADWaitTest, FrameworkThatStopsDuringTheWaitGivesCodeOneToFinishedWork)
{
    AD ad;
    const NextWait wait([this, &ad] {
        ad.SetErrorCode(8);
        ad.Awake();
        m_Host.SetState(STOPPING);
    });
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 1u);
    EXPECT_TRUE(ad.IsFinished());
    EXPECT_EQ(StoredCode(ad), 1u) << "the finished state does not protect the code from this";
}

TEST_F(ADWaitTest, WorkFoundFinishedUnderTheLockMeetsTheStoppingFramework)
{
    AD ad;
    m_Host.SetState(STOPPING);
    std::optional<Sleeper> late;
    Outcome outcome;
    {
        // In place of this wait, and so with the descriptor's lock held: another thread finds the work
        // pending, comes to the lock, and gets it when the work is finished.
        const NextWait wait([&] {
            late.emplace([&outcome, mine = ad]() mutable { outcome = OutcomeOfWait(mine); });
            EXPECT_FALSE(late->IsDone());
            ad.Awake();
        });
        ad.WaitToComplete();
    }
    late->Join();
    EXPECT_TRUE(outcome.m_bRaised);
    EXPECT_EQ(outcome.m_nCode, 1u);
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 1u);
}

TEST_F(ADWaitTest, WaitProceedsWhenTheLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    AD ad;
    ad.SetErrorCode(4);
    const NextWait wait([] {});
    const FailingLocks failing(LockKind::MUTEX, 2);
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 4u);
    EXPECT_TRUE(wait.IsOver());
    EXPECT_EQ(failing.Left(), 0);
}

// GetErrorCode

TEST_F(ADWaitTest, CodeOfAFinishedSuccessIsZero)
{
    AD ad;
    ad.Awake();
    EXPECT_EQ(ad.GetErrorCode(), 0u);
}

TEST_F(ADWaitTest, CodeOfAFinishedFailureIsRaisedWhileTheFrameworkRuns)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.Awake();
    const Outcome outcome = OutcomeOf([&ad] { ad.GetErrorCode(); });
    EXPECT_TRUE(outcome.m_bRaised);
    EXPECT_EQ(outcome.m_nCode, 7u);
}

TEST_F(ADWaitTest, CodeIsWaitedForWhileTheFrameworkRuns)
{
    AD ad;
    const NextWait wait([&ad] { ad.Awake(); });
    EXPECT_EQ(ad.GetErrorCode(), 0u);
    EXPECT_TRUE(wait.IsOver());
}

TEST_F(ADWaitTest, StoppingFrameworkGivesTheStoredCodeAtOnce)
{
    AD ad;
    ad.SetErrorCode(0x100000007UL);
    m_Host.SetState(STOPPING);
    const NextWait wait([] {});
    EXPECT_EQ(ad.GetErrorCode(), 0x100000007UL);
    EXPECT_FALSE(wait.IsOver());
    EXPECT_FALSE(ad.IsFinished());
    ad.Awake();
    EXPECT_EQ(ad.GetErrorCode(), 0x100000007UL) << "finished, and not raised";
}

}  // namespace
}  // namespace NS_UTIL
