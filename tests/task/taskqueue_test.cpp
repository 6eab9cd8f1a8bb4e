// What becomes of the tasks that a pool owns: states set from outside, the sweep, and tasks pushed twice.
#include "task/taskqueue.h"

#include <random>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using Names = std::vector<std::string>;

/// A pool without workers: the test takes the tasks itself.
class TaskQueueTest : public PoolTest {
protected:
    /// A task that tells when it goes. It has not been pushed.
    TestTask* Named(const std::string& name, Action body = {})
    {
        return new TestTask(m_Descriptor, std::move(body), [this, name] { m_Gone.push_back(name); });
    }
    TestTask* Pushed(const std::string& name, Action body = {})
    {
        TestTask* const pTask = Named(name, std::move(body));
        m_Pool.PushTask(pTask);
        return pTask;
    }

    AD m_Descriptor;  // of all tasks: these tests do not wait
    Names m_Gone;     // the names of the deleted tasks, in order
    NBITaskMgr m_Pool{5};
};

// States set from outside

TEST_F(TaskQueueTest, TasksAreHandedOutInTheOrderOfPushing)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(TaskQueueTest, HandedOutTaskIsBusy)
{
    NBITask* const pA = Pushed("a");
    EXPECT_EQ(pA->GetTaskState(), NBI_TASK_IDLE);
    m_Pool.AcquireIdleTask();
    EXPECT_EQ(pA->GetTaskState(), NBI_TASK_BUSY);
}

TEST_F(TaskQueueTest, QueuedTaskSetFinishedGoesAtTheNextSweepWithoutRunning)
{
    bool bRan = false;
    NBITask* const pA = Pushed("a", [&] { bRan = true; });
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_FINISHED);
    EXPECT_EQ(m_Gone, Names{});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_FALSE(bRan);
}

TEST_F(TaskQueueTest, QueuedTaskSetBusyIsPassedOverAndKept)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_BUSY);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{});
}

TEST_F(TaskQueueTest, TaskThatGoesBackToIdleKeepsItsPlace)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    NBITask* const pC = Pushed("c");
    NBITask* const pD = Pushed("d");
    for (NBITask* const pTask : {pC, pA, pB}) pTask->SetTaskState(NBI_TASK_BUSY);
    for (NBITask* const pTask : {pB, pC, pA}) pTask->SetTaskState(NBI_TASK_IDLE);
    for (NBITask* const pTask : {pA, pB, pC, pD}) EXPECT_EQ(m_Pool.AcquireIdleTask(), pTask);
}

TEST_F(TaskQueueTest, TaskThatIsTakenAndGoesBackToIdleIsFirstAgain)
{
    NBITask* const pA = Pushed("a");
    Pushed("b");
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
    pA->SetTaskState(NBI_TASK_IDLE);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
}

TEST_F(TaskQueueTest, FinishedTaskThatGoesBackToIdleBeforeTheSweepRunsInItsPlace)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_FINISHED);
    pA->SetTaskState(NBI_TASK_IDLE);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{});
}

TEST_F(TaskQueueTest, StateThatIsSetAgainChangesNothing)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_IDLE);
    pB->SetTaskState(NBI_TASK_IDLE);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
    pA->SetTaskState(NBI_TASK_BUSY);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(TaskQueueTest, TaskTakenByTheCallerAndSetFinishedGoesAtTheNextSweep)
{
    NBITask* const pA = Pushed("a");
    Pushed("b");
    m_Pool.AcquireIdleTask();
    pA->SetTaskState(NBI_TASK_FINISHED);
    m_Pool.AcquireIdleTask();
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(TaskQueueTest, TaskRunByTheCallerGoesAtTheNextSweep)
{
    Pushed("a");
    Pushed("b");
    m_Pool.AcquireIdleTask()->Run();
    EXPECT_TRUE(m_Descriptor.IsFinished());
    EXPECT_EQ(m_Gone, Names{});
    m_Pool.AcquireIdleTask();
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(TaskQueueTest, SweepDeletesInTheOrderOfPushing)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    NBITask* const pC = Pushed("c");
    NBITask* const pD = Pushed("d");
    for (NBITask* const pTask : {pC, pA, pB}) pTask->SetTaskState(NBI_TASK_FINISHED);
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pD);
    EXPECT_EQ(m_Gone, (Names{"a", "b", "c"}));
}

TEST_F(TaskQueueTest, SweepDeletesTasksOfBothKindsInTheOrderOfPushing)
{
    Pushed("a");
    NBITask* const pB = Pushed("b");
    Pushed("c");
    NBITask* const pD = Pushed("d");
    Pushed("e");
    NBITask* const pRunA = m_Pool.AcquireIdleTask();
    pD->SetTaskState(NBI_TASK_FINISHED);
    pB->SetTaskState(NBI_TASK_FINISHED);
    pRunA->Run();
    m_Pool.AcquireIdleTask();
    EXPECT_EQ(m_Gone, (Names{"a", "b", "d"}));
}

