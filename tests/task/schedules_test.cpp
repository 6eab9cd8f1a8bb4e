// Orders of steps of a few threads on a descriptor, on a queue of tasks and on a whole small pool, by seeds: a failure names
// the seed, and NBI_SCHEDULE_SEED in the environment runs that order again.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/ad.h"
#include "nbiutil/nbitaskmgr.h"
#include "support/inchild.h"
#include "support/schedule.h"
#include "support/tasks.h"
#include "task/tasklist.h"
#include "task/taskqueue.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class SchedulesTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!CanSchedule()) GTEST_SKIP() << NO_SCHEDULES;
        m_Host.KeepLogs(false);
        m_Host.SetInt("TaskMgrMaxThreadNum", 2);
        TestAgent();
        ThreadContextMgr::Instance();
    }

    RecordingHost m_Host;
};

using DescriptorSchedulesTest = SchedulesTest;
using TaskQueueSchedulesTest = SchedulesTest;
using PoolSchedulesTest = SchedulesTest;

/// Everybody has a handle of its own; who sees the end drops the waker's, too, and who lets go last deletes.
TEST_F(DescriptorSchedulesTest, EachWaiterComesBackWhoeverDropsTheLastHandle)
{
    for (const unsigned int nSeed : SeedsToTry(400)) {
        Schedule schedule;
        const std::size_t nWaiters = nSeed % 3 + 1;
        std::array<std::unique_ptr<AD>, 4> handles{std::make_unique<AD>()};
        for (std::size_t i = 1; i <= nWaiters; ++i) handles[i] = std::make_unique<AD>(*handles[0]);
        int nSawTheEnd = 0;
        const auto wait = [&handles, &nSawTheEnd](std::size_t i, bool bOnce) {
            AD& mine = *handles[i];
            if (bOnce) mine.Wait();
            while (!mine.IsFinished()) mine.WaitToComplete();
            ++nSawTheEnd;
            handles[0].reset();  // the waker's, which may still be waking others
            handles[i].reset();
        };
        schedule.Add([&] {
            handles[0]->SetErrorInfo("a text that is too long to lie inside its object");
            handles[0]->Awake();
        });
        for (std::size_t i = 1; i <= nWaiters; ++i) schedule.Add([&wait, i] { wait(i, i < 3); });
        ASSERT_EQ(schedule.RunInOrderOf(nSeed), "");
        ASSERT_EQ(nSawTheEnd, static_cast<int>(nWaiters)) << "seed " << nSeed;
    }
}

// Mistakes with which TaskQueueSchedulesTest has failed, each put into taskqueue.cpp by hand:
//   - ChangeState takes a task out of its list under one lock and files it under the next: two that set its state file it twice
//   - SetState does not file anew a task that waits: it becomes idle, and no worker is given it
//   - HandOutLocked does not look at the state, so it takes a task that its caller has begun to run; or does not mark it as held
//   - TakeBackLocked does not file what comes back, and FileLocked files the finished beside the busy
//   - ReplaceState forgets the marks

/// A task in the hands of a worker belongs to nobody else, and lives until it comes back.
class HandedOut {
public:
    explicit HandedOut(AD& done)
        : m_pTask(new TestTask(done, {}, [this] {
              m_bDeletedInHands = m_bDeletedInHands || m_nHands > 0;
              m_pTask = nullptr;
          }))
    {
    }
    HandedOut(const HandedOut&) = delete;
    HandedOut& operator=(const HandedOut&) = delete;

    TestTask* m_pTask;
    int m_nHands = 0;
    int m_nMostHands = 0;
    int m_nRuns = 0;
    bool m_bDeletedInHands = false;
};

class QueueRun {
public:
    QueueRun() : m_Tasks{HandedOut(m_Done), HandedOut(m_Done), HandedOut(m_Done)} {}

    std::string Try(unsigned int nSeed)
    {
        Schedule schedule;
        schedule.Add([this] {
            Push();
            Toggle();
        });
        schedule.Add([this] { Work(); });
        schedule.Add([this] { Work(); });
        schedule.Add([this] {
            AwaitPush();
            Toggle();
        });
        schedule.Add([this] {
            AwaitPush();
            RunByItself();
        });
        const std::string problem = schedule.RunInOrderOf(nSeed);
        if (!problem.empty()) return problem;
        const std::string misfiled = Misfiled();
        m_Queue.DeleteAllFailed();
        if (!misfiled.empty()) return misfiled;
        for (const HandedOut& task : m_Tasks) {
            if (task.m_nMostHands > 1) return "two have one task in their hands";
            if (task.m_bDeletedInHands) return "a task is deleted in somebody's hands";
            if (task.m_pTask != nullptr) return "a task is left";
        }
        return m_Tasks[0].m_nRuns > 1 || m_Tasks[1].m_nRuns > 1 ? "a finished task ran again" : "";
    }

private:
    /// When all are done: what ran is gone, and the third, made idle, is what the next worker is given once the others are.
    std::string Misfiled()
    {
        for (const HandedOut* const pTask : {&m_Tasks[0], &m_Tasks[1]}) {
            if (pTask->m_nRuns > 0 && pTask->m_pTask != nullptr) return "a finished task is not swept";
        }
        m_Tasks[2].m_pTask->SetTaskState(NBI_TASK_IDLE);
        MutexGuard guard(m_Queue.Lock());
        while (NBITask* const pTask = m_Queue.FirstIdleLocked()) {
            if (pTask == m_Tasks[2].m_pTask) return "";
            if (!m_Queue.HandOutLocked(*pTask, false)) return "an idle task is not handed out";
        }
        return "an idle task is in no list";
    }

