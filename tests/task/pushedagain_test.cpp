// Tasks that are pushed although a pool owns them already.
#include "task/taskqueuetesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class PushedAgainTest : public TaskQueueTest {};

TEST_F(PushedAgainTest, QueuedTaskPushedAgainStaysQueuedOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Host.ClearLogs();
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_Text, NOT_IDLE_LOGGED);
    EXPECT_EQ(m_Gone, Names{});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
    pA->Run();
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(PushedAgainTest, QueuedTaskPushedAgainBringsNoToken)
{
    NBITask* const pA = Pushed("a");
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    m_Pool.AcquireIdleTask();
    NBITask* const pB = Pushed("b");
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(NothingIdleLines(), 0u);
}

TEST_F(PushedAgainTest, TaskTakenByTheCallerAndPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Pool.AcquireIdleTask();
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(PushedAgainTest, TaskThatTheCallerIsRunningAndPushedAgainIsDeletedAfterwards)
{
    NBITask* pA = nullptr;
    Raised raised;
    pA = Pushed("a", [&] {
        raised = RaisedBy([&] { m_Pool.PushTask(pA); });
        EXPECT_EQ(m_Gone, Names{});
    });
    Pushed("b");
    m_Pool.AcquireIdleTask()->Run();
    ExpectNotIdle(raised);
    m_Pool.AcquireIdleTask();
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(PushedAgainTest, TaskThatAWorkerRunsAndPushedAgainIsDeletedAfterTheRun)
{
    const auto pPool = Started(6, 2);
    Signal started;
    Signal goOn;
    AD ad;
    auto* const pTask = new TestTask(ad, [&] {
        started.Set();
        goOn.Wait();
    });
    pPool->PushTask(pTask);
    started.Wait();
    ExpectNotIdle(RaisedBy([&] { pPool->PushTask(pTask); }));
    ExpectNotIdle(RaisedBy([&] { pPool->PushTask(pTask); }));
    AD other;
    pPool->PushTask(new TestTask(other));
    other.Wait();
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_BUSY);
    EXPECT_FALSE(ad.IsFinished());
    goOn.Set();
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
}

TEST_F(PushedAgainTest, TaskThatPushesItselfIsDeletedAfterItsRun)
{
    const auto pPool = Started(6, 1);
    NBITask* pTask = nullptr;
    Raised raised;
    AD ad;
    pTask = new TestTask(ad, [&] { raised = RaisedBy([&] { pPool->PushTask(pTask); }); });
    pPool->PushTask(pTask);
    EXPECT_EQ(CodeOf(ad), 0u);
    ExpectNotIdle(raised);
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
}

TEST_F(PushedAgainTest, TaskThatLetsThePushRaiseOutOfItsBodyFailsWithThatCode)
{
    const auto pPool = Started(6, 1);
    NBITask* pTask = nullptr;
    AD ad;
    pTask = new TestTask(ad, [&] { pPool->PushTask(pTask); });
    pPool->PushTask(pTask);
    EXPECT_EQ(CodeOf(ad), 0x41180010U);
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
}

TEST_F(PushedAgainTest, TaskSetIdleByItsBodyAndPushedAgainIsDeletedAfterTheRun)
{
    const auto pPool = Started(6, 1);
    NBITask* pTask = nullptr;
    Raised raised;
    AD ad;
    pTask = new TestTask(ad, [&] {
        pTask->SetTaskState(NBI_TASK_IDLE);
        raised = RaisedBy([&] { pPool->PushTask(pTask); });
    });
    pPool->PushTask(pTask);
    EXPECT_EQ(CodeOf(ad), 0u);
    ExpectNotIdle(raised);
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
}

TEST_F(PushedAgainTest, FinishedTaskPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Pool.AcquireIdleTask()->Run();
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(PushedAgainTest, QueuedTaskSetBusyAndPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_BUSY);
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(PushedAgainTest, QueuedTaskSetFinishedAndPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_FINISHED);
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(PushedAgainTest, QueuedTaskPushedIntoAnotherPoolStaysWhereItIs)
{
    NBITaskMgr other(6);
    NBITask* const pA = Pushed("a");
    ExpectNotIdle(RaisedBy([&] { other.PushTask(pA); }));
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
    AD ad;
    auto* const pB = new TestTask(ad);
    other.PushTask(pB);
    EXPECT_EQ(other.AcquireIdleTask(), pB);
    EXPECT_EQ(NothingIdleLines(), 0u);
}

TEST_F(PushedAgainTest, TaskTakenFromOnePoolAndPushedIntoAnotherIsDeletedAtOnce)
{
    NBITaskMgr other(6);
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Pool.AcquireIdleTask();
    ExpectNotIdle(RaisedBy([&] { other.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(PushedAgainTest, QueuedTaskPushedAgainThroughTheFacadeStaysQueuedOnce)
{
    UseThreads(1);
    NBITask* const pA = Pushed("a");
    ExpectNotIdle(RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pA, 1); }));
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
}

TEST_F(PushedAgainTest, OwnedHugeTaskPushedThroughTheFacadeAtTheLimitIsRefusedAsOwned)
{
    UseThreads(1);
    ServeRequest("collect", {0, 1, 0, "tasks"});
    NBITask* const pA = Pushed("a");
    TaskPoolMgr::Init(0);
    m_Host.ClearLogs();
    ExpectNotIdle(RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pA, 2); }));
    EXPECT_TRUE(m_Host.LogsOf("hugetask").empty());  // the limits were not asked
    EXPECT_EQ(m_Gone, Names{});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
}

