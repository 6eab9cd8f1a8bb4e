// The pools as such: how many workers they have, how they are found, and what a push does.
#include "nbiutil/nbitaskmgr.h"

#include <ace/Log_Msg.h>

#include <algorithm>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;
using Ids = std::vector<unsigned int>;

class NBITaskMgrTest : public PoolTest {};

struct Configured {
    int m_nItem;
    int m_nThreads;
};
void PrintTo(const Configured& configured, std::ostream* pOut)
{
    *pOut << configured.m_nItem;
}

class ThreadCount : public PoolTest, public ::testing::WithParamInterface<Configured> {};

INSTANTIATE_TEST_SUITE_P(Items, ThreadCount,
                         ::testing::Values(Configured{1, 1}, Configured{2, 2}, Configured{20, 20},
                                           Configured{999, 999}, Configured{1000, 20}, Configured{0, 20},
                                           Configured{-1, 20}, Configured{INT_MAX, 20},
                                           Configured{INT_MIN, 20}));

TEST_P(ThreadCount, IsTheItemFrom1To999AndElse20)
{
    const auto pPool = Started(5, GetParam().m_nItem);
    EXPECT_EQ(pPool->thr_count(), static_cast<std::size_t>(GetParam().m_nThreads));
}

TEST_P(ThreadCount, IsLoggedByBothConstructors)
{
    UseThreads(GetParam().m_nItem);
    const NBITaskMgr byDefault;
    const NBITaskMgr numbered(7);
    const std::string text =
        "[NBITaskMgr::NBITaskMgr()] m_nThreadNum = " + std::to_string(GetParam().m_nThreads);
    const std::vector<LogLine> lines = m_Host.Logs();
    ASSERT_EQ(lines.size(), 2u);
    for (const LogLine& line : lines) {
        EXPECT_EQ(line.m_File, "nbitaskmgr");
        EXPECT_EQ(line.m_Function, "unknown");
        EXPECT_EQ(line.m_nLevel, 1);
        EXPECT_EQ(line.m_Text, text);
    }
}

TEST_F(NBITaskMgrTest, ThreadCountWithoutTheItemIs20)
{
    NBITaskMgr pool(5);
    pool.open(nullptr);
    EXPECT_EQ(pool.thr_count(), 20u);
}

TEST_F(NBITaskMgrTest, ThreadCountFromAnItemThatIsNoNumberIs20)
{
    m_Host.SetStr("TaskMgrMaxThreadNum", "many");
    NBITaskMgr pool(5);
    pool.open(nullptr);
    EXPECT_EQ(pool.thr_count(), 20u);
}

TEST_F(NBITaskMgrTest, ThreadCountIsReadWhenThePoolIsBuilt)
{
    UseThreads(3);
    NBITaskMgr pool(5);
    UseThreads(7);
    pool.open(nullptr);
    EXPECT_EQ(pool.thr_count(), 3u);
}

TEST_F(NBITaskMgrTest, SecondOpenStartsNobody)
{
    const auto pPool = Started(5, 2);
    EXPECT_EQ(pPool->open(nullptr), 0);
    EXPECT_EQ(pPool->thr_count(), 2u);
}

TEST_F(NBITaskMgrTest, ConstructorsStartNoThreadAndEnterNothing)
{
    const NBITaskMgr byDefault;
    const NBITaskMgr numbered(7);
    EXPECT_EQ(byDefault.thr_count(), 0u);
    EXPECT_EQ(numbered.thr_count(), 0u);
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(0));
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(7));
}

TEST_F(NBITaskMgrTest, MissingLogServiceChangesNothingElse)
{
    m_Host.RegisterLogService(false);
    const auto pPool = Started(5, 2);
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
    AD refused;
    auto* const pBusy = new TestTask(refused);
    pBusy->SetTaskState(NBI_TASK_BUSY);
    ExpectNotIdle(RaisedBy([&] { pPool->PushTask(pBusy); }));
}

// The registry

TEST_F(NBITaskMgrTest, FirstRequestForANumberMakesAndStartsThePool)
{
    UseThreads(3);
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(5);
    ASSERT_NE(pPool, nullptr);
    EXPECT_EQ(pPool->thr_count(), 3u);
    EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(5));
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(NBITaskMgrTest, FirstRequestLogsItsNumberAndThenTheThreadCount)
{
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(5);
    const std::vector<LogLine> lines = m_Host.Logs();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].m_Text, "[NBITaskMgr::GetTaskMgr]  Find TaskMgrID = 5");
    EXPECT_EQ(lines[0].m_File, "nbitaskmgr");
    EXPECT_EQ(lines[0].m_Function, "unknown");
    EXPECT_EQ(lines[0].m_nLevel, 1);
    EXPECT_EQ(lines[1].m_Text, "[NBITaskMgr::NBITaskMgr()] m_nThreadNum = 1");
}

