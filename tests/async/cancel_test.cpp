// What keeps a task from starting, and what tells a running one to stop.
#include <stdexcept>
#include <thread>

#include "async/asynctesting.h"
#include "nbiutil/async/state.h"

namespace NS_UTIL {
namespace {

using nbitest::Counted;
using nbitest::Failure;
using nbitest::FailureOf;
using nbitest::Gate;
using nbitest::RecordingHost;
using nbitest::Signal;
using nbitest::TestAgent;

class CancelTest : public nbitest::AsyncTest {};

TEST_F(CancelTest, AQueuedTaskIsAnsweredAtOnceAndNeverRuns)
{
    Gate gate(POOL);
    bool bRan = false;
    auto future = Submit(POOL, TestAgent(), [&bRan, held = Counted()] { bRan = true; });
    EXPECT_TRUE(future.Cancel());
    EXPECT_EQ(Counted::Alive(), 0);  // what it held is released now, not when a worker comes by
    const Failure failure = FailureOf(future);
    EXPECT_EQ(failure.m_nCode, ErrCode::TASK_CANCELLED);
    EXPECT_EQ(failure.m_Detail, "cancelled by its caller");
    gate.Open();
    Submit(POOL, TestAgent(), [] {}).Get();
    EXPECT_FALSE(bRan);
}

TEST_F(CancelTest, ARunningBodyIsToldAndDecides)
{
    Signal entered;
    auto future = Submit(POOL, TestAgent(), [&entered](const StopToken& token) {
        entered.Set();
        while (!token.IsStopRequested()) std::this_thread::yield();
        return token.Reason();
    });
    entered.Wait();
    EXPECT_FALSE(future.Cancel());
    EXPECT_EQ(future.Get(), StopReason::REQUESTED);
}

TEST_F(CancelTest, CancellingAnAnsweredTaskChangesNothing)
{
    auto future = Submit(POOL, TestAgent(), [] { return 7; });
    ASSERT_TRUE(future.WaitFor(std::chrono::hours(1)));
    EXPECT_FALSE(future.Cancel());
    EXPECT_EQ(future.Get(), 7);
}

TEST_F(CancelTest, ASourceCancelsWithoutTheFuture)
{
    Gate gate(POOL);
    bool bRan = false;
    auto future = Submit(POOL, TestAgent(), [&bRan] { bRan = true; });
    const StopSource source = future.GetStopSource();
    future = Future<void>();
    EXPECT_TRUE(source.RequestStop());
    EXPECT_FALSE(source.RequestStop());
    gate.Open();
    Submit(POOL, TestAgent(), [] {}).Get();
    EXPECT_FALSE(bRan);
}

TEST_F(CancelTest, AnotherThreadWakesTheWaiter)
{
    Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] {});
    std::thread canceller([source = future.GetStopSource()] { source.RequestStop(); });
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::TASK_CANCELLED);
    canceller.join();
}

TEST_F(CancelTest, ATaskQueuedPastItsDeadlineNeedsNoWorkerForItsAnswer)
{
    Gate gate(POOL);
    bool bRan = false;
    auto future = Submit(
        POOL, TestAgent(), [&bRan] { bRan = true; }, After(std::chrono::milliseconds(1)));
    const Failure failure = FailureOf(future);
    EXPECT_EQ(failure.m_nCode, ErrCode::TASK_CANCELLED);
    EXPECT_EQ(failure.m_Detail, "its deadline passed before it started");
    gate.Open();
    Submit(POOL, TestAgent(), [] {}).Get();
    EXPECT_FALSE(bRan);
}

TEST_F(CancelTest, TheWorkerPassesATaskWhoseDeadlineHasPassed)
{
    bool bRan = false;
    auto future = Submit(
        POOL, TestAgent(), [&bRan] { bRan = true; }, std::chrono::steady_clock::now());
    Submit(POOL, TestAgent(), [] {}).Get();
    EXPECT_TRUE(future.IsReady());
    EXPECT_FALSE(bRan);
}

TEST_F(CancelTest, WaitForSeesTheDeadlineOfAQueuedTask)
{
    Gate gate(POOL);
    auto future = Submit(
        POOL, TestAgent(), [] {}, After(std::chrono::milliseconds(1)));
    EXPECT_TRUE(future.WaitFor(std::chrono::hours(1)));
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::TASK_CANCELLED);
}

