// Pool 2: what waits in the queue, and the book that is kept of its tasks.
#include "task/hugepooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

// The book

TEST_F(HugePoolTest, TaskStandsInTheBookWhileItRuns)
{
    const auto pPool = Started(2, 1);
    for (const int nMode : {0, 1}) {
        const std::string uuid = ServeRequest("collect", {0, nMode, 0, "tasks:"});
        AD ad;
        Book book;
        pPool->PushTask(new TestTask(ad, [&] { book = Entered(); }));
        ad.Wait();
        EXPECT_EQ(book, (Book{{"tasks:collect", {uuid}}}));
        EXPECT_TRUE(Eventually([] { return TaskPoolMgr::GetHugeTaskNum() == 0; }));
    }
}

TEST_F(HugePoolTest, TaskLeavesTheBookBeforeItIsDeleted)
{
    const auto pPool = Started(2, 1);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    std::atomic<int> nLeft{-1};
    pPool->PushTask(new TestTask(ad, {}, [&] { nLeft = TaskPoolMgr::GetHugeTaskNum(); }));
    EXPECT_TRUE(Eventually([&] { return nLeft != -1; }));
    EXPECT_EQ(nLeft, 0);
}

TEST_F(HugePoolTest, FinishedTaskStandsInTheBookUntilTheNextSweep)
{
    NBITaskMgr pool(2);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    pool.PushTask(new TestTask(ad));
    pool.AcquireIdleTask()->Run();
    EXPECT_TRUE(ad.IsFinished());
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 1);
    ServeRequest("other", LONG_RUNNING);
    AD next;
    pool.PushTask(new TestTask(next));
    pool.AcquireIdleTask();
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 1);  // the second
    EXPECT_EQ(Entered().count("tasks:other"), 1u);
}

TEST_F(HugePoolTest, SweptTasksLeaveTheBookInTheOrderOfPushing)
{
    NBITaskMgr pool(2);
    std::vector<NBITask*> tasks;
    AD ad;
    for (const char* const pKind : {"a", "b", "c", "d"}) {
        ServeRequest(pKind, {0, 1, 0, ""});
        tasks.push_back(new TestTask(ad));
        pool.PushTask(tasks.back());
    }
    for (int i = 0; i < 3; ++i) pool.AcquireIdleTask();
    for (const std::size_t nTask : {2U, 0U, 1U}) tasks[nTask]->SetTaskState(NBI_TASK_FINISHED);
    m_Host.ClearLogs();
    EXPECT_EQ(pool.AcquireIdleTask(), tasks[3]);
    std::string kinds;
    for (const LogLine& line : m_Host.LogsAt("hugetask", 114)) kinds += line.m_Text.back();
    EXPECT_EQ(kinds, "abc");
}

TEST_F(HugePoolTest, TaskDeletedForItsSecondPushLeavesTheBook)
{
    NBITaskMgr pool(2);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    pool.PushTask(new TestTask(ad));
    NBITask* const pTask = pool.AcquireIdleTask();
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 1);
    ExpectNotIdle(RaisedBy([&] { pool.PushTask(pTask); }));
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 0);
}

TEST_F(HugePoolTest, OtherPoolsKeepNoBook)
{
    const auto pPool = Started(3, 1);
    ServeRequest("collect", LONG_RUNNING);
    AD ad;
    int nEntered = -1;
    pPool->PushTask(new TestTask(ad, [&] { nEntered = TaskPoolMgr::GetHugeTaskNum(); }));
    ad.Wait();
    EXPECT_EQ(nEntered, 0);
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    EXPECT_TRUE(m_Host.LogsOf("hugetask").empty());
}

TEST_F(HugePoolTest, DefaultConstructedPoolKeepsNoBook)
{
    NBITaskMgr pool;
    TaskPoolMgr::Init(0);
    ServeRequest("query");
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);
    EXPECT_TRUE(m_Host.LogsOf("hugetask").empty());
}

// Which tasks may start

TEST_F(HugePoolTest, HugeTaskIsTakenWithoutAnotherTest)
{
    NBITaskMgr pool(2);
    ServeRequest("collect", {1, 1, 0, ""});
    Enter("collect", "1");
    Enter("collect", "2");
    TaskPoolMgr::Init(0);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);
    EXPECT_EQ(OverallLines() + SingleLines(), 0u);
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 3);
}

