// How pools end: by the exit flag, and by the shutdown of all.
#include <ace/Thread_Manager.h>

#include "support/inchild.h"
#include "task/pooltesting.h"
#include "task/taskqueue.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using Names = std::vector<std::string>;

class ShutdownTest : public PoolTest {
protected:
    std::string m_Order;  // what happened, a letter each
};

/// The queue of a pool: the number of its tokens decides whether everybody comes back at the exit.
struct QueueOfAPool {
    using Member = std::unique_ptr<TaskQueue> NBITaskMgr::*;
    friend Member Reveal(QueueOfAPool);
};
template <class Tag, typename Tag::Member MEMBER>
struct Revealed {
    friend typename Tag::Member Reveal(Tag) { return MEMBER; }
};
template struct Revealed<QueueOfAPool, &NBITaskMgr::m_pQueue>;

std::uint32_t TokensOf(NBITaskMgr& pool)
{
    return (pool.*Reveal(QueueOfAPool())).get()->Tokens().Count();
}

// The exit flag

TEST_F(ShutdownTest, PushAfterTheExitDeletesTheTaskAndRaisesNothing)
{
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    m_Host.ClearLogs();
    AD ad;
    EXPECT_NO_THROW(pool.PushTask(new TestTask(ad)));
    EXPECT_EQ(TestTask::Alive(), 0);
    EXPECT_FALSE(ad.IsFinished());
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ShutdownTest, PushAfterTheExitTestsTheFlagBeforeTheState)
{
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    m_Host.ClearLogs();
    AD ad;
    auto* const pTask = new TestTask(ad);
    pTask->SetTaskState(NBI_TASK_BUSY);
    EXPECT_NO_THROW(pool.PushTask(pTask));
    EXPECT_EQ(TestTask::Alive(), 0);
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ShutdownTest, ExitFlagOfOnePoolEndsAll)
{
    NBITaskMgr one(5);
    NBITaskMgr other(6);
    one.SetExitFlag();
    AD ad;
    other.PushTask(new TestTask(ad));
    EXPECT_EQ(TestTask::Alive(), 0);
    EXPECT_EQ(other.AcquireIdleTask(), nullptr);
    NBITaskMgr later(7);
    later.PushTask(new TestTask(ad));
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(ShutdownTest, DroppedTaskMayPushFromItsDestructor)
{
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    AD ad;
    pool.PushTask(new TestTask(ad, {}, [&] { pool.PushTask(new TestTask(ad)); }));
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(ShutdownTest, LookAfterTheExitTakesNothingAndSweepsNothing)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pFinished = new TestTask(ad);
    pool.PushTask(pFinished);
    pool.PushTask(new TestTask(ad));
    pFinished->SetTaskState(NBI_TASK_FINISHED);
    pool.SetExitFlag();
    m_Host.ClearLogs();
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    EXPECT_EQ(TestTask::Alive(), 2);
    EXPECT_TRUE(m_Host.Logs().empty());
}

/// A thread that sleeps in AcquireIdleTask() although \p task is queued: set idle again, it has no token.
class Sleeper {
public:
    Sleeper(NBITaskMgr& pool, NBITask& task, const RecordingHost& host)
    {
        pool.PushTask(&task);
        task.SetTaskState(NBI_TASK_BUSY);
        m_Thread = std::thread([this, &pool] { m_pTaken = pool.AcquireIdleTask(); });
        EXPECT_TRUE(WaitUntil([&host] { return host.LogsAt("nbitaskmgr", 251).size() == 1; }));
    }
    NBITask* Taken()
    {
        m_Thread.join();
        return m_pTaken;
    }

private:
    std::thread m_Thread;
    NBITask* m_pTaken = nullptr;
};

TEST_F(ShutdownTest, SleeperWokenByTheExitStillTakesOneIdleTask)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    Sleeper sleeper(pool, *pTask, m_Host);
    pTask->SetTaskState(NBI_TASK_IDLE);
    pool.SetExitFlag();
    EXPECT_EQ(sleeper.Taken(), pTask);
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_BUSY);
    EXPECT_EQ(NothingIdleLines(), 1u);
}

TEST_F(ShutdownTest, SleeperWokenByTheExitThatFindsNothingLogsOneLineAndStops)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    Sleeper sleeper(pool, *pTask, m_Host);
    pool.SetExitFlag();
    EXPECT_EQ(sleeper.Taken(), nullptr);
    EXPECT_EQ(NothingIdleLines(), 2u);
}

