// How a pool ends by the exit flag, and what close() wakes.
#include "support/inchild.h"
#include "task/pooltesting.h"
#include "task/taskqueue.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using Names = std::vector<std::string>;

class ExitFlagTest : public PoolTest {
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

TEST_F(ExitFlagTest, PushAfterTheExitDeletesTheTaskAndRaisesNothing)
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

TEST_F(ExitFlagTest, PushAfterTheExitTestsTheFlagBeforeTheState)
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

TEST_F(ExitFlagTest, ExitFlagOfOnePoolEndsAll)
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

TEST_F(ExitFlagTest, DroppedTaskMayPushFromItsDestructor)
{
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    AD ad;
    pool.PushTask(new TestTask(ad, {}, [&] { pool.PushTask(new TestTask(ad)); }));
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(ExitFlagTest, LookAfterTheExitTakesNothingAndSweepsNothing)
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
class AcquiringThread {
public:
    AcquiringThread(NBITaskMgr& pool, NBITask& task, const RecordingHost& host)
    {
        pool.PushTask(&task);
        task.SetTaskState(NBI_TASK_BUSY);
        m_Thread = std::thread([this, &pool] { m_pTaken = pool.AcquireIdleTask(); });
        EXPECT_TRUE(Eventually([&host] { return host.LogsAt("nbitaskmgr", 251).size() == 1; }));
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

TEST_F(ExitFlagTest, SleeperWokenByTheExitStillTakesOneIdleTask)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    AcquiringThread sleeper(pool, *pTask, m_Host);
    pTask->SetTaskState(NBI_TASK_IDLE);
    pool.SetExitFlag();
    EXPECT_EQ(sleeper.Taken(), pTask);
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_BUSY);
    EXPECT_EQ(NothingIdleLines(), 1u);
}

TEST_F(ExitFlagTest, SleeperWokenByTheExitThatFindsNothingLogsOneLineAndStops)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    AcquiringThread sleeper(pool, *pTask, m_Host);
    pool.SetExitFlag();
    EXPECT_EQ(sleeper.Taken(), nullptr);
    EXPECT_EQ(NothingIdleLines(), 2u);
}

TEST_F(ExitFlagTest, WorkerWokenByTheExitRunsTheIdleTaskAndThenStops)
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
    EXPECT_TRUE(Eventually([this] { return NothingIdleLines() == 1; }));  // its token is spent
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
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    pPool->SetExitFlag();
    EXPECT_EQ(pPool->wait(), 0);
    EXPECT_LE(NothingIdleLines(), static_cast<std::size_t>(nThreads));  // one each at most
}

TEST_F(ExitFlagTest, ExitPostsATokenForEachWorkerAndOneMore)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    EXPECT_EQ(TokensOf(pool), 4u);
}

TEST_F(ExitFlagTest, EachWorkerThatLeavesPostsAToken)
{
    const auto pPool = Started(5, 3);
    Held held;
    Meeting busy(4);
    AD ad;
    for (int i = 0; i < 3; ++i) {
        pPool->PushTask(new TestTask(ad, [&] {
            busy.Join();
            held.m_GoOn.Wait();
        }));
    }
    busy.Join();
    pPool->SetExitFlag();
    held.m_GoOn.Set();
    pPool->wait();
    EXPECT_EQ(TokensOf(*pPool), 7u) << "none was taken: the workers saw the exit first";
}

TEST_F(ExitFlagTest, RunningBodyEndsBeforeItsWorkerDoes)
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

TEST_F(ExitFlagTest, WorkerThatIsBusyAtTheExitTakesNoOtherTask)
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

TEST_F(ExitFlagTest, FinishedTaskOfTheLastRunGoesWithItsPool)
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

TEST_F(ExitFlagTest, PoolMadeAfterTheExitStartsNoWorkers)
{
    UseThreads(3);
    NBITaskMgr(5).SetExitFlag();
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(6);
    ASSERT_NE(pPool, nullptr);
    EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(6));
    EXPECT_EQ(pPool->open(nullptr), 0);
    EXPECT_EQ(pPool->thr_count(), 0u);
}

TEST_F(ExitFlagTest, PoolThatIsOpenedAfterTheExitWakesWhatItHolds)
{
    NBITaskMgr pool(5);
    AD ad;
    ad.SetErrorCode(PRESET);
    pool.PushTask(new TestTask(ad, [this] { m_Order += 'b'; }));
    pool.SetExitFlag();
    EXPECT_EQ(pool.open(nullptr), 0);
    ASSERT_TRUE(ad.IsFinished());  // else its requester would wait for ever
    EXPECT_EQ(CodeOf(ad), PRESET);
    EXPECT_EQ(m_Order, "");
}

// close()

TEST_F(ExitFlagTest, CloseWakesIdleAndBusyTasksWithTheCodesTheyHold)
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

TEST_F(ExitFlagTest, CloseWakesNoFinishedTaskThoughItIsStillHeld)
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

TEST_F(ExitFlagTest, CloseMayBeRepeatedWithAnyFlags)
{
    NBITaskMgr pool(5);
    AD ad;
    pool.PushTask(new TestTask(ad));
    EXPECT_EQ(pool.close(0), 0);
    EXPECT_EQ(pool.close(1), 0);
    EXPECT_EQ(pool.close(0), 0);
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(ExitFlagTest, CloseAloneStopsNothing)
{
    const auto pPool = Started(5, 1);
    EXPECT_EQ(pPool->close(0), 0);
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
}

}  // namespace
}  // namespace NS_UTIL
