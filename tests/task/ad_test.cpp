#include "nbiutil/ad.h"

#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/condwaits.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"
#include "support/tasks.h"
#include "support/vtable.h"
#include "task/ad_impl.h"
#include "task/adtesting.h"

namespace NS_UTIL {
namespace {

using ADTest = nbitest::ADTest;
using nbitest::CanFailLocks;
using nbitest::DeleteCounter;
using nbitest::ExpectDestructorAt;
using nbitest::FailingLocks;
using nbitest::LiveAllocations;
using nbitest::LockKind;
using nbitest::NextBroadcast;
using nbitest::NextWait;
using nbitest::NO_FAILING_LOCKS;
using nbitest::Outcome;
using nbitest::OutcomeOf;
using nbitest::OutcomeOfWait;
using nbitest::Sleeper;
using nbitest::SlotOf;
using nbitest::STOPPING;

class CountingFunctor : public Functor {
public:
    explicit CountingFunctor(std::vector<int>& calls, int nName) : m_Calls(calls), m_nName(nName) {}
    void operator()() override { m_Calls.push_back(m_nName); }

private:
    std::vector<int>& m_Calls;
    int m_nName;
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

/// What a waiter may do that has seen "finished" without the lock: the last handle goes while the waker is still
/// inside, and the state only when the waker has left it.
TEST_F(ADTest, StateOutlivesTheAwakeOfTheHandleThatItsWaiterDrops)
{
    auto pHandle = std::make_unique<AD>();
    const NextBroadcast broadcast([&pHandle] {
        EXPECT_TRUE(pHandle->IsFinished());
        const long nBefore = LiveAllocations();
        pHandle.reset();
        EXPECT_EQ(LiveAllocations(), nBefore - 1) << "the handle alone";
        return true;
    });
    const long nBefore = LiveAllocations();
    pHandle.get()->Awake();
    EXPECT_EQ(pHandle, nullptr);
    EXPECT_LE(LiveAllocations(), nBefore - 2) << "handle and state";
}

TEST_F(ADTest, OneHandleObjectServesAWaiterAndAWaker)
{
    for (int i = 0; i < 2000; ++i) {
        auto pHandle = std::make_unique<AD>();
        std::thread waker([pWaker = pHandle.get()] { pWaker->Awake(); });
        pHandle->Wait();
        pHandle.reset();
        waker.join();
    }
}

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
