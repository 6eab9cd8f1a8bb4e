// Coroutines that change their pool. Compiled as C++20.
#include "nbiutil/async/coroutine.h"

#include <stdexcept>
#include <thread>
#include <vector>

#include "async/asynctesting.h"

namespace NS_UTIL {
namespace {

using nbitest::Counted;
using nbitest::Eventually;
using nbitest::FailureOf;
using nbitest::Gate;
using nbitest::TestAgent;

class CoroutineTest : public nbitest::AsyncTest {};

ThreadContextInfo Context()
{
    return ThreadContextMgr::Instance()->GetThreadContext();
}

Future<int> HopAndAnswer(std::vector<std::thread::id>& threads, std::vector<ThreadContextInfo>& contexts)
{
    for (const unsigned int nPool : {10U, 11U, 10U, 2U}) {
        co_await OnPool(nPool);
        threads.push_back(std::this_thread::get_id());
        contexts.push_back(Context());
    }
    co_return 7;
}

TEST_F(CoroutineTest, TheRequestGoesAlongOverEveryHop)
{
    const RequestScope request("getAllEquipment", "operator");
    std::vector<std::thread::id> threads;
    std::vector<ThreadContextInfo> contexts;
    EXPECT_EQ(HopAndAnswer(threads, contexts).Get(), 7);
    ASSERT_EQ(threads.size(), 4U);
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_NE(threads[0], threads[1]);
    EXPECT_EQ(threads[0], threads[2]);  // the only worker of its pool
    for (const ThreadContextInfo& context : contexts) EXPECT_EQ(context, Context());
}

Future<std::unique_ptr<int>> MovableOnly()
{
    co_await OnPool(10);
    co_return std::make_unique<int>(7);
}

TEST_F(CoroutineTest, TheValueMayBeMovableOnly)
{
    EXPECT_EQ(*MovableOnly().Get(), 7);
}

Future<void> FailAfter(int nHops)
{
    for (int i = 0; i < nHops; ++i) co_await OnPool(10);
    throw ProcessException(5, "why", "info", "catalogue", "Find", 12);
}

Future<void> FailStandard()
{
    co_await OnPool(10);
    throw std::out_of_range("port 9 of 8");
}

TEST_F(CoroutineTest, ExceptionsPass)
{
    for (const int nHops : {0, 1, 3}) {
        auto future = FailAfter(nHops);
        const nbitest::Failure failure = FailureOf(future);
        EXPECT_EQ(failure.m_nCode, 5U);
        EXPECT_EQ(failure.m_Detail, "why");
        EXPECT_EQ(failure.m_nLine, 12);
    }
    auto future = FailStandard();
    EXPECT_EQ(FailureOf(future).m_Detail, "port 9 of 8");
}

Future<int> CatchAcrossHops()
{
    try {
        co_await OnPool(10);
        throw std::runtime_error("no");
    } catch (const std::runtime_error&) {
    }
    co_await OnPool(11);
    co_return 7;
}

TEST_F(CoroutineTest, GoesOnAfterAnExceptionThatItCatches)
{
    EXPECT_EQ(CatchAcrossHops().Get(), 7);
}

Future<void> HopTo(unsigned int nPool, Counted held, bool& bArrived)
{
    co_await OnPool(nPool);
    bArrived = true;
    (void)held;
}

TEST_F(CoroutineTest, ACancelledHopDestroysTheFrame)
{
    bool bArrived = false;
    Gate gate(POOL);
    auto future = HopTo(POOL, Counted(), bArrived);
    EXPECT_TRUE(future.Cancel());
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::TASK_CANCELLED);
    gate.Open();
    EXPECT_TRUE(Eventually([] { return Counted::Alive() == 0; }));
    EXPECT_FALSE(bArrived);
}

TEST_F(CoroutineTest, AStoppedFrameworkLetsNobodyArrive)
{
    bool bArrived = false;
    Gate gate(POOL);
    auto future = HopTo(POOL, Counted(), bArrived);
    m_Host.SetState(2);
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::TASK_CANCELLED);
    gate.Open();
    EXPECT_TRUE(Eventually([] { return Counted::Alive() == 0; }));
    EXPECT_FALSE(bArrived);
}

