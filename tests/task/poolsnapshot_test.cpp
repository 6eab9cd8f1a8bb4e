// What a snapshot tells of pools that work.
#include "nbiutil/poolsnapshot.h"

#include <atomic>
#include <thread>
#include <vector>

#include "task/hugepool.h"
#include "task/hugepooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using std::chrono::nanoseconds;
constexpr unsigned int POOL_2 = HUGE_POOL;
using Refused = std::map<unsigned int, std::uint64_t>;

class PoolSnapshotTest : public HugePoolTest {
protected:
    NBITaskMgr& UsePool(int nNumber, int nThreads)
    {
        m_pPool = Started(nNumber, nThreads);
        EXPECT_TRUE(Eventually([this, nThreads] {
            return m_pPool->TakeSnapshot().m_nStarted == static_cast<unsigned int>(nThreads);
        }));
        return *m_pPool;
    }
    void Push(Action body = {}) { m_pPool->PushTask(new TestTask(m_Descriptor, std::move(body))); }
    PoolSnapshot Take() { return m_pPool->TakeSnapshot(); }
    bool Ended(std::uint64_t nTasks)
    {
        return Eventually([this, nTasks] { return Take().m_nFinished + Take().m_nFailed == nTasks; });
    }

    AD m_Descriptor;
    std::unique_ptr<NBITaskMgr> m_pPool;
};

TEST_F(PoolSnapshotTest, IdlePoolHasItsWorkersAndNothingElse)
{
    UsePool(5, 3);
    const PoolSnapshot snapshot = Take();
    EXPECT_EQ(snapshot.m_nNumber, 5U);
    EXPECT_EQ(snapshot.m_nWorkers, 3U);
    EXPECT_EQ(snapshot.m_nStarted, 3U);
    EXPECT_EQ(snapshot.m_nBusy, 0U);
    EXPECT_EQ(snapshot.m_nPushed, 0U);
    EXPECT_EQ(snapshot.m_OldestQueued, nanoseconds(0));
    EXPECT_EQ(snapshot.m_LongestBody, nanoseconds(0));
    EXPECT_EQ(snapshot.m_LongestBodyUUID, "");
    EXPECT_EQ(snapshot.m_Refused, Refused{});
}

TEST_F(PoolSnapshotTest, PoolThatWasNotOpenedHasNoWorkerYet)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    EXPECT_EQ(pool.TakeSnapshot().m_nWorkers, 3U);
    EXPECT_EQ(pool.TakeSnapshot().m_nStarted, 0U);
}

TEST_F(PoolSnapshotTest, TellsWhatRunsAndWhatWaits)
{
    UsePool(5, 1);
    Held body;
    ThreadContextMgr::Instance()->SetThreadContext(7, "getAllEquipment");
    const std::string uuid = ThreadContextMgr::Instance()->GetThreadContext().GetBareOperUUID();
    ASSERT_NE(uuid, "");
    Push(body.Body());
    ThreadContextMgr::Instance()->SetThreadContext(7, "other");
    body.m_Started.Wait();
    Push();
    Push();
    const PoolSnapshot snapshot = Take();
    EXPECT_EQ(snapshot.m_nBusy, 1U);
    EXPECT_EQ(snapshot.m_nQueued, 2U);
    EXPECT_EQ(snapshot.m_nPushed, 3U);
    EXPECT_EQ(snapshot.m_LongestBodyUUID, uuid);
    EXPECT_GT(snapshot.m_OldestQueued, nanoseconds(0));
    EXPECT_FALSE(snapshot.m_bAtLimit);
    EXPECT_GE(snapshot.m_LongestBody, snapshot.m_OldestQueued) << "it began before the others were pushed";
    EXPECT_GT(Take().m_LongestBody, snapshot.m_LongestBody) << "it goes on";
    EXPECT_GT(Take().m_OldestQueued, snapshot.m_OldestQueued);
    body.m_GoOn.Set();
    ASSERT_TRUE(Ended(3));
    const PoolSnapshot after = Take();
    EXPECT_EQ(after.m_nBusy, 0U);
    EXPECT_EQ(after.m_nQueued, 0U);
    EXPECT_EQ(after.m_nFinished, 3U);
    EXPECT_EQ(after.m_LongestBodyUUID, "");
    EXPECT_EQ(after.m_OldestQueued, nanoseconds(0));
}

