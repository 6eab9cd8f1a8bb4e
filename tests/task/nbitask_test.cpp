#include "nbiutil/nbitask.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/errcode.h"
#include "nbiutil/nbitaskmgr.h"
#include "nbiutil/processexception.h"
#include "nbiutil/threadcontextmgr.h"
#include "support/condwaits.h"
#include "support/heapwatch.h"
#include "support/lockfailure.h"
#include "support/tasks.h"
#include "support/vtable.h"
#include "task/nbitasktesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

TEST_F(NBITaskTest, SlotsAreDestructorInitExecuteComplete)
{
    class Probe : public NBITask, public DeleteCounter {
    public:
        Probe() : Probe(AD()) {}
        explicit Probe(AD&& ad) : NBITask(TestAgent(), false, ad) {}
        void Execute() override {}
        virtual void Next() {}
    };
    ExpectDestructorAt<Probe>(0);
    EXPECT_EQ(SlotOf(&NBITask::Init), 2u);
    EXPECT_EQ(SlotOf(&NBITask::Execute), 3u);
    EXPECT_EQ(SlotOf(&NBITask::Complete), 4u);
    EXPECT_EQ(SlotOf(&Probe::Next), 5u) << "there are no more";
}

/// A name that users take for themselves: a task's bases must not hide it.
struct TaskLink {
    int m_nNumber = 0;
};
struct TaskList {
    TaskLink m_First;
};

TEST_F(NBITaskTest, TaskMayUseItsUsersOwnNames)
{
    class Linked : public TestTask {
    public:
        using TestTask::TestTask;
        TaskList m_List{TaskLink{4}};
    };
    EXPECT_EQ(Linked(m_AD).m_List.m_First.m_nNumber, 4);
}

TEST_F(NBITaskTest, StatesHaveTheirFixedNumbers)
{
    static_assert(sizeof(NBI_TASK_STATE) == 4);
    EXPECT_EQ(NBI_TASK_IDLE, 0);
    EXPECT_EQ(NBI_TASK_BUSY, 1);
    EXPECT_EQ(NBI_TASK_FINISHED, 2);
}

// Construction

TEST_F(NBITaskTest, NewTaskIsIdleAndRefersToItsAgent)
{
    static_assert(!std::is_copy_constructible_v<StagedTask>);
    static_assert(std::is_abstract_v<NBITask>);
    StagedTask task(m_AD);
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_IDLE);
    EXPECT_EQ(task.GetAgentType(), "agent");
    EXPECT_EQ(&task.GetAgent(), &TestAgent());
    EXPECT_TRUE(task.GetFlag());
    EXPECT_FALSE(m_AD.IsFinished());
    EXPECT_TRUE(task.m_Calls.empty());
}

TEST_F(NBITaskTest, TaskSharesTheCallersDescriptor)
{
    auto pCaller = std::make_unique<AD>();
    StagedTask task(*pCaller);
    AD other(*pCaller);
    pCaller.reset();
    task.GetDescriptor().SetErrorCode(3);
    EXPECT_EQ(StoredCode(other), 3u) << "the handle that was given may go";
}

TEST_F(NBITaskTest, DescriptorOutlivesTheTask)
{
    auto pTask = std::make_unique<StagedTask>(m_AD);
    pTask->Run();
    pTask.reset();
    EXPECT_EQ(HowItEnded(m_AD), "success");
}

TEST_F(NBITaskTest, TaskTakesTheContextOfTheThreadThatMadeIt)
{
    const std::string uuid = ServeRequest("mine", {5, 1, -1, "manager"});
    StagedTask task(m_AD);
    ServeRequest("another", {6, 0, 0, "other"});
    const ThreadContextInfo info = task.GetThreadInfo();
    EXPECT_EQ(info.GetInterfaceName(), "mine");
    EXPECT_EQ(info.GetOperUUID(), uuid);
    EXPECT_EQ(info.GetTskNum(), 5);
    EXPECT_EQ(info.GetTskMode(), 1);
    EXPECT_EQ(info.GetTskType(), -1);
    EXPECT_EQ(info.GetTskMgr(), "manager");
    EXPECT_EQ(task.GetTaskMode(), 1);
}

