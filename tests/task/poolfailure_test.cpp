// Pools whose threads cannot be started, and pools whose locks cannot be taken.
#include "support/lockfailure.h"
#include "support/threadfailure.h"
#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using Names = std::vector<std::string>;

class ThreadFailureTest : public PoolTest {
protected:
    void SetUp() override
    {
        if (!CanFailThreads()) GTEST_SKIP() << NO_FAILING_THREADS;
    }
    Names OpenLines() const
    {
        Names texts;
        for (const LogLine& line : LinesWith("NBITaskMgr::open")) {
            EXPECT_EQ(line.m_Function, "unknown");
            EXPECT_EQ(line.m_nLevel, 1);
            texts.push_back(line.m_Text);
        }
        return texts;
    }
};

TEST_F(ThreadFailureTest, PoolThatGetsNoThreadSaysSo)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    const FailingThreads failing;
    EXPECT_EQ(pool.open(nullptr), -1);
    EXPECT_EQ(OpenLines(), Names{"[NBITaskMgr::open] only 0 of 3 threads could be started"});
}

TEST_F(ThreadFailureTest, PoolThatGetsAllItsThreadsSaysNothing)
{
    const auto pPool = Started(5, 3);
    EXPECT_EQ(OpenLines(), Names{});
}

TEST_F(ThreadFailureTest, PoolWithoutThreadsIsFoundLikeAnyOther)
{
    UseThreads(3);
    NBITaskMgr* pPool = nullptr;
    {
        const FailingThreads failing;
        pPool = NBITaskMgr::GetTaskMgr(5);
    }
    ASSERT_NE(pPool, nullptr);
    EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(5));
    EXPECT_EQ(NBITaskMgr::GetTaskMgr(5), pPool);
}

TEST_F(ThreadFailureTest, PoolWithoutThreadsTriesAgainAtTheNextPush)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    {
        const FailingThreads failing;
        pool.open(nullptr);
    }
    AD ad;
    pool.PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(pool.thr_count(), 3u);
    EXPECT_EQ(OpenLines().size(), 1u);
}

TEST_F(ThreadFailureTest, PoolWithoutThreadsKeepsItsTasksAndTriesAtEachPush)
{
    UseThreads(2);
    NBITaskMgr pool(5);
    AD first;
    AD second;
    AD third;
    {
        const FailingThreads failing;
        pool.open(nullptr);
        pool.PushTask(new TestTask(first));
        pool.PushTask(new TestTask(second));
        EXPECT_EQ(OpenLines(), Names(3, "[NBITaskMgr::open] only 0 of 2 threads could be started"));
        EXPECT_EQ(TestTask::Alive(), 2);
    }
    EXPECT_FALSE(first.IsFinished());
    pool.PushTask(new TestTask(third));
    for (AD* const pAd : {&first, &second, &third}) EXPECT_EQ(CodeOf(*pAd), 0u);
    EXPECT_EQ(OpenLines().size(), 3u);
}

TEST_F(ThreadFailureTest, PoolThatGetsSomeThreadsSaysSoAndWorksWithThem)
{
    UseThreads(5);
    NBITaskMgr pool(5);
    {
        const FailingThreads failing(2);
        EXPECT_EQ(pool.open(nullptr), -1);
    }
    EXPECT_EQ(OpenLines(), Names{"[NBITaskMgr::open] only 2 of 5 threads could be started"});
    Meeting two(2);
    AD ads[2];
    for (AD& ad : ads) pool.PushTask(new TestTask(ad, [&] { two.Join(); }));
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(ThreadFailureTest, PoolThatGotSomeThreadsTriesForNoMore)
{
    UseThreads(5);
    NBITaskMgr pool(5);
    {
        const FailingThreads failing(1);
        pool.open(nullptr);
    }
    std::atomic<int> nAtOnce{0};
    std::atomic<int> nMost{0};
    AD ads[20];
    for (AD& ad : ads) {
        pool.PushTask(new TestTask(ad, [&] {
            nMost = std::max<int>(nMost, ++nAtOnce);
            --nAtOnce;
        }));
    }
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(nMost, 1);
    EXPECT_EQ(OpenLines().size(), 1u);
}

TEST_F(ThreadFailureTest, PoolThatGotSomeThreadsEndsInOrder)
{
    UseThreads(5);
    AD ad;
    {
        NBITaskMgr pool(5);
        {
            const FailingThreads failing(3);
            pool.open(nullptr);
        }
        pool.PushTask(new TestTask(ad));
        EXPECT_EQ(CodeOf(ad), 0u);
    }
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(ThreadFailureTest, PoolThatGotSomeThreadsIsShutDownInOrder)
{
    UseThreads(5);
    {
        const FailingThreads failing(3);
        NBITaskMgr::GetTaskMgr(0);
    }
    AD ad;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 0);
    EXPECT_EQ(CodeOf(ad), 0u);
    TaskPoolMgr::ShutDown();
}

TEST_F(ThreadFailureTest, PoolWithoutThreadsEndsInOrder)
{
    UseThreads(2);
    AD ad;
    {
        NBITaskMgr pool(5);
        const FailingThreads failing;
        pool.open(nullptr);
        pool.PushTask(new TestTask(ad));
    }
    EXPECT_EQ(CodeOf(ad), 0x41180009U);
}

TEST_F(ThreadFailureTest, PoolWithoutThreadsIsShutDownInOrder)
{
    UseThreads(2);
    const FailingThreads failing;
    AD ad;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 0);
    TaskPoolMgr::ShutDown();
    EXPECT_EQ(CodeOf(ad), 0u);  // woken as it stood
}