TEST_F(PoolSnapshotTest, MeasuresWaitingAndRunning)
{
    UsePool(5, 1);
    Held body;
    Push(body.Body());
    body.m_Started.Wait();
    Push();
    ASSERT_TRUE(Eventually([this] { return Take().m_OldestQueued > std::chrono::milliseconds(20); }));
    body.m_GoOn.Set();
    ASSERT_TRUE(Ended(2));
    const PoolSnapshot snapshot = Take();
    EXPECT_EQ(snapshot.m_Waiting.m_nMeasured, 2U) << "of few tasks all are measured";
    EXPECT_EQ(snapshot.m_Running.m_nMeasured, 2U);
    EXPECT_GT(snapshot.m_Waiting.m_Longest, std::chrono::milliseconds(20));
    EXPECT_GT(snapshot.m_Waiting.m_P99, std::chrono::milliseconds(20));
    EXPECT_LE(snapshot.m_Waiting.m_Median, snapshot.m_Waiting.m_P99);
    EXPECT_LE(snapshot.m_Waiting.m_P99, snapshot.m_Waiting.m_Longest);
    EXPECT_GT(snapshot.m_Waiting.m_Sum, std::chrono::milliseconds(20));
    EXPECT_GT(snapshot.m_Running.m_Longest, std::chrono::milliseconds(20));
    EXPECT_LT(snapshot.m_Running.m_Median, snapshot.m_Running.m_Longest);
}

TEST_F(PoolSnapshotTest, FailuresCountApart)
{
    UsePool(5, 2);
    Push([] { throw ProcessException(5, "detail", "file", "function", 12); });
    Push([] { throw 7; });
    Push();
    ASSERT_TRUE(Ended(3));
    EXPECT_EQ(Take().m_nFailed, 2U);
    EXPECT_EQ(Take().m_nFinished, 1U);
}

TEST_F(PoolSnapshotTest, RunThatGoesWellAfterOneThatFailedIsNoFailure)
{
    UsePool(5, 1);
    std::atomic<int> nRuns{0};
    class Again : public TestTask {
    public:
        Again(AD& descriptor, std::atomic<int>& nRuns) : TestTask(descriptor), m_nRuns(nRuns) {}
        void Execute() override
        {
            if (++m_nRuns == 1) throw 7;
        }

    private:
        std::atomic<int>& m_nRuns;
    };
    Held body;
    auto* const pTask = new Again(m_Descriptor, nRuns);
    m_pPool->PushTask(pTask);
    // The next task's worker has brought the failed one back, and keeps anybody from sweeping it.
    m_pPool->PushTask(new TestTask(m_Descriptor, body.Body()));
    body.m_Started.Wait();
    body.m_GoOn.Set();
    ASSERT_TRUE(Ended(2));
    EXPECT_EQ(Take().m_nFailed, 1U);
    EXPECT_EQ(Take().m_nFinished, 1U);
}

TEST_F(PoolSnapshotTest, RunThatOutlastsTheExitIsCounted)
{
    UsePool(5, 1);
    Held body;
    Push(body.Body());
    body.m_Started.Wait();
    m_pPool->SetExitFlag();
    body.m_GoOn.Set();
    m_pPool->wait();
    EXPECT_EQ(Take().m_nFinished, 1U);
    EXPECT_EQ(Take().m_nBusy, 0U);
}

