// The door to the pools: which huge tasks it refuses.
#include "task/hugepooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class TaskPoolMgrTest : public HugePoolTest {};

// Refusal at the push

TEST_F(TaskPoolMgrTest, HugeTaskAtTheOverallLimitIsRefusedAndDeleted)
{
    TaskPoolMgr::Init(0);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    auto* const pTask = new TestTask(ad);
    const Raised raised = RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pTask, 2); });
    EXPECT_TRUE(raised.m_bAny);
    EXPECT_EQ(raised.m_nCode, 0x4118000AU);
    EXPECT_EQ(raised.m_File, "nbitaskmgr");
    EXPECT_EQ(raised.m_Function, "unknown");
    EXPECT_EQ(raised.m_nLine, 339);
    EXPECT_EQ(raised.m_Message, "ErrCode:1092091914,Detail:");
    EXPECT_EQ(raised.m_ErrorInfo, "");
    EXPECT_EQ(TestTask::Alive(), 0);
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(TaskPoolMgrTest, RefusalLogsTheLimitOfTheAgentAndTheNumberOfHugeTasks)
{
    TaskPoolMgr::Init(3);
    for (const char* const pUuid : {"1", "2", "3"}) Enter("kind", pUuid);
    ServeRequest("collect", LONG_RUNNING);
    m_Host.ClearLogs();
    DBAgent agent("other", 17);
    AD ad;
    RaisedBy([&] { TaskPoolMgr::PushTask(agent, new TestTask(ad), 2); });
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{{"hugetask", "unknown", 221, 1, OVERALL_LOGGED},
                                    {"nbitaskmgr", "unknown", 329, 1,
                                     "[TaskPoolMgr::PushTask] CALL IncreaseHugeTask error, reached the max "
                                     "num:Taskmaxtasknum=17, nowtasknum=3"}}));
}

TEST_F(TaskPoolMgrTest, RefusalMakesNoPool)
{
    TaskPoolMgr::Init(0);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 2); });
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(2));
}

TEST_F(TaskPoolMgrTest, HugeTaskBeyondTheLimitOfItsKindIsRefused)
{
    ServeRequest("collect", {1, 1, 0, "tasks:"});
    Enter("tasks:collect", "1");
    Enter("tasks:collect", "2");
    m_Host.ClearLogs();
    AD ad;
    const Raised raised = RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 2); });
    EXPECT_EQ(raised.m_nCode, 0x4118000AU);
    EXPECT_EQ(raised.m_nLine, 339);
    ASSERT_EQ(m_Host.Logs().size(), 2u);
    EXPECT_EQ(m_Host.Logs()[0].m_nLine, 201);
    EXPECT_EQ(m_Host.Logs()[1].m_nLine, 329);
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(TaskPoolMgrTest, HugeTaskAtTheLimitOfItsKindIsAccepted)
{
    UseThreads(1);
    ServeRequest("collect", {1, 1, 0, "tasks:"});
    Enter("tasks:collect", "1");
    AD ad;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 2);
    EXPECT_EQ(CodeOf(ad), 0u);
    EndPool2();
}

TEST_F(TaskPoolMgrTest, KindIsNotLookedUpWhenTheOverallLimitIsReached)
{
    TaskPoolMgr::Init(0);
    ServeRequest("collect", {1, 1, 0, "tasks:"});
    AD ad;
    RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 2); });
    EXPECT_EQ(Entered(), Book{});  // the look-up would have entered the kind
}

TEST_F(TaskPoolMgrTest, LimitsAtThePushAreThoseOfThePushingRequest)
{
    ServeRequest("collect", {1, 1, 0, "tasks:"});
    Enter("tasks:collect", "1");
    Enter("tasks:collect", "2");
    AD ad;
    auto* const pTask = new TestTask(ad);
    ServeRequest("other", LONG_RUNNING);  // no limit of its kind
    UseThreads(1);
    TaskPoolMgr::PushTask(TestAgent(), pTask, 2);
    EXPECT_EQ(CodeOf(ad), 0u);
    EndPool2();
}

TEST_F(TaskPoolMgrTest, TaskOfMode0IsNeverRefusedAtThePush)
{
    UseThreads(1);
    TaskPoolMgr::Init(0);
    ServeRequest("query");
    AD ad;
    auto* const pTask = new TestTask(ad);
    EXPECT_NO_THROW(TaskPoolMgr::PushTask(TestAgent(), pTask, 2));
    EXPECT_TRUE(Eventually([this] { return OverallLines() == 1; }));
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_IDLE);
    EndPool2();
}

TEST_F(TaskPoolMgrTest, OtherPoolsAskForNoLimit)
{
    UseThreads(1);
    TaskPoolMgr::Init(0);
    ServeRequest("collect", LONG_RUNNING);
    for (const unsigned int nNumber : {0U, 1U, 3U}) {
        AD ad;
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), nNumber);
        EXPECT_EQ(CodeOf(ad), 0u);
    }
    EXPECT_TRUE(m_Host.LogsOf("hugetask").empty());
}

TEST_F(TaskPoolMgrTest, NotIdleTaskBelowTheLimitIsRefusedByThePool)
{
    UseThreads(1);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pTask->SetTaskState(NBI_TASK_BUSY);
    ExpectNotIdle(RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pTask, 2); }));
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(TaskPoolMgrTest, NotIdleHugeTaskAtTheLimitIsRefusedForTheLimit)
{
    TaskPoolMgr::Init(0);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pTask->SetTaskState(NBI_TASK_BUSY);
    const Raised raised = RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pTask, 2); });
    EXPECT_EQ(raised.m_nCode, 0x4118000AU);
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(TaskPoolMgrTest, RefusedTaskMayPushFromItsDestructor)
{
    UseThreads(1);
    TaskPoolMgr::Init(0);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    AD refused;
    auto* const pTask =
        new TestTask(refused, {}, [&] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 1); });
    const Raised raised = RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pTask, 2); });
    EXPECT_EQ(raised.m_nCode, 0x4118000AU);
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(TaskPoolMgrTest, InitPassesANegativeLimitOnAsALargeOne)
{
    TaskPoolMgr::Init(-1);
    for (int i = 0; i < 10; ++i) Enter("kind", std::to_string(i));
    EXPECT_FALSE(HugeTaskMgr::Instance()->IsOverHTaskNum());
}

TEST_F(TaskPoolMgrTest, NumberOfHugeTasksIsThatOfTheBook)
{
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 0);
    Enter("a", "1");
    Enter("b", "1");
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 2);
}

}  // namespace
}  // namespace NS_UTIL