TEST_F(TaskQueueTest, SweptTaskMayPushFromItsDestructor)
{
    AD ad;
    auto* const pNew = new TestTask(ad);
    m_Pool.PushTask(new TestTask(m_Descriptor, {}, [&] { m_Pool.PushTask(pNew); }));
    m_Pool.AcquireIdleTask()->Run();
    Pushed("b");
    m_Pool.AcquireIdleTask();  // sweeps, and so pushes
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pNew);
}

TEST_F(TaskQueueTest, SweptTaskMayChangeOtherTasksFromItsDestructor)
{
    NBITask* pC = nullptr;
    m_Pool.PushTask(new TestTask(m_Descriptor, {}, [&] { pC->SetTaskState(NBI_TASK_BUSY); }));
    m_Pool.AcquireIdleTask()->Run();
    NBITask* const pB = Pushed("b");
    pC = Pushed("c");
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(pC->GetTaskState(), NBI_TASK_BUSY);
}

TEST_F(TaskQueueTest, TokenWithoutAnIdleTaskLogsOneLineAndTheWaitGoesOn)
{
    NBITask* const pA = Pushed("a");
    pA->SetTaskState(NBI_TASK_BUSY);
    m_Host.ClearLogs();
    NBITask* pTaken = nullptr;
    std::thread taker([&] { pTaken = m_Pool.AcquireIdleTask(); });
    EXPECT_TRUE(WaitUntil([this] { return NothingIdleLines() == 1; }));
    NBITask* const pB = Pushed("b");
    taker.join();
    EXPECT_EQ(pTaken, pB);
    EXPECT_EQ(m_Host.Logs(),
              (std::vector<LogLine>{{"nbitaskmgr", "unknown", 251, 1, "Acquire Idle Task error!!"}}));
}

TEST_F(TaskQueueTest, TaskWhoseBodySetsItIdleRunsAgainWithTheNextToken)
{
    const auto pPool = Started(6, 1);
    std::atomic<int> nRuns{0};
    // Complete() would finish it: this one leaves its state to the body.
    class Again : public TestTask {
    public:
        using TestTask::TestTask;
        void Complete() override {}
    };
    NBITask* pAgain = nullptr;
    AD ad;
    pAgain = new Again(ad, [&] { pAgain->SetTaskState(++nRuns == 1 ? NBI_TASK_IDLE : NBI_TASK_FINISHED); });
    pPool->PushTask(pAgain);
    EXPECT_TRUE(WaitUntil([&] { return nRuns == 1; }));
    AD next;
    pPool->PushTask(new TestTask(next));
    EXPECT_TRUE(WaitUntil([&] { return nRuns == 2; }));
    EXPECT_FALSE(next.IsFinished());  // its token went to the task in front of it
    AD last;
    pPool->PushTask(new TestTask(last));
    EXPECT_EQ(CodeOf(next), 0u);
}

TEST_F(TaskQueueTest, TaskThatIsRunningIsNotDeletedWhateverItsState)
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
    pTask->SetTaskState(NBI_TASK_FINISHED);
    for (int i = 0; i < 10; ++i) {  // so that the other worker sweeps
        AD other;
        pPool->PushTask(new TestTask(other));
        other.Wait();
    }
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 1; }));
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_FINISHED);
    goOn.Set();
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
}

TEST_F(TaskQueueTest, TaskThatIsRunningIsNotHandedOutAgainWhateverItsState)
{
    const auto pPool = Started(6, 2);
    Signal started;
    Signal goOn;
    std::atomic<int> nRuns{0};
    AD ad;
    auto* const pTask = new TestTask(ad, [&] {
        ++nRuns;
        started.Set();
        goOn.Wait();
    });
    pPool->PushTask(pTask);
    started.Wait();
    pTask->SetTaskState(NBI_TASK_IDLE);
    AD other;
    pPool->PushTask(new TestTask(other));
    other.Wait();
    goOn.Set();
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(nRuns, 1);
}

// Tasks pushed twice

TEST_F(TaskQueueTest, QueuedTaskPushedAgainStaysQueuedOnce)
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

TEST_F(TaskQueueTest, QueuedTaskPushedAgainBringsNoToken)
{
    NBITask* const pA = Pushed("a");
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    m_Pool.AcquireIdleTask();
    NBITask* const pB = Pushed("b");
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(NothingIdleLines(), 0u);
}

