// Refusals at the push: full queues and the limits of huge tasks.
#include "async/asynctesting.h"
#include "nbiutil/async.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/poolsnapshot.h"

namespace NS_UTIL {
namespace {

using nbitest::Counted;
using nbitest::Eventually;
using nbitest::Failure;
using nbitest::FailureOf;
using nbitest::Gate;
using nbitest::TestAgent;

class SubmitTest : public nbitest::AsyncTest {};

TEST_F(SubmitTest, AFullQueueRefusesWithACodeOfItsOwn)
{
    Gate gate(POOL);
    auto first = TrySubmit(2, POOL, TestAgent(), [] { return 1; });
    auto second = TrySubmit(2, POOL, TestAgent(), [] { return 2; });
    EXPECT_EQ(QueuedTasks(POOL), 2U);  // the running one is not queued
    const Failure refusal =
        FailureOf([] { TrySubmit(2, POOL, TestAgent(), [held = Counted()] { return 3; }); });
    EXPECT_EQ(refusal.m_nCode, ErrCode::QUEUE_FULL);
    EXPECT_EQ(TakePoolSnapshot(POOL).m_Refused.at(ErrCode::QUEUE_FULL), 1U);
    EXPECT_EQ(Counted::Alive(), 0);
    EXPECT_EQ(QueuedTasks(POOL), 2U);
    gate.Open();
    EXPECT_EQ(first.Get() + second.Get(), 3);
    EXPECT_EQ(TrySubmit(2, POOL, TestAgent(), [] { return 4; }).Get(), 4);
}

TEST_F(SubmitTest, TasksWithoutALimitOfTheirOwnCount)
{
    Gate gate(POOL);
    auto unlimited = Submit(POOL, TestAgent(), [] {});
    EXPECT_EQ(FailureOf([] { TrySubmit(1, POOL, TestAgent(), [] {}); }).m_nCode, ErrCode::QUEUE_FULL);
    gate.Open();
    unlimited.Get();
}

TEST_F(SubmitTest, ACancelledTaskCountsUntilAWorkerHasPassedIt)
{
    Gate gate(POOL);
    auto future = Submit(POOL, TestAgent(), [] {});
    EXPECT_TRUE(future.Cancel());
    EXPECT_EQ(QueuedTasks(POOL), 1U);
    gate.Open();
    EXPECT_TRUE(Eventually([] { return QueuedTasks(POOL) == 0; }));
}

TEST_F(SubmitTest, ALimitOfNoneRefusesAll)
{
    EXPECT_EQ(FailureOf([] { TrySubmit(0, POOL, TestAgent(), [] {}); }).m_nCode, ErrCode::QUEUE_FULL);
    EXPECT_EQ(QueuedTasks(POOL), 0U);
}

TEST_F(SubmitTest, EachPoolHasItsCount)
{
    constexpr unsigned int OTHER = 1000000;
    Gate gate(OTHER);
    auto future = TrySubmit(1, OTHER, TestAgent(), [] {});
    EXPECT_EQ(QueuedTasks(OTHER), 1U);
    EXPECT_EQ(QueuedTasks(OTHER + 1), 0U);
    EXPECT_EQ(QueuedTasks(POOL), 0U);
    gate.Open();
    future.Get();
    EXPECT_EQ(QueuedTasks(OTHER), 0U);
}

TEST_F(SubmitTest, ADroppedTaskIsNotCounted)
{
    Submit(POOL, TestAgent(), [] {}).Get();
    NBITaskMgr::GetTaskMgr(POOL)->SetExitFlag();
    auto future = TrySubmit(1, POOL, TestAgent(), [] {});
    EXPECT_EQ(QueuedTasks(POOL), 0U);
    NBITaskMgr::GetTaskMgr(POOL)->wait();
}

TEST_F(SubmitTest, TheLimitOfHugeTasksIsThrownAtThePush)
{
    TaskPoolMgr::Init(0);
    const RequestScope request("collect");
    const HugeScope huge(HugeRequest().Asynchronous());
    EXPECT_EQ(FailureOf([] { Submit(HUGE_POOL, TestAgent(), [held = Counted()] {}); }).m_nCode,
              ErrCode::HUGE_TASK_LIMIT);
    EXPECT_EQ(Counted::Alive(), 0);
    EXPECT_EQ(QueuedTasks(HUGE_POOL), 0U);
}

TEST_F(SubmitTest, AHugeTaskRunsAndLeavesTheBook)
{
    const RequestScope request("collect");
    const HugeScope huge(HugeRequest().Asynchronous().Of("perf/"));
    const int nRunning = Submit(HUGE_POOL, TestAgent(), [] { return TaskPoolMgr::GetHugeTaskNum(); }).Get();
    EXPECT_EQ(nRunning, 1);
    EXPECT_TRUE(Eventually([] { return TaskPoolMgr::GetHugeTaskNum() == 0; }));
}

TEST_F(SubmitTest, APoolObjectTakesTasksToo)
{
    NBITaskMgr pool(11);
    pool.open();
    EXPECT_EQ(Submit(pool, TestAgent(), [] { return 7; }).Get(), 7);
}

}  // namespace
}  // namespace NS_UTIL