TEST_F(ShutdownTest, WorkerWokenByTheExitRunsTheIdleTaskAndThenStops)
{
    const auto pPool = Started(5, 1);
    AD ad;
    auto* const pTask = new TestTask(ad);
    {
        Held held;
        AD first;
        pPool->PushTask(new TestTask(first, held.Body()));
        held.m_Started.Wait();
        pPool->PushTask(pTask);
        pTask->SetTaskState(NBI_TASK_BUSY);
        held.m_GoOn.Set();
        first.Wait();
    }
    EXPECT_TRUE(WaitUntil([this] { return NothingIdleLines() == 1; }));  // its token is spent
    pTask->SetTaskState(NBI_TASK_IDLE);
    pPool->SetExitFlag();
    EXPECT_EQ(pPool->wait(), 0);
    EXPECT_TRUE(ad.IsFinished());
    EXPECT_EQ(CodeOf(ad), 0u);
}

class ExitWakes : public PoolTest, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Threads, ExitWakes, ::testing::Values(1, 2, 20, 200));

TEST_P(ExitWakes, AllWorkersThatSleep)
{
    const int nThreads = GetParam();
    const auto pPool = Started(5, nThreads);
    Meeting meeting(nThreads);
    std::vector<AD> ads(static_cast<std::size_t>(nThreads));
    for (AD& ad : ads) pPool->PushTask(new TestTask(ad, [&] { meeting.Join(); }));
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_TRUE(WaitUntil([] { return TestTask::Alive() == 0; }));
    pPool->SetExitFlag();
    EXPECT_EQ(pPool->wait(), 0);
    EXPECT_LE(NothingIdleLines(), static_cast<std::size_t>(nThreads));  // one each at most
}

TEST_F(ShutdownTest, ExitPostsATokenForEachWorkerAndOneMore)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    EXPECT_EQ(TokensOf(pool), 4u);
}

TEST_F(ShutdownTest, WorkersThatLeavePassTheTokensOn)
{
    const auto pPool = Started(5, 3);
    pPool->SetExitFlag();
    pPool->wait();
    // At least: one that sees the exit before it has taken a token posts all the same.
    EXPECT_GE(TokensOf(*pPool), 4u);
}

TEST_F(ShutdownTest, RunningBodyEndsBeforeItsWorkerDoes)
{
    const auto pPool = Started(5, 1);
    Held held;
    AD ad;
    pPool->PushTask(new TestTask(ad, [&] {
        held.Body()();
        m_Order += 'b';
    }));
    held.m_Started.Wait();
    pPool->SetExitFlag();
    std::thread joiner([&] {
        pPool->wait();
        m_Order += 'j';
    });
    held.m_GoOn.Set();
    joiner.join();
    EXPECT_EQ(m_Order, "bj");
    EXPECT_TRUE(ad.IsFinished());
}

TEST_F(ShutdownTest, WorkerThatIsBusyAtTheExitTakesNoOtherTask)
{
    auto pPool = Started(5, 1);
    Held held;
    AD first;
    AD second;
    second.SetErrorCode(PRESET);
    pPool->PushTask(new TestTask(first, held.Body()));
    pPool->PushTask(new TestTask(second, [this] { m_Order += '2'; }));
    held.m_Started.Wait();
    pPool->SetExitFlag();
    held.m_GoOn.Set();
    pPool->wait();
    EXPECT_EQ(m_Order, "");
    EXPECT_TRUE(second.IsFinished());  // ACE has called close() for the worker
    EXPECT_EQ(CodeOf(second), PRESET);
}

TEST_F(ShutdownTest, FinishedTaskOfTheLastRunGoesWithItsPool)
{
    UseThreads(1);
    for (const int nNumber : {5, 2}) {
        // In a process of its own each, since the exit flag is for good.
        EXPECT_TRUE(PassesInChild([&] {
            auto pPool = Started(nNumber, 1);
            Held held;
            AD ad;
            pPool->PushTask(new TestTask(ad, held.Body()));
            held.m_Started.Wait();
            pPool->SetExitFlag();
            held.m_GoOn.Set();
            pPool->wait();
            EXPECT_TRUE(ad.IsFinished());
            EXPECT_EQ(TestTask::Alive(), 1);
            pPool.reset();
            EXPECT_EQ(TestTask::Alive(), 0);
        }));
    }
}

TEST_F(ShutdownTest, PoolMadeAfterTheExitStartsNoWorkers)
{
    UseThreads(3);
    NBITaskMgr(5).SetExitFlag();
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(6);
    ASSERT_NE(pPool, nullptr);
    EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(6));
    EXPECT_EQ(pPool->thr_count(), 0u);
}

// close()