TEST_F(CancelTest, TheDeadlineSetsTheTokenOfARunningBodyWhichIsWaitedFor)
{
    const auto body = [](const StopToken& token) {
        while (!token.IsStopRequested()) std::this_thread::yield();
        return token.Reason();
    };
    // A busy machine may not start it in time: then it is tried with more.
    Failure failure;
    for (int nMilliseconds = 10; nMilliseconds < 100000; nMilliseconds *= 4) {
        auto future = Submit(POOL, TestAgent(), body, After(std::chrono::milliseconds(nMilliseconds)));
        StopReason reason = StopReason::NONE;
        failure = FailureOf([&] { reason = future.Get(); });
        if (failure.m_nCode != 0) continue;
        EXPECT_EQ(reason, StopReason::DEADLINE);
        return;
    }
    FAIL() << failure.m_Detail;
}

TEST_F(CancelTest, NothingStartsOnceTheFrameworkStops)
{
    Gate gate(POOL);
    bool bRan = false;
    auto future = Submit(POOL, TestAgent(), [&bRan] { bRan = true; });
    m_Host.SetState(2);
    const Failure failure = FailureOf(future);
    EXPECT_EQ(failure.m_nCode, ErrCode::TASK_CANCELLED);
    EXPECT_EQ(failure.m_Detail, "the framework stops");
    auto detached = Submit(POOL, TestAgent(), [&bRan] { bRan = true; });
    gate.Open();
    ASSERT_TRUE(nbitest::Eventually([] { return QueuedTasks(POOL) == 0; }));
    EXPECT_FALSE(bRan);
    EXPECT_EQ(FailureOf(detached).m_nCode, ErrCode::TASK_CANCELLED);
}

TEST_F(CancelTest, ABodySeesTheFrameworksStop)
{
    Signal entered;
    Signal seen;
    auto future = Submit(POOL, TestAgent(), [&](const StopToken& token) {
        entered.Set();
        while (!token.IsStopRequested()) std::this_thread::yield();
        const StopReason reason = token.Reason();
        seen.Set();
        return reason;
    });
    entered.Wait();
    m_Host.SetState(2);
    seen.Wait();
    m_Host.SetState(0);
    EXPECT_EQ(future.Get(), StopReason::FRAMEWORK);
}

TEST_F(CancelTest, ATaskDroppedByAStoppedPoolAnswers)
{
    Submit(POOL, TestAgent(), [] {}).Get();
    NBITaskMgr::GetTaskMgr(POOL)->SetExitFlag();
    auto future = Submit(POOL, TestAgent(), [held = Counted()] {});
    EXPECT_TRUE(future.IsReady());
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::POOL_DESTROYED);
    EXPECT_EQ(Counted::Alive(), 0);
    NBITaskMgr::GetTaskMgr(POOL)->wait();
}

TEST_F(CancelTest, ATaskThatADestroyedPoolHeldAnswers)
{
    auto pPool = std::make_unique<NBITaskMgr>(11);  // without workers
    auto future = Submit(*pPool, TestAgent(), [held = Counted()] {});
    pPool.reset();
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::POOL_DESTROYED);
    EXPECT_EQ(Counted::Alive(), 0);
}

TEST_F(CancelTest, ATaskThatAShutdownLeavesInItsQueueAnswers)
{
    constexpr unsigned int STOPPED_POOL = 0;  // one that ShutDown() stops
    auto pGate = std::make_unique<Gate>(STOPPED_POOL);
    auto future = Submit(STOPPED_POOL, TestAgent(), [held = Counted()] {});
    std::thread stopper([] { TaskPoolMgr::ShutDown(); });
    EXPECT_EQ(FailureOf(future).m_nCode, ErrCode::POOL_DESTROYED);  // while the worker is still held
    EXPECT_EQ(Counted::Alive(), 0);
    pGate.reset();
    stopper.join();
}

TEST_F(CancelTest, AShutdownDoesNotTakeTheAnswerFromARunningBody)
{
    constexpr unsigned int STOPPED_POOL = 0;
    Signal entered;
    Signal opened;
    auto future = Submit(STOPPED_POOL, TestAgent(), [&] {
        entered.Set();
        opened.Wait();
        return 7;
    });
    entered.Wait();
    auto queued = Submit(STOPPED_POOL, TestAgent(), [] {});
    std::thread stopper([] { TaskPoolMgr::ShutDown(); });
    FailureOf(queued);  // now the shutdown has woken the descriptors
    std::thread opener([&opened] { opened.Set(); });
    EXPECT_EQ(future.Get(), 7);
    opener.join();
    stopper.join();
}

}  // namespace
}  // namespace NS_UTIL