    /// What is not idle is not pushed.
    void AwaitPush() const
    {
        while (TaskQueue::OwnerOf(*m_Tasks[2].m_pTask) == nullptr) Schedule::Pause();
    }

    /// As a caller does who runs a task that waits in the queue.
    void RunByItself()
    {
        HandedOut& third = m_Tasks[2];
        for (int i = 0; i < 2; ++i) {
            Schedule::Pause();
            if (!TaskQueue::Hold(*third.m_pTask)) continue;
            third.m_nMostHands = std::max(third.m_nMostHands, ++third.m_nHands);
            Schedule::Pause();
            --third.m_nHands;
            TaskQueue::Release(*third.m_pTask);
        }
    }

    void Push()
    {
        for (HandedOut& task : m_Tasks) {
            MutexGuard guard(m_Queue.Lock());
            m_Queue.AppendLocked(*task.m_pTask, 0);
        }
    }

    void Work()
    {
        PoolFigures::Worker worker;
        {
            MutexGuard guard(m_Queue.Lock());
            m_Queue.FiguresLocked().Enter(worker);
        }
        TakeSome();
        MutexGuard guard(m_Queue.Lock());
        m_Queue.FiguresLocked().Leave(worker);
    }

    void TakeSome()
    {
        for (int i = 0; i < 4; ++i) {
            HandedOut* const pMine = Take();
            if (pMine == nullptr) continue;
            Schedule::Pause();
            ++pMine->m_nRuns;
            // The third is given back as it is, so that states which others set meet it everywhere.
            if (pMine != &m_Tasks[2]) pMine->m_pTask->SetTaskState(NBI_TASK_FINISHED);
            Schedule::Pause();
            --pMine->m_nHands;
            TaskList finished;
            {
                MutexGuard guard(m_Queue.Lock());
                m_Queue.TakeBackLocked(*pMine->m_pTask, 0);
                m_Queue.SweepFinishedLocked(finished);
            }
            DeleteAll(finished);
        }
    }

    HandedOut* Take()
    {
        MutexGuard guard(m_Queue.Lock());
        NBITask* const pTask = m_Queue.FirstIdleLocked();
        Schedule::Pause();  // its caller, who takes no lock for it, may begin to run it
        if (pTask == nullptr || !m_Queue.HandOutLocked(*pTask, true)) return nullptr;
        for (HandedOut& task : m_Tasks) {
            if (task.m_pTask != pTask) continue;
            task.m_nMostHands = std::max(task.m_nMostHands, ++task.m_nHands);
            return &task;
        }
        return nullptr;
    }

    void Toggle()
    {
        for (const NBI_TASK_STATE state : {NBI_TASK_BUSY, NBI_TASK_IDLE, NBI_TASK_BUSY, NBI_TASK_IDLE}) {
            Schedule::Pause();
            m_Tasks[2].m_pTask->SetTaskState(state);
        }
    }

    AD m_Done;
    TaskQueue m_Queue{false};
    std::array<HandedOut, 3> m_Tasks;
};

TEST_F(TaskQueueSchedulesTest, TaskHasOneHolderAndLivesWhileItIsHeld)
{
    for (const unsigned int nSeed : SeedsToTry(400)) {
        ASSERT_EQ(QueueRun().Try(nSeed), "") << "seed " << nSeed;
        ASSERT_EQ(TestTask::Alive(), 0) << "seed " << nSeed;
    }
}

/// Two workers and two pushers of two tasks each, in the order of \p nSeed, and the exit flag, which belongs to the process: in
/// a child.
/// \param bAnyTime the flag is set whenever the order says so; else when all have their answers
std::string RunPool(unsigned int nSeed, bool bAnyTime)
{
    int nRuns = 0;
    int nAnswers = 0;
    std::string problem;
    {
        NBITaskMgr pool(7);
        Schedule schedule;
        const auto push = [&] {
            for (int i = 0; i < 2; ++i) {
                AD done;
                pool.PushTask(new TestTask(done, [&nRuns] { ++nRuns; }));
                if (!bAnyTime) done.Wait();
                ++nAnswers;
            }
        };
        schedule.Add([&pool] { pool.svc(); });
        schedule.Add([&pool] { pool.svc(); });
        schedule.Add(push);
        schedule.Add(push);
        schedule.Add([&] {
            while (!bAnyTime && nAnswers < 4) Schedule::Pause();
            pool.SetExitFlag();
        });
        problem = schedule.RunInOrderOf(nSeed);
        if (!problem.empty()) return problem;
    }
    if (!bAnyTime && nRuns != 4) return std::to_string(nRuns) + " runs of 4 tasks";
    return TestTask::Alive() == 0 ? "" : std::to_string(TestTask::Alive()) + " tasks are left";
}

bool PoolHolds(unsigned int nSeed, bool bAnyTime)
{
    return PassesInChild([=] { EXPECT_EQ(RunPool(nSeed, bAnyTime), "") << "seed " << nSeed; });
}

TEST_F(PoolSchedulesTest, EachTaskRunsOnceAndAllWorkersEnd)
{
    for (const unsigned int nSeed : SeedsToTry(100)) ASSERT_TRUE(PoolHolds(nSeed, false));
}

TEST_F(PoolSchedulesTest, ExitAtAnyTimeEndsAllWorkersAndLosesNoTask)
{
    for (const unsigned int nSeed : SeedsToTry(100)) ASSERT_TRUE(PoolHolds(nSeed, true));
}

}  // namespace
}  // namespace NS_UTIL