TEST_F(PoolSnapshotTest, FailureBeforeThePoolHadTheTaskIsNotThePools)
{
    NBITaskMgr& pool = UsePool(5, 1);
    bool bFails = true;
    auto* const pTask = new TestTask(m_Descriptor, [&bFails] {
        if (bFails) throw 42;
    });
    pTask->Run();
    bFails = false;
    pTask->SetTaskState(NBI_TASK_IDLE);
    pool.PushTask(pTask);
    ASSERT_TRUE(Ended(1));
    EXPECT_EQ(Take().m_nFinished, 1U);
    EXPECT_EQ(Take().m_nFailed, 0U);
}

nanoseconds Clock()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

constexpr nanoseconds TICK = std::chrono::milliseconds(100);  // no coarse clock is as late
constexpr int MORE_THAN_ARE_MEASURED = 40;
constexpr int DELETED_SLOWLY = 4;  // the last of them

TEST_F(PoolSnapshotTest, TimeThatAWorkerSleptIsNotRunning)
{
    NBITaskMgr& pool = UsePool(5, MORE_THAN_ARE_MEASURED);
    std::uint64_t nEnded = 0;
    const auto runOnEach = [&](const Action& meanwhile) {
        Meeting all(MORE_THAN_ARE_MEASURED + 1);
        Signal end;
        for (int i = 0; i < MORE_THAN_ARE_MEASURED; ++i) {
            Push([&] {
                all.Join();
                end.Wait();
            });
        }
        all.Join();
        meanwhile();
        end.Set();
        EXPECT_TRUE(Ended(nEnded += MORE_THAN_ARE_MEASURED));
    };
    runOnEach([] {});
    std::this_thread::sleep_for(2 * TICK);
    const nanoseconds pushed = Clock();
    runOnEach([&] {
        const nanoseconds longest = pool.TakeSnapshot().m_LongestBody;
        EXPECT_GE(Clock() - longest, pushed - TICK);
    });
}

TEST_F(PoolSnapshotTest, TimeInWhichPool2DeletesATaskIsNotRunning)
{
    TaskPoolMgr::Init(10);
    NBITaskMgr& pool = UsePool(POOL_2, 1);
    std::atomic<nanoseconds> deleting{nanoseconds(0)};  // a time in the middle of it
    std::atomic<int> nTooEarly{0};
    const auto run = [&] {
        const nanoseconds longest = pool.TakeSnapshot().m_LongestBody;
        if (Clock() - longest < deleting.load()) ++nTooEarly;
    };
    const auto gone = [&] {
        deleting = Clock() + TICK;
        std::this_thread::sleep_for(2 * TICK);
    };
    Held first;
    Push(first.Body());
    first.m_Started.Wait();
    for (int i = 0; i < MORE_THAN_ARE_MEASURED; ++i) {
        const bool bSlowly = i >= MORE_THAN_ARE_MEASURED - DELETED_SLOWLY;
        pool.PushTask(new TestTask(m_Descriptor, run, bSlowly ? Action(gone) : Action()));
    }
    first.m_GoOn.Set();
    EXPECT_TRUE(Ended(MORE_THAN_ARE_MEASURED + 1));
    EXPECT_EQ(nTooEarly, 0);
}

TEST_F(PoolSnapshotTest, TasksThatACallerRunsCountButKeepNoWorkerBusy)
{
    NBITaskMgr pool(5);
    pool.PushTask(new TestTask(m_Descriptor));
    NBITask* const pTask = pool.AcquireIdleTask();
    EXPECT_EQ(pool.TakeSnapshot().m_nQueued, 0U);
    EXPECT_EQ(pool.TakeSnapshot().m_nBusy, 0U);
    EXPECT_EQ(pool.TakeSnapshot().m_Waiting.m_nMeasured, 1U);
    pTask->Run();
    EXPECT_EQ(pool.TakeSnapshot().m_nFinished, 1U);
    EXPECT_EQ(pool.TakeSnapshot().m_Running.m_nMeasured, 0U);
}

