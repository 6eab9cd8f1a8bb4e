#include "nbiutil/ad.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "nbiutil/processexception.h"
#include "support/condwaits.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"
#include "support/recordinghost.h"
#include "support/tasks.h"
#include "support/vtable.h"
#include "task/ad_impl.h"

namespace NS_UTIL {
namespace {

using nbitest::CanFailLocks;
using nbitest::DeleteCounter;
using nbitest::ExpectDestructorAt;
using nbitest::FailingLocks;
using nbitest::LiveAllocations;
using nbitest::LockKind;
using nbitest::NextWait;
using nbitest::NO_FAILING_LOCKS;
using nbitest::RecordingHost;
using nbitest::ShortSlices;
using nbitest::Sleeper;
using nbitest::SlotOf;
using nbitest::WaitUntil;

constexpr int RUNNING = 0;
constexpr int STOPPING = 2;

/// What a ProcessException from waiting says; empty when nothing was raised.
struct Outcome {
    bool m_bRaised = false;
    unsigned int m_nCode = 0;
    std::string m_Message;
};

template <class Call>
Outcome OutcomeOf(Call call)
{
    Outcome outcome;
    try {
        call();
    } catch (ProcessException& failure) {
        outcome = {true, failure.GetErrorCode(), failure.MessageStream().str()};
        EXPECT_EQ(failure.FileStream().str(), "ad");
        EXPECT_EQ(failure.FunctionStream().str(), "unknown");
        EXPECT_EQ(failure.GetLine(), 84);
        EXPECT_EQ(failure.ErrorInfoStream().str(), "");
    }
    return outcome;
}

Outcome OutcomeOfWait(AD& ad)
{
    return OutcomeOf([&ad] { ad.Wait(); });
}

class CountingFunctor : public Functor {
public:
    explicit CountingFunctor(std::vector<int>& calls, int nName) : m_Calls(calls), m_nName(nName) {}
    void operator()() override { m_Calls.push_back(m_nName); }

private:
    std::vector<int>& m_Calls;
    int m_nName;
};

class ADTest : public ::testing::Test {
protected:
    /// The stored code, which only a stopping framework gives without a wait.
    unsigned long StoredCode(AD& ad)
    {
        m_Host.SetState(STOPPING);
        const unsigned long nCode = ad.GetErrorCode();
        m_Host.SetState(RUNNING);
        return nCode;
    }