TEST_F(TaskQueueTest, TaskTakenByTheCallerAndPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Pool.AcquireIdleTask();
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(TaskQueueTest, TaskThatTheCallerIsRunningAndPushedAgainIsDeletedAfterwards)
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

TEST_F(TaskQueueTest, TaskThatAWorkerRunsAndPushedAgainIsDeletedAfterTheRun)
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
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
}

TEST_F(TaskQueueTest, TaskThatPushesItselfIsDeletedAfterItsRun)
{
    const auto pPool = Started(6, 1);
    NBITask* pTask = nullptr;
    Raised raised;
    AD ad;
    pTask = new TestTask(ad, [&] { raised = RaisedBy([&] { pPool->PushTask(pTask); }); });
    pPool->PushTask(pTask);
    EXPECT_EQ(CodeOf(ad), 0u);
    ExpectNotIdle(raised);
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
}

TEST_F(TaskQueueTest, TaskThatLetsThePushRaiseOutOfItsBodyFailsWithThatCode)
{
    const auto pPool = Started(6, 1);
    NBITask* pTask = nullptr;
    AD ad;
    pTask = new TestTask(ad, [&] { pPool->PushTask(pTask); });
    pPool->PushTask(pTask);
    EXPECT_EQ(CodeOf(ad), 0x41180010U);
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
}

TEST_F(TaskQueueTest, TaskSetIdleByItsBodyAndPushedAgainIsDeletedAfterTheRun)
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
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
}

TEST_F(TaskQueueTest, FinishedTaskPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Pool.AcquireIdleTask()->Run();
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(TaskQueueTest, QueuedTaskSetBusyAndPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_BUSY);
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(TaskQueueTest, QueuedTaskSetFinishedAndPushedAgainIsDeletedAtOnce)
{
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    pA->SetTaskState(NBI_TASK_FINISHED);
    ExpectNotIdle(RaisedBy([&] { m_Pool.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(TaskQueueTest, QueuedTaskPushedIntoAnotherPoolStaysWhereItIs)
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

TEST_F(TaskQueueTest, TaskTakenFromOnePoolAndPushedIntoAnotherIsDeletedAtOnce)
{
    NBITaskMgr other(6);
    NBITask* const pA = Pushed("a");
    NBITask* const pB = Pushed("b");
    m_Pool.AcquireIdleTask();
    ExpectNotIdle(RaisedBy([&] { other.PushTask(pA); }));
    EXPECT_EQ(m_Gone, Names{"a"});
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pB);
}

TEST_F(TaskQueueTest, QueuedTaskPushedAgainThroughTheFacadeStaysQueuedOnce)
{
    UseThreads(1);
    NBITask* const pA = Pushed("a");
    ExpectNotIdle(RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pA, 1); }));
    EXPECT_EQ(m_Pool.AcquireIdleTask(), pA);
}

TEST_F(TaskQueueTest, OwnedHugeTaskPushedThroughTheFacadeAtTheLimitIsRefusedAsOwned)
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

TEST_F(TaskQueueTest, QueuedTaskPushedAgainAfterTheExitStaysQueuedInSilence)
{
    NBITask* const pA = Pushed("a");
    m_Pool.SetExitFlag();
    m_Host.ClearLogs();
    EXPECT_FALSE(RaisedBy([&] { m_Pool.PushTask(pA); }).m_bAny);
    EXPECT_TRUE(m_Host.Logs().empty());
    EXPECT_EQ(m_Gone, Names{});
    EXPECT_EQ(pA->GetTaskState(), NBI_TASK_IDLE);
}

TEST_F(TaskQueueTest, TakenTaskPushedAgainAfterTheExitIsDeletedInSilence)
{
    NBITask* const pA = Pushed("a");
    m_Pool.AcquireIdleTask();
    m_Pool.SetExitFlag();
    m_Host.ClearLogs();
    EXPECT_FALSE(RaisedBy([&] { m_Pool.PushTask(pA); }).m_bAny);
    EXPECT_TRUE(m_Host.Logs().empty());
    EXPECT_EQ(m_Gone, Names{"a"});
}

TEST_F(TaskQueueTest, RunningTaskPushedAgainAfterTheExitIsNotDeletedUnderItsBody)
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

TEST_F(TaskQueueTest, TaskRunWithoutAPoolMayBePushedByItsOwnBody)
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

// Many at once

TEST_F(TaskQueueTest, StatesSetByManyThreadsKeepEveryTaskAndTheOrder)
{
    constexpr std::size_t TASKS = 100;
    std::vector<NBITask*> tasks(TASKS);
    std::vector<NBITask*> later(TASKS);
    for (NBITask*& pTask : tasks) pTask = Pushed("task");
    std::vector<std::thread> threads;
    for (const unsigned int nSeed : {1U, 2U, 3U}) {
        threads.emplace_back([&tasks, nSeed] {
            std::minstd_rand random(nSeed);
            for (int i = 0; i < 3000; ++i) {
                NBITask* const pTask = tasks[random() % tasks.size()];
                pTask->SetTaskState(random() % 2 == 0 ? NBI_TASK_IDLE : NBI_TASK_BUSY);
            }
        });
    }
    for (NBITask*& pTask : later) pTask = Pushed("later");
    for (std::thread& thread : threads) thread.join();
    for (NBITask* const pTask : tasks) pTask->SetTaskState(NBI_TASK_IDLE);
    for (NBITask* const pTask : tasks) EXPECT_EQ(m_Pool.AcquireIdleTask(), pTask);
    for (NBITask* const pTask : later) EXPECT_EQ(m_Pool.AcquireIdleTask(), pTask);
    EXPECT_EQ(m_Gone, Names{});
}

TEST_F(TaskQueueTest, TasksFinishedByManyThreadsWhileWorkersSweepAreDeletedOnce)
{
    const auto pPool = Started(6, 4);
    constexpr int TASKS = 1000;
    std::vector<NBITask*> parked;
    std::atomic<int> nGone{0};
    AD descriptor;
    {
        // All workers are held meanwhile, so that none takes a parked task before it is set busy.
        Meeting busy(5);
        for (int i = 0; i < 4; ++i) pPool->PushTask(new TestTask(descriptor, [&] { busy.Join(); }));
        for (int i = 0; i < TASKS; ++i) {
            parked.push_back(new TestTask(descriptor, {}, [&] { ++nGone; }));
            pPool->PushTask(parked.back());
            parked.back()->SetTaskState(NBI_TASK_BUSY);
        }
        busy.Join();
        EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == TASKS; }));
    }
    const auto finishFrom = [&parked](std::size_t nFirst) {
        for (std::size_t i = nFirst; i < parked.size(); i += 2) parked[i]->SetTaskState(NBI_TASK_FINISHED);
    };
    std::thread even(finishFrom, 0U);
    std::thread odd(finishFrom, 1U);
    even.join();
    odd.join();
    AD ad;
    pPool->PushTask(new TestTask(ad));
    ad.Wait();
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
    EXPECT_EQ(nGone, TASKS);
}