TEST_F(NBITaskTest, TaskOfAThreadWithoutARequestHasAUUIDOfItsOwn)
{
    std::thread([this] {
        StagedTask task(m_AD);
        StagedTask other(m_AD);
        EXPECT_EQ(task.GetThreadInfo().GetInterfaceName(), "");
        EXPECT_EQ(task.GetTaskMode(), 0);
        EXPECT_NE(task.GetThreadInfo().GetOperUUID(), "");
        EXPECT_EQ(task.GetThreadInfo().GetOperUUID(), task.GetThreadInfo().GetOperUUID());
        EXPECT_NE(task.GetThreadInfo().GetOperUUID(), other.GetThreadInfo().GetOperUUID());
    }).join();
}

TEST_F(NBITaskTest, WithoutARegistryATaskHasTheDefaultContext)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ThreadContextMgr::Destroy();
    const FailingLocks failing(LockKind::MUTEX, 1);
    StagedTask task(m_AD);
    EXPECT_EQ(failing.Left(), 0);
    EXPECT_EQ(task.GetThreadInfo(), ThreadContextInfo());
}

TEST_F(NBITaskTest, ThreadInfoIsACopy)
{
    StagedTask task(m_AD);
    task.GetThreadInfo().SetInterfaceName("changed");
    EXPECT_EQ(task.GetThreadInfo().GetInterfaceName(), "interface");
}

/// What a queued task costs: its request's texts are there once.
TEST_F(NBITaskTest, TasksOfOneRequestHaveOneRecord)
{
    ServeRequest("mine");
    TestTask first(m_AD);
    const FailingAllocation failing(0);
    TestTask second(m_AD);
    second.Run();
    EXPECT_FALSE(failing.HasFailed());
}

TEST_F(NBITaskTest, RecordOfATaskStaysWhateverBecomesOfItsThread)
{
    std::string uuid;
    std::vector<std::unique_ptr<TestTask>> tasks;
    std::thread([&] {
        uuid = ServeRequest("mine", {5, 1, -1, "manager"});
        for (int i = 0; i < 2; ++i) tasks.push_back(std::make_unique<TestTask>(m_AD));
        ServeRequest("another");
        ThreadContextMgr::Destroy();
    }).join();
    for (const auto& pTask : tasks) {
        EXPECT_EQ(pTask->GetThreadInfo().GetOperUUID(), uuid);
        EXPECT_EQ(pTask->GetThreadInfo().GetTskType(), -1);
        EXPECT_EQ(pTask->GetTaskMode(), 1);
    }
}

TEST_F(NBITaskTest, BodyThatSetsAContextSetsItsThreadsAlone)
{
    const std::string uuid = ServeRequest("mine");
    StagedTask first(m_AD, Stage::EXECUTE, [] { ServeRequest("the body's own"); });
    StagedTask second(m_AD);
    std::thread([&] {
        first.Run();
        EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetInterfaceName(), "the body's own");
        EXPECT_EQ(StagedTask(m_AD).GetThreadInfo().GetInterfaceName(), "the body's own");
        second.Run();
        EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID(), uuid);
    }).join();
    EXPECT_EQ(first.GetThreadInfo().GetOperUUID(), uuid);
    EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID(), uuid);
}

TEST_F(NBITaskTest, TaskThatABodyMakesIsItsRequestsToo)
{
    const std::string uuid = ServeRequest("mine", {5, 1, -1, "manager"});
    ThreadContextInfo seen;
    StagedTask task(m_AD, Stage::EXECUTE, [&] { seen = StagedTask(m_AD).GetThreadInfo(); });
    std::thread([&task] { task.Run(); }).join();
    EXPECT_EQ(seen, task.GetThreadInfo());
    EXPECT_EQ(seen.GetTskMode(), 1);
    EXPECT_EQ(seen.GetTskType(), -1);
}

TEST_F(NBITaskTest, RecordWithoutAUUIDGetsOneOnTheThreadThatRunsIt)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ThreadContextMgr::Destroy();
    std::optional<FailingLocks> failing(std::in_place, LockKind::MUTEX, 1);
    StagedTask task(m_AD);
    failing.reset();
    task.Run();
    const std::string uuid = ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID();
    EXPECT_NE(uuid, "");
    EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID(), uuid);
    EXPECT_EQ(task.GetThreadInfo().GetOperUUID(), "");
}

TEST_F(NBITaskTest, StateIsWhatWasSet)
{
    StagedTask task(m_AD);
    for (const NBI_TASK_STATE state : {NBI_TASK_BUSY, NBI_TASK_FINISHED, NBI_TASK_IDLE}) {
        task.SetTaskState(state);
        EXPECT_EQ(task.GetTaskState(), state);
    }
    EXPECT_FALSE(m_AD.IsFinished());
}

