// How a pool ends that is destroyed while others go on.
#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class PoolDestructionTest : public PoolTest {
protected:
    std::string m_Order;  // what happened, a letter each
};

TEST_F(PoolDestructionTest, DestructorFailsQueuedTasksInTheOrderOfPushing)
{
    AD ads[3];
    {
        NBITaskMgr pool(5);
        for (std::size_t i = 0; i < 3; ++i) {
            pool.PushTask(new TestTask(ads[i], {}, [this, &ads, i] {
                EXPECT_TRUE(ads[i].IsFinished());
                m_Order += static_cast<char>('0' + i);
            }));
        }
    }
    EXPECT_EQ(m_Order, "012");
    for (AD& ad : ads) {
        const Raised raised = RaisedBy([&] { ad.Wait(); });
        EXPECT_EQ(raised.m_nCode, 0x41180009U);
        EXPECT_EQ(raised.m_Message, "ErrCode:1092091913,Detail:");
    }
}

TEST_F(PoolDestructionTest, DestructorOverwritesAPresetCode)
{
    AD ad;
    ad.SetErrorCode(PRESET);
    {
        NBITaskMgr pool(5);
        pool.PushTask(new TestTask(ad));
    }
    EXPECT_EQ(CodeOf(ad), 0x41180009U);
}