    RecordingHost m_Host;
};

TEST(ADSlotsTest, HandleHasItsDestructorFirst)
{
    class Probe : public AD, public DeleteCounter {
    public:
        virtual void Next() {}
    };
    ExpectDestructorAt<Probe>(0);
    EXPECT_EQ(SlotOf(&AD::IsFinished), 2u);
    EXPECT_EQ(SlotOf(&AD::Awake), 3u);
    EXPECT_EQ(SlotOf(&AD::GetErrorCode), 4u);
    EXPECT_EQ(SlotOf(&AD::Wait), 5u);
    EXPECT_EQ(SlotOf(&AD::WaitToComplete), 6u);
    EXPECT_EQ(SlotOf(&AD::Bind), 7u);
    EXPECT_EQ(SlotOf(&AD::CallBack), 8u);
    EXPECT_EQ(SlotOf(&AD::SetErrorCode), 9u);
    EXPECT_EQ(SlotOf(&AD::SetErrorInfo), 10u);
    EXPECT_EQ(SlotOf(&Probe::Next), 11u) << "there are no more";
}

TEST(ADSlotsTest, SharedStateHasItsDestructorLast)
{
    class Probe : public AD_Impl, public DeleteCounter {
    public:
        virtual void Next() {}
    };
    EXPECT_EQ(SlotOf(&AD_Impl::IsFinished), 0u);
    EXPECT_EQ(SlotOf(&AD_Impl::Awake), 1u);
    EXPECT_EQ(SlotOf(&AD_Impl::GetErrorCode), 2u);
    EXPECT_EQ(SlotOf(&AD_Impl::Wait), 3u);
    EXPECT_EQ(SlotOf(&AD_Impl::WaitToComplete), 4u);
    EXPECT_EQ(SlotOf(&AD_Impl::SetErrorCode), 5u);
    EXPECT_EQ(SlotOf(&AD_Impl::SetErrorInfo), 6u);
    ExpectDestructorAt<Probe>(7);
    EXPECT_EQ(SlotOf(&Probe::Next), 9u) << "there are no more";
}

TEST(ADSlotsTest, FunctorHasItsCallOperatorFirstAndNoVirtualDestructor)
{
    class Probe : public Functor {
    public:
        void operator()() override {}
        virtual void Next() {}
    };
    static_assert(!std::has_virtual_destructor_v<Functor>);
    static_assert(std::is_abstract_v<Functor>);
    EXPECT_EQ(SlotOf(&Functor::operator()), 0u);
    EXPECT_EQ(SlotOf(&Probe::Next), 1u);
}

TEST_F(ADTest, NewDescriptorIsPendingWithCodeZero)
{
    AD ad;
    EXPECT_FALSE(ad.IsFinished());
    EXPECT_EQ(StoredCode(ad), 0u);
}

TEST_F(ADTest, AwakeFinishesForGood)
{
    AD ad;
    ad.Awake();
    EXPECT_TRUE(ad.IsFinished());
    ad.Awake();
    EXPECT_TRUE(ad.IsFinished());
}

// Copies

TEST_F(ADTest, CopiesShareOneState)
{
    AD ad;
    AD copy(ad);
    AD assigned;
    EXPECT_EQ(&(assigned = copy), &assigned);
    copy.SetErrorCode(7);
    assigned.SetErrorInfo("x");
    assigned.Awake();
    EXPECT_TRUE(ad.IsFinished());
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:7,Detail:x");
}

TEST_F(ADTest, LastHandleFreesTheState)
{
    const long nBefore = LiveAllocations();
    auto pFirst = std::make_unique<AD>();
    auto pSecond = std::make_unique<AD>(*pFirst);
    pFirst->SetErrorInfo(std::string(1000, 'x'));
    pFirst->SetErrorCode(3);
    pFirst.reset();
    EXPECT_EQ(StoredCode(*pSecond), 3u) << "one handle keeps the state alive";
    pSecond.reset();
    EXPECT_EQ(LiveAllocations(), nBefore);
}

TEST_F(ADTest, AssignmentFreesAStateThatNobodyElseShares)
{
    AD ad;
    const long nBefore = LiveAllocations();
    {
        AD other;
        other.SetErrorInfo(std::string(1000, 'x'));
        other = ad;
        EXPECT_EQ(LiveAllocations(), nBefore);
    }
    EXPECT_EQ(LiveAllocations(), nBefore);
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADTest, AssignmentLeavesAStateThatSomebodyElseShares)
{
    AD kept;
    AD handle(kept);
    kept.SetErrorCode(4);
    const AD other;
    handle = other;
    EXPECT_EQ(StoredCode(kept), 4u);
    EXPECT_EQ(StoredCode(handle), 0u);
}

TEST_F(ADTest, AssignmentToItselfChangesNothing)
{
    const long nBefore = LiveAllocations();
    {
        AD ad;
        AD& itself = ad;
        ad.SetErrorCode(5);
        for (int i = 0; i < 3; ++i) ad = itself;
        EXPECT_EQ(StoredCode(ad), 5u);
    }
    EXPECT_EQ(LiveAllocations(), nBefore) << "a count that is too high would keep the state";
}

TEST_F(ADTest, AssignmentOfAHandleOfTheSameStateChangesNothing)
{
    const long nBefore = LiveAllocations();
    {
        AD ad;
        AD other(ad);
        for (int i = 0; i < 3; ++i) other = ad;
        other.SetErrorCode(5);
        EXPECT_EQ(StoredCode(ad), 5u);
    }
    EXPECT_EQ(LiveAllocations(), nBefore);
}

TEST_F(ADTest, HandlesComeAndGoOnManyThreads)
{
    const long nBefore = LiveAllocations();
    {
        AD ad;
        std::vector<std::thread> threads;
        threads.reserve(8);
        for (int i = 0; i < 8; ++i) {
            threads.emplace_back([mine = ad] {
                AD other;
                for (int j = 0; j < 1000; ++j) {
                    const AD copy(mine);
                    other = copy;
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_FALSE(ad.IsFinished());
    }
    EXPECT_EQ(LiveAllocations(), nBefore);
}

// Guarded setters

TEST_F(ADTest, LastCodeAndTextBeforeAwakeCount)
{
    AD ad;
    ad.SetErrorCode(1);
    ad.SetErrorInfo("one");
    ad.SetErrorCode(2);
    ad.SetErrorInfo("two");
    ad.Awake();
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:2,Detail:two");
}

TEST_F(ADTest, CodeAndTextAfterAwakeAreDiscarded)
{
    AD ad;
    ad.SetErrorCode(2);
    ad.SetErrorInfo("two");
    ad.Awake();
    ad.SetErrorCode(5);
    ad.SetErrorInfo("five");
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:2,Detail:two");

    AD success;
    success.Awake();
    success.SetErrorCode(5);
    EXPECT_NO_THROW(success.Wait());
    EXPECT_EQ(success.GetErrorCode(), 0u);
}

TEST_F(ADTest, SettersProceedWhenTheLockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    AD ad;
    std::vector<int> calls;
    CountingFunctor functor(calls, 1);
    {
        const FailingLocks failing(LockKind::MUTEX, 4);
        ad.SetErrorCode(6);
        ad.SetErrorInfo("text");
        ad.Bind(&functor);
        ad.Awake();
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_TRUE(ad.IsFinished());
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:6,Detail:text");
    ad.CallBack();
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(ADTest, FinishedDescriptorTakesNoLock)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    AD ad;
    ad.Awake();
    const FailingLocks failing(LockKind::MUTEX);
    ad.Wait();
    ad.WaitToComplete();
    ad.Awake();
    ad.SetErrorCode(1);
    ad.SetErrorInfo("x");
    ad.Bind(nullptr);
    EXPECT_TRUE(ad.IsFinished());
    EXPECT_EQ(failing.Left(), 1);
}

// Callbacks

TEST_F(ADTest, CallbacksRunInBindingOrder)
{
    AD ad;
    std::vector<int> calls;
    CountingFunctor one(calls, 1);
    CountingFunctor two(calls, 2);
    ad.Bind(&two);
    ad.Bind(&one);
    ad.Bind(&two);
    EXPECT_TRUE(calls.empty()) << "binding calls nothing";
    ad.CallBack();
    EXPECT_EQ(calls, (std::vector<int>{2, 1, 2}));
}

TEST_F(ADTest, CallBackLooksNeitherAtTheStateNorAtEarlierCalls)
{
    AD ad;
    std::vector<int> calls;
    CountingFunctor functor(calls, 1);
    ad.CallBack();
    ad.Bind(&functor);
    ad.CallBack();
    ad.Awake();
    EXPECT_EQ(calls.size(), 1u) << "waking calls nothing";
    ad.CallBack();
    EXPECT_EQ(calls.size(), 2u);
}

TEST_F(ADTest, BindAfterAwakeDoesNotAddTheFunctor)
{
    AD ad;
    std::vector<int> calls;
    CountingFunctor early(calls, 1);
    CountingFunctor late(calls, 2);
    ad.Bind(&early);
    ad.Awake();
    ad.Bind(&late);
    ad.CallBack();
    EXPECT_EQ(calls, (std::vector<int>{1}));
}

TEST_F(ADTest, CopiesShareTheCallbacks)
{
    AD ad;
    AD copy(ad);
    std::vector<int> calls;
    CountingFunctor functor(calls, 1);
    ad.Bind(&functor);
    copy.CallBack();
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(ADTest, CallBackTakesNoLock)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    AD ad;
    std::vector<int> calls;
    CountingFunctor functor(calls, 1);
    ad.Bind(&functor);
    const FailingLocks failing(LockKind::MUTEX);
    ad.CallBack();
    EXPECT_EQ(failing.Left(), 1);
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(ADTest, FunctorOutlivesTheDescriptor)
{
    class Probe final : public Functor, public DeleteCounter {
    public:
        void operator()() override {}
    };
    DeleteCounter::m_nDestroyed = 0;
    const long nBefore = LiveAllocations();
    auto* const pFunctor = new Probe;
    {
        AD ad;
        ad.Bind(pFunctor);
        ad.Bind(pFunctor);
        ad.Awake();
    }
    EXPECT_EQ(DeleteCounter::m_nDestroyed, 0);
    EXPECT_EQ(LiveAllocations(), nBefore) << "the list itself is freed";
    delete pFunctor;
}

// WaitToComplete

TEST_F(ADTest, WaitToCompleteReturnsWhenWoken)
{
    AD ad;
    std::thread waker([mine = ad]() mutable { mine.Awake(); });
    while (!ad.IsFinished()) ad.WaitToComplete();
    waker.join();
}

TEST_F(ADTest, WaitToCompleteRaisesNothingWhateverTheCode)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.Awake();
    EXPECT_NO_THROW(ad.WaitToComplete());
}

TEST_F(ADTest, WaitToCompleteReturnsAfterTheFirstWakeUpWhateverWokeIt)
{
    AD ad;
    const NextWait wait([] {});
    ad.WaitToComplete();
    EXPECT_TRUE(wait.IsOver());
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADTest, WaitToCompleteDoesNotLookAtTheFramework)
{
    AD ad;
    m_Host.SetState(STOPPING);
    const NextWait wait([] {});
    ad.WaitToComplete();
    EXPECT_TRUE(wait.IsOver()) << "it does wait";
    EXPECT_EQ(m_Host.StateQueries(), 0u);
}

TEST_F(ADTest, WaitToCompleteHasNoTimeLimit)
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
    EXPECT_TRUE(WaitUntil([&slices] { return slices.Count() >= 5; })) << "time for a limit to pass";
    EXPECT_FALSE(bBack);
    ad.Awake();
    other.Awake();
    waiter.join();
    sliced.join();
}

TEST_F(ADTest, WaitToCompleteProceedsWhenTheLockFails)
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

TEST_F(ADTest, WaitOnAFinishedSuccessReturnsWithoutAskingTheFramework)
{
    AD ad;
    ad.Awake();
    m_Host.SetState(STOPPING);
    EXPECT_NO_THROW(ad.Wait());
    EXPECT_EQ(m_Host.StateQueries(), 0u);
    EXPECT_EQ(StoredCode(ad), 0u);
}

TEST_F(ADTest, WaitOnAFinishedFailureRaisesWhatWasRecorded)
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

TEST_F(ADTest, FailureWithoutATextEndsInDetail)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.Awake();
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:7,Detail:");
}

TEST_F(ADTest, TextReachesTheMessageByteForByte)
{
    const std::string text("%s%n\0\n\xff,Detail:", 15);
    AD ad;
    ad.SetErrorCode(7);
    ad.SetErrorInfo(text);
    ad.Awake();
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:7,Detail:" + text);
}

TEST_F(ADTest, ExceptionHasTheLow32BitsOfACodeAndItsMessageAll64)
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

TEST_F(ADTest, CodeWhoseLow32BitsAreZeroIsAFailure)
{
    AD ad;
    ad.SetErrorCode(0x100000000UL);
    ad.Awake();
    const Outcome outcome = OutcomeOfWait(ad);
    EXPECT_TRUE(outcome.m_bRaised);
    EXPECT_EQ(outcome.m_nCode, 0u);
    EXPECT_EQ(outcome.m_Message, "ErrCode:4294967296,Detail:");
}

TEST_F(ADTest, WaitReturnsWhenAnotherThreadFinishesTheWork)
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

TEST_F(ADTest, WaiterSeesWhatWasRecordedBeforeTheWakeUp)
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

TEST_F(ADTest, AwakeWakesEveryWaiter)
{
    AD ad;
    ShortSlices slices;
    Waiters waiters(ad, 8);
    EXPECT_TRUE(WaitUntil([&slices] { return slices.Count() >= 16; }));
    EXPECT_EQ(waiters.Back(), 0u);
    ad.SetErrorCode(9);
    ad.Awake();
    for (const Outcome& outcome : waiters.Join()) EXPECT_EQ(outcome.m_nCode, 9u);
}

TEST_F(ADTest, AwakeWakesSleepersOfBothKinds)
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

TEST_F(ADTest, WaiterLooksAtTheFrameworkBeforeEachSliceOfTenSeconds)
{
    AD ad;
    const ShortSlices slices;
    Waiters waiters(ad, 1);
    EXPECT_TRUE(WaitUntil([&slices] { return slices.Count() >= 5; }));
    EXPECT_GE(m_Host.StateQueries(), 5u);
    EXPECT_EQ(waiters.Back(), 0u) << "it never gives up while the framework runs";
    ad.Awake();
    EXPECT_FALSE(waiters.Join()[0].m_bRaised);
    for (const std::int64_t nLength : slices.Lengths()) EXPECT_EQ(nLength, 10000000000);
}

TEST_F(ADTest, OtherAnswersOfTheFrameworkDoNotEndAWait)
{
    for (const int nState : {-2, 1, 3, 258}) {
        AD ad;
        m_Host.SetState(nState);
        const ShortSlices slices;
        Waiters waiters(ad, 1);
        EXPECT_TRUE(WaitUntil([&slices] { return slices.Count() >= 2; }));
        EXPECT_EQ(waiters.Back(), 0u) << nState;
        ad.Awake();
        EXPECT_FALSE(waiters.Join()[0].m_bRaised) << nState;
    }
}

TEST_F(ADTest, StoppingFrameworkEndsTheWaitOfManyWithCodeOne)
{
    AD ad;
    ad.SetErrorInfo("so far");
    const ShortSlices slices;
    Waiters waiters(ad, 8);
    EXPECT_TRUE(WaitUntil([&slices] { return slices.Count() >= 8; }));
    m_Host.SetState(STOPPING);
    for (const Outcome& outcome : waiters.Join()) {
        EXPECT_TRUE(outcome.m_bRaised);
        EXPECT_EQ(outcome.m_nCode, 1u);
        EXPECT_EQ(outcome.m_Message, "ErrCode:1,Detail:so far");
    }
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADTest, StoppingFrameworkEndsAWaitBeforeItBegins)
{
    AD ad;
    ad.SetErrorCode(9);
    m_Host.SetState(STOPPING);
    const NextWait wait([] {});
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 1u) << "whatever the code was";
    EXPECT_FALSE(wait.IsOver());
    EXPECT_EQ(StoredCode(ad), 1u);
}

TEST_F(ADTest, WorkThatEndsAfterTheStopStillRecordsItsOutcome)
{
    AD ad;
    m_Host.SetState(STOPPING);
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 1u);
    ad.SetErrorCode(0);
    ad.Awake();
    EXPECT_NO_THROW(ad.Wait());
}

TEST_F(ADTest, WaitReturnsAfterAWakeUpThoughNothingIsFinished)
{
    AD ad;
    const NextWait wait([] {});
    EXPECT_NO_THROW(ad.Wait());
    EXPECT_TRUE(wait.IsOver());
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADTest, WakeUpWithACodeRaisesIt)
{
    AD ad;
    const NextWait wait([&ad] { ad.SetErrorCode(8); });
    EXPECT_EQ(OutcomeOfWait(ad).m_nCode, 8u);
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ADTest, FrameworkThatStopsDuringTheWaitGivesCodeOneToFinishedWork)
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

TEST_F(ADTest, WorkFoundFinishedUnderTheLockMeetsTheStoppingFramework)
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

TEST_F(ADTest, LockThatWasNotTakenIsNotReleased)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    AD ad;
    std::optional<Sleeper> other;
    {
        // With the descriptor's lock held: a setter that cannot take it must not release it either.
        const NextWait wait([&] {
            {
                const FailingLocks failing(LockKind::MUTEX);
                ad.SetErrorCode(6);
            }
            other.emplace([mine = ad]() mutable { mine.SetErrorInfo("later"); });
            EXPECT_FALSE(other->IsDone()) << "the lock is free";
        });
        ad.WaitToComplete();
    }
    other->Join();
    ad.Awake();
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:6,Detail:later");
}

TEST_F(ADTest, ChangeThatComesToTheLockTooLateIsDiscarded)
{
    std::vector<int> calls;
    CountingFunctor functor(calls, 1);
    const std::vector<std::function<void(AD&)>> changes{
        [](AD& ad) { ad.SetErrorCode(5); }, [](AD& ad) { ad.SetErrorInfo("late"); },
        [&functor](AD& ad) { ad.Bind(&functor); }, [](AD& ad) { ad.Awake(); },
        [](AD& ad) { ad.WaitToComplete(); }};
    for (const std::function<void(AD&)>& change : changes) {
        AD ad;
        ad.SetErrorCode(3);
        std::optional<Sleeper> late;
        {
            const NextWait wait([&] {
                late.emplace([&change, mine = ad]() mutable { change(mine); });
                EXPECT_FALSE(late->IsDone());
                ad.Awake();
            });
            ad.WaitToComplete();
        }
        late->Join();
        EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:3,Detail:");
        ad.CallBack();
    }
    EXPECT_TRUE(calls.empty());
}

TEST_F(ADTest, LockMayBeTakenAgainByItsHolder)
{
    AD ad;
    const NextWait wait([&ad] {
        ad.SetErrorInfo("from within");
        ad.SetErrorCode(3);
        ad.Awake();
    });
    EXPECT_EQ(OutcomeOfWait(ad).m_Message, "ErrCode:3,Detail:from within");
}

TEST_F(ADTest, WaitProceedsWhenTheLockFails)
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

TEST_F(ADTest, CodeOfAFinishedSuccessIsZero)
{
    AD ad;
    ad.Awake();
    EXPECT_EQ(ad.GetErrorCode(), 0u);
}

TEST_F(ADTest, CodeOfAFinishedFailureIsRaisedWhileTheFrameworkRuns)
{
    AD ad;
    ad.SetErrorCode(7);
    ad.Awake();
    const Outcome outcome = OutcomeOf([&ad] { ad.GetErrorCode(); });
    EXPECT_TRUE(outcome.m_bRaised);
    EXPECT_EQ(outcome.m_nCode, 7u);
}

TEST_F(ADTest, CodeIsWaitedForWhileTheFrameworkRuns)
{
    AD ad;
    const NextWait wait([&ad] { ad.Awake(); });
    EXPECT_EQ(ad.GetErrorCode(), 0u);
    EXPECT_TRUE(wait.IsOver());
}

TEST_F(ADTest, StoppingFrameworkGivesTheStoredCodeAtOnce)
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

TEST_F(ADTest, CodeIsWaitedForThroughTheVirtualWait)
{
    class Probe : public AD_Impl {
    public:
        void Wait() override { ++m_nWaits; }
        int m_nWaits = 0;
    };
    Probe probe;
    probe.SetErrorCode(12);
    EXPECT_EQ(probe.GetErrorCode(), 12u) << "what is stored after the wait";
    EXPECT_EQ(probe.m_nWaits, 1);
    m_Host.SetState(STOPPING);
    EXPECT_EQ(probe.GetErrorCode(), 12u);
    EXPECT_EQ(probe.m_nWaits, 1);
}

TEST_F(ADTest, DerivedHandleMayReplaceOperations)
{
    class Probe : public AD {
    public:
        unsigned long GetErrorCode() override { return 77; }
        bool IsFinished() const override { return true; }
    };
    Probe probe;
    AD& handle = probe;
    EXPECT_EQ(handle.GetErrorCode(), 77u);
    EXPECT_TRUE(handle.IsFinished());
    AD copy(handle);
    EXPECT_FALSE(copy.IsFinished()) << "the shared state is as it was";
}

}  // namespace
}  // namespace NS_UTIL
