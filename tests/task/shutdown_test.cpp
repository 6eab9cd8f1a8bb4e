// How all pools are shut down.
#include <ace/Thread_Manager.h>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class ShutdownTest : public PoolTest {
protected:
    std::string m_Order;  // what happened, a letter each
};

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
        EXPECT_TRUE(
            Eventually([&] { return queued[nNumber].IsFinished() && running[nNumber].IsFinished(); }));
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
    EXPECT_TRUE(Eventually([] {
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