TEST_F(ThreadFailureTest, PoolThatWasNeverOpenedIsNotOpenedByAPush)
{
    UseThreads(2);
    NBITaskMgr pool(5);
    AD ad;
    pool.PushTask(new TestTask(ad));
    EXPECT_EQ(pool.thr_count(), 0u);
}

TEST_F(ThreadFailureTest, ThreadsThatPushAtOnceOpenThePoolOnce)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    {
        const FailingThreads failing;
        pool.open(nullptr);
    }
    Meeting start(4);
    AD ads[4];
    std::vector<std::thread> pushers;
    for (AD& ad : ads) {
        pushers.emplace_back([&] {
            start.Join();
            pool.PushTask(new TestTask(ad));
        });
    }
    for (std::thread& pusher : pushers) pusher.join();
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(pool.thr_count(), 3u);
}

// Locks that cannot be taken: the work is done all the same, and no lock is released that was not taken.

class PoolLockFailureTest : public PoolTest {
protected:
    void SetUp() override
    {
        if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
        m_Host.KeepLogs(false);  // the host's own lock is not to fail
        UseThreads(1);
    }
};

TEST_F(PoolLockFailureTest, PushQueuesTheTask)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    {
        const FailingLocks failing(LockKind::MUTEX);
        pool.PushTask(pTask);
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);
}

TEST_F(PoolLockFailureTest, LookTakesTheFirstIdleTask)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);
    EXPECT_EQ(failing.Left(), 0);
}

TEST_F(PoolLockFailureTest, CloseWakesTheTasks)
{
    NBITaskMgr pool(5);
    AD ad;
    pool.PushTask(new TestTask(ad));
    {
        const FailingLocks failing(LockKind::MUTEX);
        EXPECT_EQ(pool.close(0), 0);
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(PoolLockFailureTest, StateOfAQueuedTaskIsSet)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    auto* const pNext = new TestTask(ad);
    pool.PushTask(pNext);
    {
        const FailingLocks failing(LockKind::MUTEX, 2);
        pTask->SetTaskState(NBI_TASK_FINISHED);
    }
    EXPECT_EQ(pool.AcquireIdleTask(), pNext);
    EXPECT_EQ(TestTask::Alive(), 1);
}

TEST_F(PoolLockFailureTest, TaskPushedTwiceIsRefused)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    {
        const FailingLocks failing(LockKind::MUTEX, 2);
        ExpectNotIdle(RaisedBy([&] { pool.PushTask(pTask); }));
    }
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);
}

TEST_F(PoolLockFailureTest, RegistryAnswers)
{
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(5);
    {
        const FailingLocks failing(LockKind::MUTEX);
        EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(5));
        EXPECT_EQ(failing.Left(), 0);
    }
    std::vector<unsigned int> ids;
    {
        const FailingLocks failing(LockKind::MUTEX);
        NBITaskMgr::GetAllTaskMgrId(ids);
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_EQ(ids, std::vector<unsigned int>{5});
    const FailingLocks failing(LockKind::MUTEX);
    EXPECT_EQ(NBITaskMgr::GetTaskMgr(5), pPool);
}

TEST_F(PoolLockFailureTest, RegistryMakesAPool)
{
    NBITaskMgr* pPool = nullptr;
    {
        const FailingLocks failing(LockKind::MUTEX);
        pPool = NBITaskMgr::GetTaskMgr(5);
        EXPECT_EQ(failing.Left(), 0);
    }
    ASSERT_NE(pPool, nullptr);
    EXPECT_EQ(NBITaskMgr::GetTaskMgr(5), pPool);
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(PoolLockFailureTest, FacadeDoesWithoutABookWhoseLockCannotBeTaken)
{
    // The first use of the book takes the static-object lock; without it there is none, and so no limit.
    const FailingLocks failing(LockKind::MUTEX, 1);
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 0);
    EXPECT_EQ(failing.Left(), 0);
}

}  // namespace
}  // namespace NS_UTIL
