// One look for work: its order, who looks, and what it needs.
#include <algorithm>
#include <list>

#include "support/heapwatch.h"
#include "support/sleeper.h"
#include "task/pooltesting.h"
#include "task/taskqueue.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

constexpr HugeFigures LONG_RUNNING{0, 1, 0, "a manager whose name needs memory:"};

class LookForWorkTest : public PoolTest {};

// The order

TEST_F(LookForWorkTest, DestructorInPool2SeesTheBookWithoutItsTaskAndWithoutTheNext)
{
    int nSeen = -1;
    NBITaskMgr pool(2);
    AD ad;
    ServeRequest("first", LONG_RUNNING);
    pool.PushTask(new TestTask(ad, {}, [&nSeen] { nSeen = TaskPoolMgr::GetHugeTaskNum(); }));
    pool.AcquireIdleTask()->Run();
    ServeRequest("second", LONG_RUNNING);
    AD next;
    auto* const pNext = new TestTask(next);
    pool.PushTask(pNext);
    EXPECT_EQ(pool.AcquireIdleTask(), pNext);
    EXPECT_EQ(nSeen, 0);
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 1);
}

TEST_F(LookForWorkTest, PlaceInTheBookIsFreeBeforeTheExtraTokenIsThere)
{
    const auto pPool = Started(2, 2);
    TaskPoolMgr::Init(1);
    for (int i = 0; i < 300; ++i) {
        AD huge;
        AD waiting;
        ServeRequest("huge", LONG_RUNNING);
        pPool->PushTask(new TestTask(huge));
        ServeRequest("query");
        pPool->PushTask(new TestTask(waiting));  // its own token may be spent while the other runs
        huge.Wait();
        EXPECT_EQ(CodeOf(waiting), 0u);
    }
}

// Threads of the caller's own

TEST_F(LookForWorkTest, CallersThreadsPassTheTokensOfTheExitOn)
{
    const auto pPool = Started(5, 1);
    Held held;
    AD ad;
    pPool->PushTask(new TestTask(ad, held.Body()));
    held.m_Started.Wait();
    std::list<Sleeper> callers;
    std::atomic<int> nBack{0};
    for (int i = 0; i < 3; ++i) {
        callers.emplace_back([&] {
            EXPECT_EQ(pPool->AcquireIdleTask(), nullptr);
            ++nBack;
        });
    }
    pPool->SetExitFlag();
    EXPECT_TRUE(Eventually([&nBack] { return nBack == 3; }));
    held.m_GoOn.Set();
    for (int i = nBack; i < 3; ++i) pPool->SetExitFlag();  // so that a failure does not hang
    EXPECT_EQ(pPool->wait(), 0);
}

TEST_F(LookForWorkTest, CallersThreadsLeaveTheWorkersTheTokensOfTheExit)
{
    const auto pPool = Started(5, 2);
    AD first;
    pPool->PushTask(new TestTask(first));
    first.Wait();
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    std::list<Sleeper> callers;
    for (int i = 0; i < 8; ++i) callers.emplace_back([&] { EXPECT_EQ(pPool->AcquireIdleTask(), nullptr); });
    pPool->SetExitFlag();
    EXPECT_EQ(pPool->wait(), 0);
}

// Without memory

/// Takes the first task of pool 2 while every allocation of this thread fails.
NBITask* AcquiredWithoutMemory(NBITaskMgr& pool)
{
    const AllocationLimit none(0);
    return pool.AcquireIdleTask();
}

TEST_F(LookForWorkTest, FinishedTasksAreSortedAndSweptWithoutMemory)
{
    std::string order;
    order.reserve(100);
    NBITaskMgr pool(2);
    AD ad;
    std::vector<NBITask*> tasks;
    for (const char name : {'a', 'b', 'c', 'd', 'e'}) {
        ServeRequest(std::string(40, name), LONG_RUNNING);
        tasks.push_back(new TestTask(ad, {}, [&order, name] { order += name; }));
        pool.PushTask(tasks.back());
    }
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(pool.AcquireIdleTask(), tasks[i]);
    for (const std::size_t i : {3U, 1U, 0U, 2U}) tasks[i]->SetTaskState(NBI_TASK_FINISHED);
    EXPECT_EQ(AcquiredWithoutMemory(pool), tasks[4]);
    EXPECT_EQ(order, "abcd");
    EXPECT_EQ(TaskPoolMgr::GetHugeTaskNum(), 0) << "the four have left, and the fifth could not be entered";
}

TEST_F(LookForWorkTest, TaskIsTakenThoughTheBookCannotBeAskedForLackOfMemory)
{
    NBITaskMgr pool(2);
    AD ad;
    ServeRequest(std::string(40, 'q'), {1, 0, 0, "a manager whose name needs memory:"});
    auto* const pTask = new TestTask(ad);
    pool.PushTask(pTask);
    EXPECT_EQ(AcquiredWithoutMemory(pool), pTask);
}

TEST_F(LookForWorkTest, LongListOfFinishedTasksIsSortedInPlace)
{
    constexpr int TASKS = 1000;
    std::vector<int> gone;
    gone.reserve(TASKS);
    NBITaskMgr pool(5);
    AD ad;
    std::vector<NBITask*> tasks;
    for (int i = 0; i < TASKS; ++i) {
        tasks.push_back(new TestTask(ad, {}, [&gone, i] { gone.push_back(i); }));
        pool.PushTask(tasks.back());
    }
    for (std::size_t i = 0; i < TASKS; ++i) tasks[i * 389 % TASKS]->SetTaskState(NBI_TASK_FINISHED);
    auto* const pLast = new TestTask(ad);
    pool.PushTask(pLast);
    EXPECT_EQ(pool.AcquireIdleTask(), pLast);
    EXPECT_EQ(gone.size(), static_cast<std::size_t>(TASKS));
    EXPECT_TRUE(std::is_sorted(gone.begin(), gone.end()));
}