TEST_F(NBITaskTest, TaskAnswersWhenALockFails)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    ServeRequest("mine", {5, 1, -1, "manager"});
    StagedTask task(m_AD);
    for (int nCall = 0; nCall < 4; ++nCall) {
        const FailingLocks failing(LockKind::MUTEX);
        task.SetTaskState(NBI_TASK_BUSY);
        EXPECT_EQ(task.GetTaskState(), NBI_TASK_BUSY);
        EXPECT_EQ(task.GetTaskMode(), 1);
        EXPECT_EQ(task.GetThreadInfo().GetInterfaceName(), "mine");
    }
}

TEST_F(NBITaskTest, AwakeWakesAndTouchesNeitherCodeNorState)
{
    StagedTask task(m_AD);
    m_AD.SetErrorCode(4);
    task.SetTaskState(NBI_TASK_BUSY);
    task.Awake();
    EXPECT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:4,Detail:");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_BUSY);
}

// Run, successful

TEST_F(NBITaskTest, RunCallsInitExecuteComplete)
{
    StagedTask task(m_AD);
    task.Run();
    EXPECT_EQ(task.m_Calls, (Calls{"Init", "Execute", "Complete"}));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(NBITaskTest, BodyThatReturnsLeavesCodeZeroAndAFinishedTask)
{
    TestTask task(m_AD);
    task.Run();
    EXPECT_TRUE(m_AD.IsFinished());
    EXPECT_EQ(StoredCode(m_AD), 0u);
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

TEST_F(NBITaskTest, CompleteReplacesAPresetCode)
{
    m_AD.SetErrorCode(99);
    m_AD.SetErrorInfo("preset");
    TestTask task(m_AD);
    task.Run();
    EXPECT_EQ(HowItEnded(m_AD), "success");
}

TEST_F(NBITaskTest, CompleteByItselfDoesTheSame)
{
    m_AD.SetErrorCode(99);
    TestTask task(m_AD);
    task.Complete();
    EXPECT_EQ(HowItEnded(m_AD), "success");
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
}

TEST_F(NBITaskTest, WakingIsCompletesJobAndNotRuns)
{
    class Probe : public TestTask {
    public:
        using TestTask::TestTask;
        void Complete() override {}
    };
    Probe task(m_AD);
    task.SetTaskState(NBI_TASK_BUSY);
    task.Run();
    EXPECT_FALSE(m_AD.IsFinished());
    EXPECT_EQ(task.GetTaskState(), NBI_TASK_BUSY);
}

TEST_F(NBITaskTest, ContextOfTheTaskIsInstalledOnTheThreadThatRunsIt)
{
    const std::string uuid = ServeRequest("mine", {5, 1, -1, "manager"});
    for (const Stage stage : {Stage::INIT, Stage::EXECUTE, Stage::COMPLETE}) {
        ThreadContextInfo seen;
        StagedTask task(m_AD, stage, [&seen] { seen = ThreadContextMgr::Instance()->GetThreadContext(); });
        std::thread([&task] { task.Run(); }).join();
        EXPECT_EQ(seen, task.GetThreadInfo());
        EXPECT_EQ(seen.GetOperUUID(), uuid);
        EXPECT_EQ(seen.GetTskNum(), 5);
        EXPECT_EQ(seen.GetTskMode(), 1);
        EXPECT_EQ(seen.GetTskType(), -1);
        EXPECT_EQ(seen.GetTskMgr(), "manager");
    }
}

TEST_F(NBITaskTest, ContextStaysOnTheThreadAfterTheRun)
{
    const std::string uuid = ServeRequest("mine");
    TestTask task(m_AD);
    std::thread([&task, &uuid] {
        ServeRequest("the worker's own");
        task.Run();
        EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetInterfaceName(), "mine");
        EXPECT_EQ(ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID(), uuid);
    }).join();
}

TEST_F(NBITaskTest, TaskIsFinishedOnlyAfterItsDescriptorIsWokenWithItsCode)
{
    for (int i = 0; i < 300; ++i) {
        AD ad;
        ad.SetErrorCode(99);
        const bool bFails = i % 2 != 0;
        TestTask task(ad, [bFails] {
            if (bFails) throw ProcessException(7, "", "info", "file", "function", 1);
        });
        std::thread worker([&task] { task.Run(); });
        while (task.GetTaskState() != NBI_TASK_FINISHED) std::this_thread::yield();
        EXPECT_TRUE(ad.IsFinished());
        EXPECT_EQ(HowItEnded(ad), bFails ? "ErrCode:7,Detail:info" : "success");
        worker.join();
    }
}

TEST_F(NBITaskTest, TaskIsNotFinishedWhileItsDescriptorCannotBeWoken)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    struct Case {
        Action m_Fail;
        int m_nLocksBeforeTheWakeUp;  // those of the log call, the code and the info
    };
    m_Host.RegisterForeignService(true);  // a log call takes one lock, looking the service up
    const std::vector<Case> cases{{[] {}, 1},
                                  {[] { throw ProcessException(7, "", "info", "file", "function", 1); }, 3},
                                  {[] { throw 42; }, 2}};
    for (const Case& given : cases) {
        AD ad;
        std::optional<FailingLocks> failing;
        TestTask task(ad, [&] {
            failing.emplace(LockKind::MUTEX, given.m_nLocksBeforeTheWakeUp);
            given.m_Fail();
        });
        std::optional<Sleeper> worker;
        {
            const NextWait wait([&] {  // with the descriptor's lock held
                worker.emplace([&task] { task.Run(); });
                EXPECT_FALSE(worker->IsDone());
                EXPECT_EQ(task.GetTaskState(), NBI_TASK_IDLE);
            });
            ad.WaitToComplete();
        }
        worker->Join();
        EXPECT_TRUE(ad.IsFinished());
        EXPECT_EQ(task.GetTaskState(), NBI_TASK_FINISHED);
    }
}