TEST_F(PushedAgainTest, QueuedTaskPushedAgainAfterTheExitStaysQueuedInSilence)
{
    NBITask* const pA = Pushed("a");
    m_Pool.SetExitFlag();
    m_Host.ClearLogs();
    EXPECT_FALSE(RaisedBy([&] { m_Pool.PushTask(pA); }).m_bAny);
    EXPECT_TRUE(m_Host.Logs().empty());
    EXPECT_EQ(m_Gone, Names{});
    EXPECT_EQ(pA->GetTaskState(), NBI_TASK_IDLE);
}

TEST_F(PushedAgainTest, TakenTaskPushedAgainAfterTheExitIsDeletedInSilence)
{
    NBITask* const pA = Pushed("a");
    m_Pool.AcquireIdleTask();
    m_Pool.SetExitFlag();
    m_Host.ClearLogs();
    EXPECT_FALSE(RaisedBy([&] { m_Pool.PushTask(pA); }).m_bAny);
    EXPECT_TRUE(m_Host.Logs().empty());
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(PushedAgainTest, RunningTaskPushedAgainAfterTheExitIsNotDeletedUnderItsBody)
{
    auto pPool = Started(6, 1);
    Signal started;
    Signal goOn;
    AD ad;
    auto* const pTask = new TestTask(ad, [&] {
        started.Set();
        goOn.Wait();
    });
    pPool->PushTask(pTask);
    started.Wait();
    pPool->SetExitFlag();
    EXPECT_FALSE(RaisedBy([&] { pPool->PushTask(pTask); }).m_bAny);
    EXPECT_EQ(TestTask::Alive(), 1);
    goOn.Set();
    EXPECT_EQ(CodeOf(ad), 0u);
    pPool.reset();
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(PushedAgainTest, TaskRunWithoutAPoolMayBePushedByItsOwnBody)
{
    std::atomic<int> nRuns{0};
    NBITask* pTask = nullptr;
    pTask = Named("a", [&] {
        if (++nRuns == 1) m_Pool.PushTask(pTask);
    });
    pTask->Run();  // which finishes it, though it is queued by then
    EXPECT_EQ(nRuns, 1);
    NBITask* const pB = Pushed("b");
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{"a"});
}

}  // namespace
}  // namespace NS_UTIL