TEST_F(PoolSnapshotTest, StatesThatAreSetFromOutsideMoveTasksOutOfTheQueueAndBack)
{
    NBITaskMgr pool(5);
    auto* const pTask = new TestTask(m_Descriptor);
    pool.PushTask(pTask);
    pTask->SetTaskState(NBI_TASK_BUSY);
    EXPECT_EQ(pool.TakeSnapshot().m_nQueued, 0U);
    pTask->SetTaskState(NBI_TASK_IDLE);
    EXPECT_EQ(pool.TakeSnapshot().m_nQueued, 1U);
    pTask->SetTaskState(NBI_TASK_FINISHED);
    EXPECT_EQ(pool.TakeSnapshot().m_nQueued, 0U);
    EXPECT_EQ(pool.TakeSnapshot().m_nMostQueued, 1U);
    EXPECT_EQ(pool.TakeSnapshot().m_nFinished, 0U) << "nobody ran it";
}

TEST_F(PoolSnapshotTest, RefusalsCountByCode)
{
    NBITaskMgr pool(5);
    auto* const pTask = new TestTask(m_Descriptor);
    pool.PushTask(pTask);
    EXPECT_TRUE(RaisedBy([&] { pool.PushTask(pTask); }).m_bAny);
    pool.CountRefused(ErrCode::QUEUE_FULL);
    EXPECT_EQ(pool.TakeSnapshot().m_Refused,
              (Refused{{ErrCode::TASK_NOT_IDLE, 1}, {ErrCode::QUEUE_FULL, 1}}));
    EXPECT_EQ(pool.TakeSnapshot().m_nPushed, 1U);
}

TEST_F(PoolSnapshotTest, TasksThatComeAfterTheEndAreDropped)
{
    UsePool(5, 1);
    m_pPool->SetExitFlag();
    Push();
    EXPECT_EQ(Take().m_nDropped, 1U);
    EXPECT_EQ(Take().m_nPushed, 0U);
    m_pPool->wait();
    EXPECT_EQ(Take().m_nStarted, 0U);
}

/// Tells what the pool had counted when it was deleted.
class LastLook : public TestTask {
public:
    LastLook(AD& descriptor, NBITaskMgr& pool, std::uint64_t& nDropped)
        : TestTask(descriptor), m_Pool(pool), m_nDropped(nDropped)
    {
    }
    ~LastLook() override { m_nDropped = m_Pool.TakeSnapshot().m_nDropped; }

private:
    NBITaskMgr& m_Pool;
    std::uint64_t& m_nDropped;
};

TEST_F(PoolSnapshotTest, DroppedTaskIsCountedBeforeItIsDeleted)
{
    UsePool(5, 1);
    m_pPool->SetExitFlag();
    std::uint64_t nDropped = 0;
    m_pPool->PushTask(new LastLook(m_Descriptor, *m_pPool, nDropped));
    EXPECT_EQ(nDropped, 1U);
}

TEST_F(PoolSnapshotTest, Pool2HasRefusedNothingAtFirst)
{
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(POOL_2);
    EXPECT_EQ(TakePoolSnapshot(POOL_2).m_Refused, Refused{});
    EndPool2();
}

TEST_F(PoolSnapshotTest, Pool2TellsItsBookAndWhatItsLimitsRefused)
{
    UseThreads(1);
    TaskPoolMgr::Init(1);
    Enter("kind", "uuid");
    ServeRequest("getAllEquipment", LONG_RUNNING);
    const auto push = [this] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(m_Descriptor), POOL_2); };
    EXPECT_EQ(RaisedBy(push).m_nCode, ErrCode::HUGE_TASK_LIMIT);
    EXPECT_EQ(TakePoolSnapshot(POOL_2).m_nWorkers, 0U) << "a refused push makes no pool";
    NBITaskMgr::GetTaskMgr(POOL_2);
    EXPECT_EQ(TakePoolSnapshot(POOL_2).m_nRefusedOverall, 1U);
    EXPECT_EQ(TakePoolSnapshot(POOL_2).m_nRefusedOfKind, 0U);
    EXPECT_EQ(TakePoolSnapshot(POOL_2).m_Refused, (Refused{{ErrCode::HUGE_TASK_LIMIT, 1}}));
    TaskPoolMgr::Init(10);
    HugeFigures limited = LONG_RUNNING;
    limited.m_nNumber = 1;
    ServeRequest("limited", limited);
    Enter("tasks:limited", "a");
    Enter("tasks:limited", "b");
    EXPECT_EQ(RaisedBy(push).m_nCode, ErrCode::HUGE_TASK_LIMIT);
    const PoolSnapshot snapshot = TakePoolSnapshot(POOL_2);
    EXPECT_EQ(snapshot.m_nInBook, 3U);
    EXPECT_EQ(snapshot.m_nBookLimit, 10U);
    EXPECT_EQ(snapshot.m_nRefusedOverall, 1U);
    EXPECT_EQ(snapshot.m_nRefusedOfKind, 1U);
    EXPECT_EQ(snapshot.m_Refused, (Refused{{ErrCode::HUGE_TASK_LIMIT, 2}}));
    EndPool2();
}