TEST_F(NBITaskMgrTest, LaterRequestsGiveTheSamePoolAndLogNothing)
{
    UseThreads(1);
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(5);
    m_Host.ClearLogs();
    EXPECT_EQ(NBITaskMgr::GetTaskMgr(5), pPool);
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(NBITaskMgrTest, NumbersThatDifferGiveDifferentPools)
{
    UseThreads(1);
    // 5, 69 and 133 differ by what a table of a power of two would fold
    std::vector<NBITaskMgr*> pools;
    for (const unsigned int nNumber : {5U, 69U, 133U, 0U, 0xFFFFFFFFU}) {
        pools.push_back(NBITaskMgr::GetTaskMgr(nNumber));
    }
    std::size_t nFound = 0;
    for (const unsigned int nNumber : {5U, 69U, 133U, 0U, 0xFFFFFFFFU}) {
        EXPECT_EQ(NBITaskMgr::GetTaskMgr(nNumber), pools[nFound++]);
    }
    std::sort(pools.begin(), pools.end());
    EXPECT_EQ(std::unique(pools.begin(), pools.end()), pools.end());
}

TEST_F(NBITaskMgrTest, ThreadsThatAskAtOnceGetOnePool)
{
    UseThreads(1);
    constexpr int THREADS = 8;
    Meeting start(THREADS);
    std::vector<NBITaskMgr*> found(THREADS);
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&, i] {
            start.Join();
            found[static_cast<std::size_t>(i)] = NBITaskMgr::GetTaskMgr(5);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const NBITaskMgr* const pPool : found) EXPECT_EQ(pPool, found[0]);
    EXPECT_EQ(LinesWith("Find TaskMgrID").size(), 1u);
}

TEST_F(NBITaskMgrTest, AskingWhetherAPoolExistsMakesNone)
{
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(5));
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(5));
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(5);
    EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(5));
    EXPECT_FALSE(NBITaskMgr::TaskMgrExisted(6));
}

TEST_F(NBITaskMgrTest, AllNumbersAreAppendedInAscendingOrder)
{
    UseThreads(1);
    for (const unsigned int nNumber : {70U, 3U, 0U, 0xFFFFFFFFU, 11U}) NBITaskMgr::GetTaskMgr(nNumber);
    Ids ids{9};
    NBITaskMgr::GetAllTaskMgrId(ids);
    EXPECT_EQ(ids, (Ids{9, 0, 3, 11, 70, 0xFFFFFFFFU}));
}

TEST_F(NBITaskMgrTest, AllNumbersOfNoPoolsLeaveTheListAsItIs)
{
    Ids ids{9};
    NBITaskMgr::GetAllTaskMgrId(ids);
    EXPECT_EQ(ids, Ids{9});
}

/// A pool that a derived class keeps as the one instance.
class KeptPool : public NBITaskMgr {
public:
    static void Keep(NBITaskMgr* pPool) { m_pInstance = pPool; }
    static NBITaskMgr* Kept() { return m_pInstance; }
};

TEST_F(NBITaskMgrTest, DestroyDeletesTheKeptPoolAndForgetsIt)
{
    UseThreads(1);
    auto* const pPool = new KeptPool;
    KeptPool::Keep(pPool);
    AD ad;
    pPool->PushTask(new TestTask(ad));
    NBITaskMgr::Destroy();
    EXPECT_EQ(KeptPool::Kept(), nullptr);
    EXPECT_EQ(TestTask::Alive(), 0);
    EXPECT_EQ(CodeOf(ad), 0x41180009U);
}

TEST_F(NBITaskMgrTest, DestroyWithoutAKeptPoolDoesNothing)
{
    EXPECT_EQ(KeptPool::Kept(), nullptr);
    NBITaskMgr::Destroy();
    EXPECT_EQ(KeptPool::Kept(), nullptr);
}

TEST_F(NBITaskMgrTest, DestroyLeavesTheRegistryAlone)
{
    UseThreads(1);
    NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(5);
    NBITaskMgr::Destroy();
    EXPECT_EQ(NBITaskMgr::GetTaskMgr(5), pPool);
}

// Pushing nothing

