// Pools that are alive when the process ends.
#include <cstdlib>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class ProcessEndDeathTest : public PoolTest {
protected:
    void SetUp() override { m_Host.KeepLogs(false); }  // the host's memory ends before the workers do
};

/// Runs \p prepare in a process of its own, which then ends as by a return from main().
#define EXPECT_ENDS_CLEANLY(prepare)                \
    GTEST_FLAG_SET(death_test_style, "threadsafe"); \
    EXPECT_EXIT(                                    \
        {                                           \
            prepare;                                \
            std::exit(0);                           \
        },                                          \
        ::testing::ExitedWithCode(0), "")

TEST_F(ProcessEndDeathTest, EndsWithSleepingWorkers)
{
    EXPECT_ENDS_CLEANLY({
        for (const unsigned int nNumber : {0U, 1U, 2U, 3U}) {
            AD ad;
            TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), nNumber);
            ad.Wait();
        }
    });
}

TEST_F(ProcessEndDeathTest, EndsWithWorkersThatAreBeingStarted)
{
    for (int i = 0; i < 20; ++i) {
        EXPECT_ENDS_CLEANLY({
            for (unsigned int nNumber = 0; nNumber < 4; ++nNumber) NBITaskMgr::GetTaskMgr(nNumber);
        });
    }
}

TEST_F(ProcessEndDeathTest, EndsWithAPoolThatIsAStaticObject)
{
    EXPECT_ENDS_CLEANLY({
        static NBITaskMgr pool(5);
        pool.open(nullptr);
        AD ad;
        pool.PushTask(new TestTask(ad));
    });
}

TEST_F(ProcessEndDeathTest, EndsWithPoolsThatWereMadeAfterTheExit)
{
    for (int i = 0; i < 20; ++i) {
        EXPECT_ENDS_CLEANLY({
            NBITaskMgr::GetTaskMgr(0);
            TaskPoolMgr::ShutDown();
            for (unsigned int nNumber = 1; nNumber < 5; ++nNumber) NBITaskMgr::GetTaskMgr(nNumber);
        });
    }
}

TEST_F(ProcessEndDeathTest, EndsWithAPoolThatWasOpenedTwice)
{
    EXPECT_ENDS_CLEANLY({
        NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(5);
        EXPECT_EQ(pPool->open(nullptr), 0);
    });
}

TEST_F(ProcessEndDeathTest, EndsWithARunningBody)
{
    EXPECT_ENDS_CLEANLY({
        Held& held = *new Held;  // never deleted: its waiter outlives everything
        AD ad;
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad, held.Body()), 0);
        held.m_Started.Wait();
    });
}

TEST_F(ProcessEndDeathTest, EndsWithQueuedTasks)
{
    EXPECT_ENDS_CLEANLY({
        UseThreads(1);
        Held& held = *new Held;  // never deleted: its waiter outlives everything
        AD ad;
        for (int i = 0; i < 100; ++i) {
            TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad, held.Body()), 0);
        }
        held.m_Started.Wait();
    });
}

TEST_F(ProcessEndDeathTest, EndsWithWorkersThatAreAtWork)
{
    EXPECT_ENDS_CLEANLY({
        AD ad;
        for (int i = 0; i < 2000; ++i) TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), 3);
    });
}

TEST_F(ProcessEndDeathTest, EndsAfterShutDown)
{
    EXPECT_ENDS_CLEANLY({
        for (const unsigned int nNumber : {0U, 1U, 2U}) NBITaskMgr::GetTaskMgr(nNumber);
        TaskPoolMgr::ShutDown();
    });
}

}  // namespace
}  // namespace NS_UTIL