TEST_F(ShutdownTest, CloseWakesIdleAndBusyTasksWithTheCodesTheyHold)
{
    NBITaskMgr pool(5);
    AD idle;
    AD busy;
    AD preset;
    AD finished;
    preset.SetErrorCode(PRESET);
    pool.PushTask(new TestTask(busy));
    pool.AcquireIdleTask();
    pool.PushTask(new TestTask(idle));
    pool.PushTask(new TestTask(preset));
    auto* const pFinished = new TestTask(finished);
    pool.PushTask(pFinished);
    pFinished->SetTaskState(NBI_TASK_FINISHED);
    EXPECT_EQ(pool.close(0), 0);
    EXPECT_EQ(CodeOf(idle), 0u);
    EXPECT_EQ(CodeOf(busy), 0u);
    EXPECT_EQ(CodeOf(preset), PRESET);
    EXPECT_FALSE(finished.IsFinished());
    EXPECT_EQ(TestTask::Alive(), 4);
}

/// A task whose end is told to the pool and not to its descriptor.
class SilentTask : public TestTask {
public:
    using TestTask::TestTask;
    void Complete() override
    {
        SetTaskState(NBI_TASK_FINISHED);
        m_Held.m_Started.Set();
        m_Held.m_GoOn.Wait();
    }
    Held m_Held;
};

TEST_F(ShutdownTest, CloseWakesNoFinishedTaskThoughItIsStillHeld)
{
    const auto pPool = Started(5, 1);
    AD ad;
    auto* const pTask = new SilentTask(ad);
    pPool->PushTask(pTask);
    pTask->m_Held.m_Started.Wait();
    pPool->close(0);
    EXPECT_FALSE(ad.IsFinished());
    pTask->m_Held.m_GoOn.Set();
}

TEST_F(ShutdownTest, CloseMayBeRepeatedWithAnyFlags)
{
    NBITaskMgr pool(5);
    AD ad;
    pool.PushTask(new TestTask(ad));
    EXPECT_EQ(pool.close(0), 0);
    EXPECT_EQ(pool.close(1), 0);
    EXPECT_EQ(pool.close(0), 0);
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(ShutdownTest, CloseAloneStopsNothing)
{
    const auto pPool = Started(5, 1);
    EXPECT_EQ(pPool->close(0), 0);
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
}

// Shutting all down

TEST_F(ShutdownTest, ShutDownWithoutPoolsDoesNothing)
{
    TaskPoolMgr::ShutDown();
    for (const unsigned int nNumber : {0U, 1U, 2U}) EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(nNumber));
    UseThreads(1);
    AD ad;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 1);
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(ShutdownTest, ShutDownMakesNoPool)
{
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(1);
    TaskPoolMgr::ShutDown();
    std::vector<unsigned int> ids;
    NBITaskMgr::GetAllTaskMgrId(ids);
    EXPECT_EQ(ids, std::vector<unsigned int>{1});
}

TEST_F(ShutdownTest, ShutDownJoinsTheWorkersOfPools0And1And2)
{
    UseThreads(2);
    for (const unsigned int nNumber : {0U, 1U, 2U}) {
        AD ad;
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), nNumber);
        ad.Wait();
    }
    TaskPoolMgr::ShutDown();
    for (const unsigned int nNumber : {0U, 1U, 2U}) {
        NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(nNumber);
        EXPECT_EQ(ACE_Thread_Manager::instance()->num_threads_in_task(pPool), 0);
    }
}

TEST_F(ShutdownTest, ShutDownWaitsForNoOtherPool)
{
    UseThreads(1);
    Held held;
    AD running;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(running, held.Body()), 3);
    held.m_Started.Wait();
    AD queued;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(queued), 3);
    NBITaskMgr::GetTaskMgr(0);
    TaskPoolMgr::ShutDown();
    EXPECT_FALSE(running.IsFinished());  // nor was it closed
    EXPECT_FALSE(queued.IsFinished());
    held.m_GoOn.Set();
    NBITaskMgr::GetTaskMgr(3)->wait();  // its worker is done with the body and sees the flag
    EXPECT_TRUE(running.IsFinished());
}

TEST_F(ShutdownTest, ShutDownLeavesPoolsInTheRegistry)
{
    UseThreads(1);
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(0);
    TaskPoolMgr::ShutDown();
    EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(0));
    EXPECT_EQ(NBITaskMgr::GetTaskMgr(0), pPool);
}