TEST_F(HugePoolTest, TaskOfMode0AtTheOverallLimitStaysQueuedAndIdle)
{
    NBITaskMgr pool(2);
    TaskPoolMgr::Init(0);
    ServeRequest("query");
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_IDLE);
    EXPECT_EQ(OverallLines(), 1u);
    EXPECT_EQ(NothingIdleLines(), 0u);
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 0);
}

TEST_F(HugePoolTest, TaskOfMode0IsJudgedByTheTakersContext)
{
    NBITaskMgr pool(2);
    ServeRequest("query");
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    Enter("tasks:collect", "1");
    Enter("tasks:collect", "2");
    ServeRequest("collect", {1, 0, 0, "tasks:"});  // the taker's: beyond the limit of its kind
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_IDLE);
    EXPECT_EQ(SingleLines(), 1u);
}

TEST_F(HugePoolTest, TaskOfMode0IsNotJudgedByItsOwnContext)
{
    NBITaskMgr pool(2);
    Enter("tasks:collect", "1");
    Enter("tasks:collect", "2");
    ServeRequest("collect", {1, 0, 0, "tasks:"});  // the task's: beyond the limit of its kind
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    ServeRequest("query");
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);
    EXPECT_EQ(Entered()["tasks:collect"].size(), 3u);  // but it is entered under its own
}

TEST_F(HugePoolTest, FreshWorkerJudgesByADefaultContext)
{
    const auto pPool = Started(2, 1);
    Enter("tasks:collect", "1");
    Enter("tasks:collect", "2");
    ServeRequest("collect", {1, 0, 0, "tasks:"});
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(SingleLines(), 0u);
}

TEST_F(HugePoolTest, WorkerJudgesByTheContextOfTheTaskItRanLast)
{
    const auto pPool = Started(2, 1);
    ServeRequest("collect", {1, 0, 0, "tasks:"});
    AD first;
    pPool->PushTask(new TestTask(first));
    first.Wait();
    EXPECT_TRUE(Eventually([this] { return NothingIdleLines() == 1; }));
    const ThreadContextInfo one = Enter("tasks:collect", "1");
    Enter("tasks:collect", "2");
    ServeRequest("query");
    AD second;
    auto* const pSecond = new TestTask(second);
    pPool->PushTask(pSecond);
    EXPECT_TRUE(Eventually([this] { return SingleLines() == 1; }));
    EXPECT_EQ(pSecond->GetTaskState(), NBI_TASK_IDLE);
    HugeTaskMgr::Instance()->RemoveHTskInfo(one);
    AD third;
    pPool->PushTask(new TestTask(third));  // its token is the second task's next chance
    EXPECT_EQ(CodeOf(second), 0u);
    EXPECT_EQ(CodeOf(third), 0u);
}

TEST_F(HugePoolTest, FirstIdleTaskHoldsUpThoseBehindIt)
{
    NBITaskMgr pool(2);
    TaskPoolMgr::Init(0);
    ServeRequest("query");
    AD ad;
    auto* const pFirst = new TestTask(ad);
    pool.PushTask(pFirst);
    ServeRequest("collect", LONG_RUNNING);
    auto* const pHuge = new TestTask(ad);
    pool.PushTask(pHuge);
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    EXPECT_EQ(pHuge->GetTaskState(), NBI_TASK_IDLE);
}

TEST_F(HugePoolTest, EachLookInVainSpendsOneToken)
{
    NBITaskMgr pool(2);
    TaskPoolMgr::Init(0);
    ServeRequest("query");
    AD ad;
    auto* const pFirst = new TestTask(ad);
    auto* const pSecond = new TestTask(ad);
    pool.PushTask(pFirst);
    pool.PushTask(pSecond);
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    EXPECT_EQ(pool.AcquireIdleTask(), nullptr);
    TaskPoolMgr::Init(4);
    NBITask* pTaken = nullptr;
    std::thread taker([&] { pTaken = pool.AcquireIdleTask(); });  // no token is left: it waits for the push
    auto* const pThird = new TestTask(ad);
    pool.PushTask(pThird);
    taker.join();
    EXPECT_EQ(pTaken, pFirst);
    EXPECT_EQ(pSecond->GetTaskState(), NBI_TASK_IDLE);
}