// The list itself

class TaskListTest : public ::testing::Test {
protected:
    std::vector<NBITask*> Content() const
    {
        std::vector<NBITask*> tasks;
        for (NBITask* pTask = m_List.First(); pTask != nullptr; pTask = m_List.After(*pTask)) {
            tasks.push_back(pTask);
        }
        return tasks;
    }
    AD m_Descriptor;
    TestTask m_A{m_Descriptor};
    TestTask m_B{m_Descriptor};
    TestTask m_C{m_Descriptor};
    TaskList m_List;
};
using Tasks = std::vector<NBITask*>;

TEST_F(TaskListTest, FreshListIsEmpty)
{
    EXPECT_TRUE(m_List.IsEmpty());
    EXPECT_EQ(m_List.First(), nullptr);
    EXPECT_EQ(m_List.Last(), nullptr);
    EXPECT_EQ(m_List.TakeFirst(), nullptr);
}

TEST_F(TaskListTest, TasksAreAppendedAtTheBack)
{
    m_List.Append(m_A);
    m_List.Append(m_B);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_B}));
    EXPECT_EQ(m_List.First(), &m_A);
    EXPECT_EQ(m_List.Last(), &m_B);
    EXPECT_FALSE(m_List.IsEmpty());
}

TEST_F(TaskListTest, TaskIsUnlinkedWhereverItStands)
{
    for (TestTask* const pTask : {&m_A, &m_B, &m_C}) m_List.Append(*pTask);
    TaskList::Unlink(m_B);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_C}));
    TaskList::Unlink(m_C);
    EXPECT_EQ(Content(), Tasks{&m_A});
    TaskList::Unlink(m_A);
    EXPECT_TRUE(m_List.IsEmpty());
}

TEST_F(TaskListTest, TakeFirstUnlinks)
{
    m_List.Append(m_A);
    m_List.Append(m_B);
    EXPECT_EQ(m_List.TakeFirst(), &m_A);
    EXPECT_EQ(Content(), Tasks{&m_B});
}

TEST_F(TaskListTest, TakeAllMovesBehindWhatIsThere)
{
    TaskList other;
    m_List.Append(m_A);
    other.Append(m_B);
    other.Append(m_C);
    m_List.TakeAll(other);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_B, &m_C}));
    EXPECT_TRUE(other.IsEmpty());
    m_List.TakeAll(other);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_B, &m_C}));
    other.TakeAll(m_List);
    EXPECT_TRUE(m_List.IsEmpty());
    EXPECT_EQ(other.Last(), &m_C);
}

}  // namespace
}  // namespace NS_UTIL