TEST_F(PoolSnapshotTest, Pool2TellsTasksThatWaitAtALimit)
{
    UsePool(HUGE_POOL, 1);
    TaskPoolMgr::Init(1);
    const ThreadContextInfo entered = Enter("kind", "uuid");
    Push();
    EXPECT_TRUE(Eventually([this] { return Take().m_nDeferred == 1; }));
    EXPECT_TRUE(Take().m_bAtLimit);
    EXPECT_EQ(Take().m_nQueued, 1U);
    EXPECT_EQ(Take().m_nBusy, 0U);
    HugeTaskMgr::Instance()->RemoveHTskInfo(entered);
}

TEST_F(PoolSnapshotTest, PoolsOfTheRegistryComeInOrderAndAskingMakesNone)
{
    UseThreads(2);
    NBITaskMgr::GetTaskMgr(9);
    NBITaskMgr::GetTaskMgr(4);
    const PoolSnapshot none = TakePoolSnapshot(7);
    EXPECT_EQ(none.m_nNumber, 7U);
    EXPECT_EQ(none.m_nWorkers, 0U);
    const std::vector<PoolSnapshot> snapshots = TakePoolSnapshots();
    ASSERT_EQ(snapshots.size(), 2U);
    EXPECT_EQ(snapshots[0].m_nNumber, 4U);
    EXPECT_EQ(snapshots[1].m_nNumber, 9U);
    EXPECT_EQ(snapshots[1].m_nWorkers, 2U);
}

TEST_F(PoolSnapshotTest, FiguresOfOneSnapshotFitTogetherWhileThePoolWorks)
{
    UsePool(5, 3);
    constexpr int PUSHERS = 2;
    constexpr int TASKS = 5000;
    std::vector<std::thread> pushers;
    pushers.reserve(PUSHERS);
    for (int i = 0; i < PUSHERS; ++i) {
        pushers.emplace_back([this] {
            AD descriptor;
            for (int n = 0; n < TASKS; ++n) {
                m_pPool->PushTask(new TestTask(descriptor, [n] {
                    if (n % 100 == 0) throw 7;
                }));
            }
        });
    }
    PoolSnapshot snapshot;
    do {
        snapshot = Take();
        ASSERT_EQ(snapshot.m_nPushed,
                  snapshot.m_nQueued + snapshot.m_nBusy + snapshot.m_nFinished + snapshot.m_nFailed);
        ASSERT_LE(snapshot.m_nBusy, snapshot.m_nStarted);
        ASSERT_LE(snapshot.m_nQueued, snapshot.m_nMostQueued);
    } while (snapshot.m_nFinished + snapshot.m_nFailed < PUSHERS * TASKS);
    for (std::thread& pusher : pushers) pusher.join();
    EXPECT_EQ(snapshot.m_nFailed, PUSHERS * TASKS / 100U);
    EXPECT_GE(snapshot.m_Waiting.m_nMeasured, PUSHERS * TASKS / 64U);
}

}  // namespace
}  // namespace NS_UTIL
