// What becomes of the tasks that a pool owns: states set from outside, and the sweep.
#include "task/taskqueue.h"

#include <random>

#include "task/taskqueuetesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

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
    EXPECT_TRUE(Eventually([this] { return NothingIdleLines() == 1; }));
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
    EXPECT_TRUE(Eventually([&] { return nRuns == 1; }));
    AD next;
    pPool->PushTask(new TestTask(next));
    EXPECT_TRUE(Eventually([&] { return nRuns == 2; }));
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
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 1; }));
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_FINISHED);
    goOn.Set();
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
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
        EXPECT_TRUE(Eventually([] { return TestTask::Alive() == TASKS; }));
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
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    EXPECT_EQ(nGone, TASKS);
}

}  // namespace
}  // namespace NS_UTIL