/// Collects what ACE reports instead of letting it go to the standard error stream.
class AceReports {
public:
    AceReports()
    {
        ACE_LOG_MSG->msg_ostream(&m_Text);
        ACE_LOG_MSG->clr_flags(ACE_Log_Msg::STDERR);
        ACE_LOG_MSG->set_flags(ACE_Log_Msg::OSTREAM);
    }
    ~AceReports()
    {
        ACE_LOG_MSG->clr_flags(ACE_Log_Msg::OSTREAM);
        ACE_LOG_MSG->set_flags(ACE_Log_Msg::STDERR);
        ACE_LOG_MSG->msg_ostream(nullptr);
    }
    AceReports(const AceReports&) = delete;
    AceReports& operator=(const AceReports&) = delete;
    std::string Text() const { return m_Text.str(); }

private:
    std::ostringstream m_Text;
};

void ExpectNullReported(const AceReports& reports, const std::vector<LogLine>& lines)
{
    EXPECT_EQ(reports.Text(), "ACE_ASSERT: file nbitaskmgr, line 152 assertion failed for '0 != pTask'.\n");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].m_File, "nbitaskmgr");
    EXPECT_EQ(lines[0].m_Function, "unknown");
    EXPECT_EQ(lines[0].m_nLevel, 1);
    EXPECT_EQ(lines[0].m_Text, "[NBITaskMgr::PushTask] pTask is NULL");
}

TEST_F(NBITaskMgrTest, PushOfNullIsReportedTwiceAndTheProcessGoesOn)
{
    NBITaskMgr pool(5);
    m_Host.ClearLogs();
    const AceReports reports;
    EXPECT_NO_THROW(pool.PushTask(nullptr));
    ExpectNullReported(reports, m_Host.Logs());
}

TEST_F(NBITaskMgrTest, PushOfNullThroughTheFacadeIsReportedAlike)
{
    UseThreads(1);
    NBITaskMgr::GetTaskMgr(1);
    m_Host.ClearLogs();
    const AceReports reports;
    EXPECT_NO_THROW(TaskPoolMgr::PushTask(TestAgent(), nullptr, 1));
    ExpectNullReported(reports, m_Host.Logs());
}

TEST_F(NBITaskMgrTest, PushOfNullToPool2AsksForNoLimit)
{
    UseThreads(1);
    TaskPoolMgr::Init(0);
    NBITaskMgr::GetTaskMgr(2);
    m_Host.ClearLogs();
    const AceReports reports;
    EXPECT_NO_THROW(TaskPoolMgr::PushTask(TestAgent(), nullptr, 2));
    ExpectNullReported(reports, m_Host.Logs());
}

TEST_F(NBITaskMgrTest, PushOfNullIsReportedAfterTheExitToo)
{
    NBITaskMgr pool(5);
    pool.SetExitFlag();
    m_Host.ClearLogs();
    const AceReports reports;
    EXPECT_NO_THROW(pool.PushTask(nullptr));
    ExpectNullReported(reports, m_Host.Logs());
}

TEST_F(NBITaskMgrTest, PushOfNullWakesNobody)
{
    NBITaskMgr pool(5);
    const AceReports reports;
    pool.PushTask(nullptr);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    EXPECT_EQ(pool.AcquireIdleTask(), pTask);  // by its own token: a stray one would have logged a line
    EXPECT_EQ(NothingIdleLines(), 0u);
}

// Pushing what is not idle

class NotIdle : public PoolTest, public ::testing::WithParamInterface<NBI_TASK_STATE> {};
INSTANTIATE_TEST_SUITE_P(States, NotIdle, ::testing::Values(NBI_TASK_BUSY, NBI_TASK_FINISHED));

TEST_P(NotIdle, TaskIsDeletedAndThePushRaises)
{
    NBITaskMgr pool(5);
    m_Host.ClearLogs();
    AD ad;
    auto* const pTask = new TestTask(ad);
    pTask->SetTaskState(GetParam());
    const Raised raised = RaisedBy([&] { pool.PushTask(pTask); });
    ExpectNotIdle(raised);
    EXPECT_EQ(raised.m_ErrorInfo, "");
    EXPECT_EQ(TestTask::Alive(), 0);
    EXPECT_FALSE(ad.IsFinished());
    const std::vector<LogLine> lines = m_Host.Logs();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].m_File, "nbitaskmgr");
    EXPECT_EQ(lines[0].m_Function, "unknown");
    EXPECT_EQ(lines[0].m_nLevel, 1);
    EXPECT_EQ(lines[0].m_Text, NOT_IDLE_LOGGED);
}

TEST_P(NotIdle, TaskIsRefusedThroughTheFacadeToo)
{
    UseThreads(1);
    AD ad;
    auto* const pTask = new TestTask(ad);
    pTask->SetTaskState(GetParam());
    ExpectNotIdle(RaisedBy([&] { TaskPoolMgr::PushTask(TestAgent(), pTask, 1); }));
    EXPECT_EQ(TestTask::Alive(), 0);
}