TEST_F(PoolDestructionTest, DestructorFailsTakenTasksToo)
{
    AD taken;
    AD busy;
    {
        NBITaskMgr pool(5);
        pool.PushTask(new TestTask(taken));
        pool.AcquireIdleTask();
        auto* const pBusy = new TestTask(busy);
        pool.PushTask(pBusy);
        pBusy->SetTaskState(NBI_TASK_BUSY);
    }
    EXPECT_EQ(CodeOf(taken), 0x41180009U);
    EXPECT_EQ(CodeOf(busy), 0x41180009U);
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(PoolDestructionTest, DestructorLeavesTheAnswersOfFinishedTasks)
{
    AD ad;
    {
        NBITaskMgr pool(5);
        pool.PushTask(new TestTask(ad));
        pool.AcquireIdleTask()->Run();
    }
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(PoolDestructionTest, DestructorEndsTheWorkersFirst)
{
    auto pPool = Started(5, 1);
    Held held;
    AD running;
    AD queued;
    pPool->PushTask(new TestTask(
        running,
        [&] {
            held.Body()();
            m_Order += 'r';
        },
        [this] { m_Order += 'a'; }));
    held.m_Started.Wait();
    pPool->PushTask(new TestTask(queued, {}, [this] { m_Order += 'b'; }));
    std::thread destroyer([&] { pPool.reset(); });
    held.m_GoOn.Set();
    destroyer.join();
    EXPECT_EQ(CodeOf(running), 0u);
    EXPECT_EQ(m_Order.substr(0, 2), "ra");
    // The worker may have taken the second task before the destructor came to stop it.
    const unsigned int nCode = CodeOf(queued);
    EXPECT_TRUE(nCode == 0x41180009U || nCode == 0) << nCode;
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(PoolDestructionTest, DestructorOfOnePoolLeavesTheOthersAtWork)
{
    const auto pOther = Started(6, 1);
    Started(5, 3).reset();
    AD ad;
    pOther->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(PoolDestructionTest, PoolsComeAndGoWithTasksInEveryState)
{
    for (int nRound = 0; nRound < 50; ++nRound) {
        const auto pPool = Started(5, 3);
        for (int i = 0; i < 20; ++i) {
            AD ad;
            pPool->PushTask(new TestTask(ad));
        }
    }
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_F(PoolDestructionTest, DestructorAfterTheExitIsTheSame)
{
    AD ad;
    {
        NBITaskMgr pool(5);
        pool.PushTask(new TestTask(ad));
        pool.SetExitFlag();
    }
    EXPECT_EQ(CodeOf(ad), 0x41180009U);
}

// What destructors and bodies do meanwhile

TEST_F(PoolDestructionTest, TaskWhoseStateAnotherTasksDestructorSetsIsFailedAndDeletedToo)
{
    for (const NBI_TASK_STATE state : {NBI_TASK_BUSY, NBI_TASK_FINISHED}) {
        AD first;
        AD second;
        {
            NBITaskMgr pool(5);
            auto* const pSecond = new TestTask(second);
            pool.PushTask(new TestTask(first, {}, [&] { pSecond->SetTaskState(state); }));
            pool.PushTask(pSecond);
        }
        EXPECT_EQ(TestTask::Alive(), 0);
        EXPECT_TRUE(second.IsFinished());
        EXPECT_EQ(CodeOf(second), 0x41180009U);
    }
}

TEST_F(PoolDestructionTest, TasksThatSetEachOthersStatesAreAllDeleted)
{
    constexpr std::size_t TASKS = 10;
    std::vector<AD> ads(TASKS);
    std::vector<NBITask*> tasks(TASKS, nullptr);
    {
        NBITaskMgr pool(5);
        for (std::size_t i = 0; i < TASKS; ++i) {
            tasks[i] = new TestTask(ads[i], {}, [&tasks, i] {
                tasks[i] = nullptr;
                for (NBITask* const pTask : tasks) {
                    if (pTask != nullptr) pTask->SetTaskState(i % 2 == 0 ? NBI_TASK_BUSY : NBI_TASK_IDLE);
                }
            });
            pool.PushTask(tasks[i]);
        }
    }
    EXPECT_EQ(TestTask::Alive(), 0);
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0x41180009U);
}

TEST_F(PoolDestructionTest, DestructorMayPushAndItsTaskFailsAtOnce)
{
    AD ad;
    AD pushed;
    {
        NBITaskMgr pool(5);
        pool.PushTask(new TestTask(ad, {}, [&] {
            EXPECT_NO_THROW(pool.PushTask(new TestTask(pushed)));
            EXPECT_EQ(CodeOf(pushed), 0x41180009U);
        }));
    }
    EXPECT_TRUE(pushed.IsFinished());
    EXPECT_EQ(TestTask::Alive(), 0);
}

/// A pool of one worker, whose body waits for a task that it has pushed into the same pool.
class WaitingBodyTest : public PoolDestructionTest {
protected:
    void DestroyWhileTheBodyRuns()
    {
        std::thread destroyer([this] { m_pPool.reset(); });
        m_Held.m_GoOn.Set();
        destroyer.join();
        EXPECT_EQ(TestTask::Alive(), 0);
    }

    Held m_Held;
    AD m_Running;
    AD m_Pushed;
    unsigned int m_nCode = 0;
    std::unique_ptr<NBITaskMgr> m_pPool = Started(5, 1);
};

TEST_F(WaitingBodyTest, PushIntoThePoolThatGoesAwayFailsAndWakes)
{
    NBITaskMgr* const pPool = m_pPool.get();
    pPool->PushTask(new TestTask(m_Running, [this, pPool] {
        m_Held.Body()();
        AD waiting;
        pPool->PushTask(new TestTask(waiting));
        waiting.WaitToComplete();  // until the destructor has begun
        EXPECT_TRUE(waiting.IsFinished());
        EXPECT_NO_THROW(pPool->PushTask(new TestTask(m_Pushed)));
        m_nCode = CodeOf(m_Pushed);
    }));
    m_Held.m_Started.Wait();
    DestroyWhileTheBodyRuns();
    EXPECT_EQ(m_nCode, 0x41180009U);
    EXPECT_EQ(CodeOf(m_Running), 0u);
}

TEST_F(WaitingBodyTest, TaskThatWasQueuedBeforeTheDestructionFailsAndWakes)
{
    NBITaskMgr* const pPool = m_pPool.get();
    pPool->PushTask(new TestTask(m_Running, [this, pPool] {
        pPool->PushTask(new TestTask(m_Pushed, [this] { m_Order += 'x'; }));
        m_Held.Body()();
        m_nCode = CodeOf(m_Pushed);
    }));
    m_Held.m_Started.Wait();
    DestroyWhileTheBodyRuns();
    EXPECT_EQ(m_nCode, 0x41180009U);
    EXPECT_EQ(m_Order, "") << "what has failed does not run";
}

TEST_F(WaitingBodyTest, PushAfterTheExitStaysUnwokenThoughThePoolGoesAwayToo)
{
    NBITaskMgr* const pPool = m_pPool.get();
    pPool->PushTask(new TestTask(m_Running, [this, pPool] {
        AD waiting;
        pPool->PushTask(new TestTask(waiting));
        m_Held.Body()();
        waiting.WaitToComplete();  // until the destructor has begun
        pPool->SetExitFlag();
        EXPECT_NO_THROW(pPool->PushTask(new TestTask(m_Pushed)));
        EXPECT_FALSE(m_Pushed.IsFinished());
    }));
    m_Held.m_Started.Wait();
    DestroyWhileTheBodyRuns();
    EXPECT_FALSE(m_Pushed.IsFinished());
}

TEST_F(WaitingBodyTest, WorkersThatEndMeanwhileWakeNobodyWithoutTheCode)
{
    m_pPool = Started(5, 2);
    Held other;
    AD ad;
    m_pPool->PushTask(new TestTask(m_Running, m_Held.Body()));
    m_pPool->PushTask(new TestTask(ad, other.Body()));
    m_Held.m_Started.Wait();
    other.m_Started.Wait();
    auto* const pBusy = new TestTask(m_Pushed);
    m_pPool->PushTask(pBusy);
    pBusy->SetTaskState(NBI_TASK_BUSY);
    other.m_GoOn.Set();
    NBITaskMgr* const pPool = m_pPool.get();
    std::thread destroyer([this] { m_pPool.reset(); });
    EXPECT_TRUE(Eventually([pPool] { return pPool->thr_count() == 1; }));
    m_Held.m_GoOn.Set();
    destroyer.join();
    EXPECT_EQ(CodeOf(m_Pushed), 0x41180009U);
}

}  // namespace
}  // namespace NS_UTIL