// In a pool

class NBITaskInPoolTest : public NBITaskTest {
protected:
    NBITaskInPoolTest()
    {
        m_Host.SetInt("TaskMgrMaxThreadNum", 2);
        m_pPool = std::make_unique<NBITaskMgr>();
        m_pPool->open(nullptr);
    }

    /// A task that has come and gone: a worker has looked for finished tasks since.
    void PassTask()
    {
        AD ad;
        m_pPool->PushTask(new TestTask(ad));
        ad.Wait();
    }

    std::unique_ptr<NBITaskMgr> m_pPool;
};

TEST_F(NBITaskInPoolTest, TaskThatIsFinishedLivesUntilItsRunIsOver)
{
    class Probe : public TestTask {
    public:
        Probe(AD& ad, Action afterFinish, Action gone)
            : TestTask(ad, {}, std::move(gone)), m_AfterFinish(std::move(afterFinish))
        {
        }
        void Complete() override
        {
            TestTask::Complete();
            m_AfterFinish();
            throw ProcessException(5, m_Text, "file", "function", 12);
        }

    private:
        Action m_AfterFinish;
        std::string m_Text = std::string(100, 't');
    };
    Signal goOn;
    Signal gone;
    m_pPool->PushTask(new Probe(
        m_AD, [&goOn] { goOn.Wait(); }, [&gone] { gone.Set(); }));
    m_AD.Wait();
    for (int i = 0; i < 10; ++i) PassTask();  // by the other worker, which sweeps each time
    EXPECT_FALSE(gone.IsSet());
    goOn.Set();
    EXPECT_TRUE(Eventually([this] { return !m_Host.LogsAt("file", 12).empty(); }));
    EXPECT_TRUE(Eventually([this, &gone] {
        PassTask();
        return gone.IsSet();
    }));
    EXPECT_EQ(m_Host.LogsAt("file", 12).size(), 1u);
}

TEST_F(NBITaskInPoolTest, LinesOfAWorkerBelongToTheRequestThatMadeTheTask)
{
    const std::string uuid = ServeRequest("mine");
    std::string seen;
    m_pPool->PushTask(new TestTask(m_AD, [&seen] {
        seen = ThreadContextMgr::Instance()->GetThreadContext().GetOperUUID();
        throw 42;
    }));
    EXPECT_EQ(HowItEnded(m_AD), "ErrCode:1092092604,Detail:");
    EXPECT_EQ(seen, uuid);
    ASSERT_EQ(m_Host.LogsAt("nbitask", 140).size(), 1u);
    EXPECT_NE(m_Host.LogsAt("nbitask", 140)[0].m_nThread, static_cast<unsigned long>(pthread_self()));
}

}  // namespace
}  // namespace NS_UTIL