// States set from outside

TEST_F(LookForWorkTest, StatesThatAreNoneAreIgnored)
{
    NBITaskMgr pool(5);
    AD ad;
    auto* const pQueued = new TestTask(ad);
    TestTask loose(ad);
    pool.PushTask(pQueued);
    for (NBITask* const pTask : {static_cast<NBITask*>(pQueued), static_cast<NBITask*>(&loose)}) {
        for (const int nState : {3, 4, 8, -1, 0x7FFFFFFF}) {
            pTask->SetTaskState(static_cast<NBI_TASK_STATE>(nState));
            EXPECT_EQ(pTask->GetTaskState(), NBI_TASK_IDLE) << nState;
        }
    }
    EXPECT_EQ(pool.AcquireIdleTask(), pQueued);
    pQueued->Run();
    EXPECT_TRUE(ad.IsFinished());
}

/// Each of the changes would take tens of thousands of steps if it walked from the front.
TEST_F(LookForWorkTest, ChangesNearTheEndOfALongQueueDoNotWalkFromItsFront)
{
    constexpr std::size_t TASKS = 40000;
    constexpr int CHANGES = 200000;
    m_Host.KeepLogs(false);
    NBITaskMgr pool(5);
    AD ad;
    std::vector<NBITask*> tasks;
    for (std::size_t i = 0; i < TASKS; ++i) {
        tasks.push_back(new TestTask(ad));
        pool.PushTask(tasks.back());
    }
    NBITask* const pMiddle = tasks[TASKS / 2];
    NBITask* const pNearEnd = tasks[TASKS - 3];
    for (int i = 0; i < CHANGES; ++i) {
        pMiddle->SetTaskState(NBI_TASK_IDLE);
        pNearEnd->SetTaskState(NBI_TASK_BUSY);
        pNearEnd->SetTaskState(NBI_TASK_IDLE);
    }
    for (NBITask* const pTask : tasks) ASSERT_EQ(pool.AcquireIdleTask(), pTask);
}

TEST_F(LookForWorkTest, TaskThatGoesBackToIdleFindsItsPlaceFromEitherEnd)
{
    constexpr std::size_t TASKS = 9;
    AD ad;
    for (std::size_t nMoved = 0; nMoved < TASKS; ++nMoved) {
        NBITaskMgr pool(5);
        std::vector<NBITask*> tasks;
        for (std::size_t i = 0; i < TASKS; ++i) {
            tasks.push_back(new TestTask(ad));
            pool.PushTask(tasks.back());
        }
        tasks[nMoved]->SetTaskState(NBI_TASK_BUSY);
        tasks[nMoved]->SetTaskState(NBI_TASK_IDLE);
        for (NBITask* const pTask : tasks) EXPECT_EQ(pool.AcquireIdleTask(), pTask) << nMoved;
    }
}

/// A task that runs while it stands among the idle ones: its own body has pushed it.
class HeldTask : public TestTask {
public:
    HeldTask(NBITaskMgr& pool, AD& ad, Action body)
        : HeldTask(pool, ad, std::move(body), std::make_shared<bool>(false))
    {
    }
    void Execute() override
    {
        const std::shared_ptr<const bool> pGone = m_pGone;
        m_Pool.PushTask(this);
        m_Body();
        EXPECT_FALSE(*pGone);
    }

private:
    HeldTask(NBITaskMgr& pool, AD& ad, Action body, const std::shared_ptr<bool>& pGone)
        : TestTask(ad, {}, [pGone] { *pGone = true; }), m_Pool(pool), m_Body(std::move(body)), m_pGone(pGone)
    {
    }

    NBITaskMgr& m_Pool;
    Action m_Body;
    std::shared_ptr<bool> m_pGone;
};

TEST_F(LookForWorkTest, IdleTaskThatSomebodyRunsIsPassedOver)
{
    NBITaskMgr pool(5);
    AD ad;
    HeldTask* pHeld = nullptr;
    pHeld = new HeldTask(pool, ad, [&] {
        auto* const pNext = new TestTask(ad);
        pool.PushTask(pNext);
        EXPECT_EQ(pool.AcquireIdleTask(), pNext);
        EXPECT_EQ(pHeld->GetTaskState(), NBI_TASK_IDLE);
    });
    pHeld->Run();
    EXPECT_EQ(pHeld->GetTaskState(), NBI_TASK_FINISHED) << "and it is the pool's until the next sweep";
}

TEST_F(LookForWorkTest, TaskThatFinishesItselfIsNotSweptWhileSomebodyRunsIt)
{
    NBITaskMgr pool(5);
    AD ad;
    HeldTask* pHeld = nullptr;
    pHeld = new HeldTask(pool, ad, [&] {
        pHeld->SetTaskState(NBI_TASK_FINISHED);
        for (int i = 0; i < 2; ++i) {  // the first look files it anew, the second one sweeps
            auto* const pNext = new TestTask(ad);
            pool.PushTask(pNext);
            EXPECT_EQ(pool.AcquireIdleTask(), pNext);
        }
        EXPECT_EQ(TestTask::Alive(), 3);
    });
    pHeld->Run();
    auto* const pNext = new TestTask(ad);
    pool.PushTask(pNext);
    EXPECT_EQ(pool.AcquireIdleTask(), pNext);
    EXPECT_EQ(TestTask::Alive(), 3) << "the held task has gone, the three that were taken are still there";
}

}  // namespace
}  // namespace NS_UTIL