TEST_F(ShutdownTest, PushAfterShutDownIsDroppedByEveryPool)
{
    UseThreads(1);
    for (const unsigned int nNumber : {0U, 3U}) NBITaskMgr::GetTaskMgr(nNumber);
    TaskPoolMgr::ShutDown();
    AD ad;
    for (const unsigned int nNumber : {0U, 1U, 2U, 3U, 4U}) {  // 1, 2 and 4 are made by the push
        EXPECT_NO_THROW(TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), nNumber));
        EXPECT_EQ(TestTask::Alive(), 0);
    }
    EXPECT_FALSE(ad.IsFinished());
}

TEST_F(ShutdownTest, HugeTaskAtTheLimitRaisesAfterShutDownToo)
{
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(0);
    TaskPoolMgr::ShutDown();
    TaskPoolMgr::Init(0);
    ServeRequest("collect", {0, 1, 0, "tasks:"});
    AD ad;
    const Raised raised = RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 2); });
    EXPECT_EQ(raised.m_nCode, 0x4118000AU);
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(ShutdownTest, SecondShutDownIsHarmless)
{
    UseThreads(2);
    for (const unsigned int nNumber : {0U, 1U, 2U}) NBITaskMgr::GetTaskMgr(nNumber);
    TaskPoolMgr::ShutDown();
    TaskPoolMgr::ShutDown();
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(3));
}

TEST_F(ShutdownTest, ShutDownTakesPoolByPoolAndEachAsExitCloseAndWait)
{
    UseThreads(1);
    Held held[3];
    AD running[3];
    AD queued[3];
    for (unsigned int nNumber = 0; nNumber < 3; ++nNumber) {
        ServeRequest("query");
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(running[nNumber], held[nNumber].Body()), nNumber);
        held[nNumber].m_Started.Wait();
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(queued[nNumber]), nNumber);
    }
    std::thread stopper([this] {
        TaskPoolMgr::ShutDown();
        m_Order += 'd';
    });
    for (std::size_t nNumber = 0; nNumber < 3; ++nNumber) {
        // close() has come for this pool; those behind it wait for this one's worker
        EXPECT_TRUE(WaitUntil([&] { return queued[nNumber].IsFinished() && running[nNumber].IsFinished(); }));
        for (std::size_t nLater = nNumber + 1; nLater < 3; ++nLater) {
            EXPECT_FALSE(queued[nLater].IsFinished());
            EXPECT_FALSE(running[nLater].IsFinished());
        }
        AD dropped;
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(dropped, [this] { m_Order += 'x'; }), 2);
        held[nNumber].m_GoOn.Set();
    }
    stopper.join();
    EXPECT_EQ(m_Order, "d");
    for (AD& ad : queued) EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(ShutdownTest, WaiterOfAQueuedTaskGetsThePresetCodeAtShutDown)
{
    UseThreads(1);
    Held held;
    AD running;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(running, held.Body()), 0);
    held.m_Started.Wait();
    AD queued;
    queued.SetErrorCode(PRESET);
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(queued), 0);
    unsigned int nCode = 0;
    std::thread waiter([&] { nCode = CodeOf(queued); });
    std::thread stopper([] { TaskPoolMgr::ShutDown(); });
    waiter.join();
    EXPECT_EQ(nCode, PRESET);
    held.m_GoOn.Set();
    stopper.join();
}

TEST_F(ShutdownTest, WaiterOfADroppedTaskIsEndedByTheStoppingFramework)
{
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(0);
    TaskPoolMgr::ShutDown();
    AD ad;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 0);
    m_Host.SetState(2);
    EXPECT_EQ(CodeOf(ad), 1u);
}

TEST_F(ShutdownTest, ShutDownWhileManyPushLosesNoTask)
{
    UseThreads(4);
    std::atomic<bool> bStop{false};
    std::vector<std::thread> pushers;
    for (unsigned int nNumber = 0; nNumber < 3; ++nNumber) {
        pushers.emplace_back([&bStop, nNumber] {
            while (!bStop) {
                AD ad;
                TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), nNumber);
            }
        });
    }
    EXPECT_TRUE(WaitUntil([] {
        return NBITaskMgr::TaskMgrExisted(0) && NBITaskMgr::TaskMgrExisted(1) &&
               NBITaskMgr::TaskMgrExisted(2);
    }));
    TaskPoolMgr::ShutDown();
    bStop = true;
    for (std::thread& pusher : pushers) pusher.join();
    const int nLeft =
        TestTask::Alive();  // those that were queued when the pools ended; their pools keep them
    AD ad;
    for (unsigned int nNumber = 0; nNumber < 3; ++nNumber) {
        NBITaskMgr::GetTaskMgr(nNumber)->PushTask(new TestTask(ad));
    }
    EXPECT_EQ(TestTask::Alive(), nLeft);
}

}  // namespace
}  // namespace NS_UTIL