TEST_P(NotIdle, RefusalLeavesThePoolWorking)
{
    const auto pPool = Started(5, 1);
    AD refused;
    auto* const pTask = new TestTask(refused);
    pTask->SetTaskState(GetParam());
    ExpectNotIdle(RaisedBy([&] { pPool->PushTask(pTask); }));
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(NothingIdleLines(), 0u);  // the refused push has posted nothing
}

TEST_F(NBITaskMgrTest, RefusedTaskMayPushFromItsDestructor)
{
    const auto pPool = Started(5, 1);
    AD ad;
    AD refused;
    auto* const pTask = new TestTask(refused, {}, [&] { pPool->PushTask(new TestTask(ad)); });
    pTask->SetTaskState(NBI_TASK_BUSY);
    ExpectNotIdle(RaisedBy([&] { pPool->PushTask(pTask); }));
    EXPECT_EQ(CodeOf(ad), 0u);
}

// Running what was pushed

TEST_F(NBITaskMgrTest, OneWorkerRunsTasksInTheOrderOfPushing)
{
    const auto pPool = Started(5, 1);
    std::vector<int> order;
    std::vector<int> wanted;
    AD last;
    for (int i = 0; i < 1000; ++i) {
        AD ad;
        pPool->PushTask(new TestTask(i == 999 ? last : ad, [&order, i] { order.push_back(i); }));
        wanted.push_back(i);
    }
    EXPECT_EQ(CodeOf(last), 0u);
    EXPECT_EQ(order, wanted);
}

TEST_F(NBITaskMgrTest, FacadeRoutesATaskToThePoolOfItsNumber)
{
    UseThreads(1);
    for (const unsigned int nNumber : {0U, 1U, 2U, 77U}) {
        AD ad;
        TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad), nNumber);
        EXPECT_EQ(CodeOf(ad), 0u);
        EXPECT_TRUE(NBITaskMgr::TaskMgrExisted(nNumber));
    }
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    TaskPoolMgr::ShutDown();  // pool 2 logs after the run, and the host goes with the test
}

TEST_F(NBITaskMgrTest, TaskIsBusyWhileItsBodyRuns)
{
    const auto pPool = Started(5, 1);
    AD ad;
    NBITask* pTask = nullptr;
    NBI_TASK_STATE state = NBI_TASK_IDLE;
    pTask = new TestTask(ad, [&] { state = pTask->GetTaskState(); });
    pPool->PushTask(pTask);
    ad.Wait();
    EXPECT_EQ(state, NBI_TASK_BUSY);
}

TEST_F(NBITaskMgrTest, FinishedTaskGoesWhenAWorkerNextLooksForWork)
{
    const auto pPool = Started(5, 1);
    AD ad;
    pPool->PushTask(new TestTask(ad));
    ad.Wait();
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
}

TEST_F(NBITaskMgrTest, EachPushBringsOneTokenAndNoMore)
{
    const auto pPool = Started(5, 4);
    for (int nRound = 0; nRound < 20; ++nRound) {
        std::vector<AD> ads(50);
        for (AD& ad : ads) pPool->PushTask(new TestTask(ad));
        for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
    }
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    EXPECT_EQ(NothingIdleLines(), 0u);
}

TEST_F(NBITaskMgrTest, BodyRunsWithNoLockOfThePoolHeld)
{
    const auto pPool = Started(5, 2);
    AD inner;
    AD outer;
    pPool->PushTask(new TestTask(outer, [&] {
        std::vector<unsigned int> ids;
        NBITaskMgr::GetAllTaskMgrId(ids);
        pPool->PushTask(new TestTask(inner));
        inner.Wait();
        pPool->close(0);
    }));
    EXPECT_EQ(CodeOf(outer), 0u);
}

TEST_F(NBITaskMgrTest, TasksThatFailKeepNoWorkerFromWorking)
{
    const auto pPool = Started(5, 1);
    for (int i = 0; i < 10; ++i) {
        AD ad;
        pPool->PushTask(new TestTask(ad, [] { throw 1; }));
        EXPECT_EQ(CodeOf(ad), 0x411802BCU);
    }
    AD ad;
    pPool->PushTask(new TestTask(ad));
    EXPECT_EQ(CodeOf(ad), 0u);
}

TEST_F(NBITaskMgrTest, VirtualOperationsAreThoseOfTheBase)
{
    NBITaskMgr pool(5);
    ACE_Task_Base& base = pool;
    UseThreads(1);
    EXPECT_EQ(base.open(nullptr), 0);
    EXPECT_EQ(base.close(0), 0);
}

}  // namespace
}  // namespace NS_UTIL
