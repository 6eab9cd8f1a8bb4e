/// \file
/// The tasks that a pool owns, their lock, and the tokens on which its workers wait.
#pragma once

#include <ace/Thread_Mutex.h>

#include "base/lockguard.h"
#include "nbiutil/nbitask.h"
#include "task/poolfigures.h"
#include "task/queuelock.h"
#include "task/tasklist.h"
#include "task/worktokens.h"

namespace NS_UTIL {

struct PoolSnapshot;

/// The tasks of one pool, filed by what is to become of them, so that no operation walks over the others:
/// those that are idle, in the order of pushing; those that are finished and wait for the next sweep; and the
/// rest, which are in somebody's hands or were set busy from outside.
///
/// A task's m_nState holds its state in the low bits and three marks. HELD: somebody runs it, so it is neither
/// handed out nor deleted, and its state is looked at when it comes back. DOOMED: it is deleted when it comes
/// back. FAILED: the run that goes on has failed. A state that is changed while the mark HELD is not set changes under the queue lock, which files the
/// task anew.
///
/// Operations whose name ends in Locked are for callers that hold Lock().
/// Lock order: queue lock before a descriptor's mutex, before HugeTaskMgr's lock.
class TaskQueue {
public:
    static constexpr unsigned int STATE_MASK = 0x3;
    static constexpr unsigned int HELD = 0x4;
    static constexpr unsigned int DOOMED = 0x8;
    static constexpr unsigned int FAILED = 0x10;

    /// \param bHugePool the tasks stand in HugeTaskMgr's book from their hand-out until they are deleted
    explicit TaskQueue(bool bHugePool) : m_bHugePool(bHugePool) {}
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    ACE_Thread_Mutex& Lock() { return m_QueueLock; }
    WorkTokens& Tokens() { return m_Tokens; }
    PoolFigures& FiguresLocked() { return m_Figures; }
    /// A limit keeps \p task, the first idle one, waiting.
    void DeferLocked(const NBITask& task) { m_Figures.Defer(task.m_nOrder); }
    /// Fills in what the queue and its figures know.
    void ReadLocked(PoolSnapshot& snapshot);

    /// Makes this queue the owner of an idle task and appends it.
    /// \param nNow when the push began: PoolFigures::Now()
    /// \return false, and nothing has changed, when the task is not idle or has an owner
    bool AppendLocked(NBITask& task, std::int64_t nNow);

    /// The first idle task, which stays where it is; null when there is none.
    NBITask* FirstIdleLocked();
    /// Hands out the idle task \p task: it becomes busy.
    /// \param bHeld its taker is a worker, which brings it back
    /// \return false, and nothing has changed, when its state was set from outside meanwhile
    bool HandOutLocked(NBITask& task, bool bHeld);
    /// Takes a task back from whoever ran it and files it by its state.
    /// \param nNow when the run ended: PoolFigures::Now()
    void TakeBackLocked(NBITask& task, std::int64_t nNow);
    /// Moves the finished tasks to \p finished, in the order of pushing, and takes them out of HugeTaskMgr's
    /// book. The caller deletes them without the lock.
    void SweepFinishedLocked(TaskList& finished);
    /// Wakes the descriptor of every task that is not finished.
    void WakeAllLocked();

    /// The pool goes away: fails the tasks that wait, which stay where they are. A body that waits for one of
    /// them, and whose worker is waited for, goes on.
    void FailIdleLocked();
    /// Fails and deletes every task, in the order of pushing, and those too that destructors file anew
    /// meanwhile.
    void DeleteAllFailed();
    /// Fails a task: its descriptor gets ErrCode::POOL_DESTROYED and is woken.
    static void Fail(NBITask& task);

    /// What NBITask needs of the queue that owns it
    static TaskQueue* OwnerOf(const NBITask& task);
    static NBI_TASK_STATE StateOf(const NBITask& task);
    /// Sets a task's state, and files anew a task that nobody runs. Nothing happens when the state stays, or
    /// when \p state is none of the three.
    static void SetState(NBITask& task, NBI_TASK_STATE state);
    /// Marks \p task as being run.
    /// \return false when it was marked already
    static bool Hold(NBITask& task);
    /// An exception has ended the run that goes on.
    static void MarkFailed(NBITask& task);
    /// The end of a run that began with Hold(). The task may be gone afterwards.
    static void Release(NBITask& task);
    /// A task was pushed although it has an owner. Queued and idle, it stays; held, it is deleted when it
    /// comes back; otherwise it is deleted now.
    static void PushedAgain(NBITask& task);

private:
    static NBI_TASK_STATE StateIn(unsigned int nState)
    {
        return static_cast<NBI_TASK_STATE>(nState & STATE_MASK);
    }
    static bool ReplaceState(NBITask& task, unsigned int& nState, NBI_TASK_STATE state);
    void ChangeState(NBITask& task, NBI_TASK_STATE state);
    void EnterIdleLocked(NBITask& task);
    void UnlinkLocked(NBITask& task);
    void FileLocked(NBITask& task);
    void ForgetLocked(const NBITask& task);

    // The order matters: a push and a hand-out touch the first two cache lines and the tokens' one.
    alignas(64) QueueLock m_QueueLock;
    TaskList m_Idle;        // guarded by m_QueueLock
    PoolFigures m_Figures;  // guarded by m_QueueLock
    TaskList m_Finished;    // guarded by m_QueueLock
    TaskList m_Others;      // guarded by m_QueueLock
    WorkTokens m_Tokens;
    const bool m_bHugePool;
};

}  // namespace NS_UTIL