TEST_F(HugePoolTest, DeferredTaskStartsWhenARunningOneHasFinished)
{
    const auto pPool = Started(2, 2);
    TaskPoolMgr::Init(1);
    Signal started;
    Signal goOn;
    ServeRequest("collect", LONG_RUNNING);
    AD running;
    pPool->PushTask(new TestTask(running, [&] {
        started.Set();
        goOn.Wait();
    }));
    started.Wait();
    ServeRequest("query");
    AD waiting;
    auto* const pWaiting = new TestTask(waiting);
    pPool->PushTask(pWaiting);
    EXPECT_TRUE(Eventually([this] { return OverallLines() == 1; }));
    EXPECT_EQ(pWaiting->GetTaskState(), NBI_TASK_IDLE);
    goOn.Set();
    EXPECT_EQ(CodeOf(waiting), 0u);
}

TEST_F(HugePoolTest, HugeTaskIsRefusedWhileAnotherRunsAndAcceptedAfterwards)
{
    UseThreads(2);
    TaskPoolMgr::Init(1);
    Signal started;
    Signal goOn;
    ServeRequest("collect", LONG_RUNNING);
    AD running;
    TaskPoolMgr::PushTask(TestAgent(),
                          new TestTask(running,
                                       [&] {
                                           started.Set();
                                           goOn.Wait();
                                       }),
                          2);
    started.Wait();
    AD refused;
    EXPECT_EQ(RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), new TestTask(refused), 2); }).m_nCode,
              0x4118000AU);
    goOn.Set();
    running.Wait();
    EXPECT_TRUE(Eventually([] { return TaskPoolMgr::GetHugeTaskNum() == 0; }));
    AD accepted;
    TaskPoolMgr::PushTask(TestAgent(), new TestTask(accepted), 2);
    EXPECT_EQ(CodeOf(accepted), 0u);
    EndPool2();
}

// The extra post

TEST_F(HugePoolTest, EachRunBringsOneMoreTokenAndSoOneLine)
{
    const auto pPool = Started(2, 3);
    ServeRequest("collect", LONG_RUNNING);
    for (std::size_t nRuns = 1; nRuns <= 20; ++nRuns) {
        AD ad;
        pPool->PushTask(new TestTask(ad));
        ad.Wait();
        EXPECT_TRUE(Eventually([&] { return NothingIdleLines() >= nRuns; }));
        EXPECT_EQ(NothingIdleLines(), nRuns);
    }
    const LogLine line = m_Host.LogsAt("nbitaskmgr", 251).front();
    EXPECT_EQ(line.m_Function, "unknown");
    EXPECT_EQ(line.m_nLevel, 1);
    EXPECT_EQ(line.m_Text, NOTHING_IDLE_LOGGED);
}

TEST_F(HugePoolTest, LookInVainBringsNoToken)
{
    const auto pPool = Started(2, 1);
    TaskPoolMgr::Init(0);
    ServeRequest("query");
    AD ads[3];
    for (std::size_t i = 0; i < 3; ++i) {
        pPool->PushTask(new TestTask(ads[i]));
        EXPECT_TRUE(Eventually([&] { return OverallLines() >= i + 1; }));
        EXPECT_EQ(OverallLines(), i + 1);
    }
    EXPECT_EQ(NothingIdleLines(), 0u);
}

TEST_F(HugePoolTest, ManyDeferredTasksAllRunInTheEnd)
{
    const auto pPool = Started(2, 4);
    TaskPoolMgr::Init(1);
    constexpr int TASKS = 500;
    std::atomic<int> nAtOnce{0};
    std::atomic<int> nMost{0};
    std::vector<AD> ads(TASKS);
    ServeRequest("query");
    for (AD& ad : ads) {
        ServeRequest("query");
        pPool->PushTask(new TestTask(ad, [&] {
            const int nNow = ++nAtOnce;
            int nSeen = nMost;
            while (nNow > nSeen && !nMost.compare_exchange_weak(nSeen, nNow)) {
            }
            std::this_thread::yield();
            --nAtOnce;
        }));
    }
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(nMost, 1);  // asked and entered under one lock
}

}  // namespace
}  // namespace NS_UTIL