Future<unsigned int> CodeOfHop(unsigned int nPool)
{
    try {
        co_await OnPool(nPool);
    } catch (const ProcessException& failure) {
        co_return failure.GetErrorCode();
    }
    co_return 0;
}

TEST_F(CoroutineTest, AStoppedPoolRefusesTheHopWhereItStands)
{
    Submit(POOL, TestAgent(), [] {}).Get();
    NBITaskMgr::GetTaskMgr(POOL)->SetExitFlag();
    EXPECT_EQ(CodeOfHop(POOL).Get(), ErrCode::POOL_DESTROYED);
    NBITaskMgr::GetTaskMgr(POOL)->wait();
}

TEST_F(CoroutineTest, TheLimitOfHugeTasksRefusesTheHopWhereItStands)
{
    TaskPoolMgr::Init(0);
    const HugeScope huge{HugeRequest()};
    EXPECT_EQ(CodeOfHop(HUGE_POOL).Get(), ErrCode::HUGE_TASK_LIMIT);
}

TEST_F(CoroutineTest, AHopThatAShutdownLeavesInItsQueueAnswers)
{
    constexpr unsigned int STOPPED_POOL = 0;
    bool bArrived = false;
    auto pGate = std::make_unique<Gate>(STOPPED_POOL);
    auto future = HopTo(STOPPED_POOL, Counted(), bArrived);
    std::thread stopper([] { TaskPoolMgr::ShutDown(); });
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::POOL_DESTROYED);
    pGate.reset();
    stopper.join();
    EXPECT_FALSE(bArrived);
}

/// A coroutine of another library's kind: it starts at once, and nobody waits for it.
struct Detached {
    struct promise_type {
        Detached get_return_object() { return {}; }
        std::suspend_never initial_suspend() noexcept { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { std::terminate(); }
    };
};

Detached HopDetached(std::atomic<bool>& bArrived)
{
    co_await OnPool(10);
    co_await OnPool(11);
    bArrived = true;
}

TEST_F(CoroutineTest, HopsInOtherCoroutinesToo)
{
    std::atomic<bool> bArrived{false};
    HopDetached(bArrived);
    EXPECT_TRUE(Eventually([&bArrived] { return bArrived.load(); }));
}

Future<int> HopBackAndForth(Counted held)
{
    for (int i = 0; i < 10; ++i) co_await OnPool(i % 2 == 0 ? 0U : 1U);
    (void)held;
    co_return 7;
}

TEST_F(CoroutineTest, NothingIsLostBetweenCancelAndShutdown)
{
    m_Host.KeepLogs(false);
    constexpr int RACES = 2000;
    std::vector<Future<int>> futures;
    std::thread stopper;
    int nValues = 0;
    int nRefused = 0;
    for (int i = 0; i < RACES; ++i) {
        futures.push_back(HopBackAndForth(Counted()));
        if (i % 3 == 0) futures.back().Cancel();
        if (i == RACES / 2) stopper = std::thread([] { TaskPoolMgr::ShutDown(); });
    }
    for (auto& future : futures) {
        int nValue = 0;
        const unsigned int nCode = FailureOf([&] { nValue = future.Get(); }).m_nCode;
        nValues += nCode == 0 && nValue == 7 ? 1 : 0;
        nRefused += nCode == ErrCode::TASK_CANCELLED || nCode == ErrCode::POOL_DESTROYED ? 1 : 0;
    }
    stopper.join();
    EXPECT_EQ(nValues + nRefused, RACES);
}

}  // namespace
}  // namespace NS_UTIL
