#include "task/taskqueue.h"

#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/poolsnapshot.h"

namespace NS_UTIL {

void TaskQueue::Fail(NBITask& task)
{
    task.m_Descriptor.SetErrorCode(ErrCode::POOL_DESTROYED);
    task.Awake();
}

void TaskQueue::FailIdleLocked()
{
    for (NBITask* pTask = m_Idle.First(); pTask != nullptr; pTask = m_Idle.After(*pTask)) Fail(*pTask);
}

/// One task at a time: a destructor may change the states of other tasks, which files them anew, also out of
/// the list that is being emptied here.
void TaskQueue::DeleteAllFailed()
{
    TaskList all;
    const auto takeFirst = [this, &all] {
        MutexGuard guard(m_QueueLock);
        if (all.IsEmpty()) {
            for (TaskList* const pList : {&m_Idle, &m_Finished, &m_Others}) all.TakeAll(*pList);
            all.SortInOrder();
        }
        return all.TakeFirst();
    };
    while (NBITask* const pTask = takeFirst()) {
        Fail(*pTask);
        delete pTask;
    }
}

bool TaskQueue::AppendLocked(NBITask& task, std::int64_t nNow)
{
    if (task.GetTaskState() != NBI_TASK_IDLE) return false;
    TaskQueue* pNobody = nullptr;
    if (!task.m_pOwner.compare_exchange_strong(pNobody, this, std::memory_order_acq_rel)) return false;
    task.m_nOrder = m_Figures.Push(nNow);
    EnterIdleLocked(task);
    return true;
}

void TaskQueue::EnterIdleLocked(NBITask& task)
{
    task.m_nOrder |= PoolFigures::QUEUED;
    m_Idle.InsertInOrder(task);
    m_Figures.EnterQueue();
}

void TaskQueue::UnlinkLocked(NBITask& task)
{
    if ((task.m_nOrder & PoolFigures::QUEUED) != 0) {
        task.m_nOrder &= ~PoolFigures::QUEUED;
        m_Figures.LeaveQueue();
    }
    TaskList::Unlink(task);
}

NBITask* TaskQueue::FirstIdleLocked()
{
    // A state that was set while the task was being pushed has told nobody: such a task is filed anew here.
    for (NBITask* pTask = m_Idle.First(); pTask != nullptr; pTask = m_Idle.First()) {
        const unsigned int nState = pTask->m_nState.load(std::memory_order_acquire);
        if (StateIn(nState) == NBI_TASK_IDLE && (nState & HELD) == 0) return pTask;
        UnlinkLocked(*pTask);
        FileLocked(*pTask);
    }
    return nullptr;
}

bool TaskQueue::HandOutLocked(NBITask& task, bool bHeld)
{
    unsigned int nIdle = NBI_TASK_IDLE;
    const unsigned int nBusy = NBI_TASK_BUSY | (bHeld ? HELD : 0U);
    if (!task.m_nState.compare_exchange_strong(nIdle, nBusy, std::memory_order_acq_rel)) return false;
    UnlinkLocked(task);
    m_Others.Append(task);
    m_Figures.Take(task, task.m_nOrder, bHeld);
    task.m_nOrder &= ~PoolFigures::MEASURED;
    return true;
}

void TaskQueue::TakeBackLocked(NBITask& task, std::int64_t nNow)
{
    const unsigned int nState = task.m_nState.fetch_and(~(HELD | FAILED), std::memory_order_acq_rel);
    m_Figures.End(task, (nState & FAILED) != 0, nNow);
    UnlinkLocked(task);
    FileLocked(task);
}

/// Puts an unlinked task into the list that its state and its marks ask for.
void TaskQueue::FileLocked(NBITask& task)
{
    const unsigned int nState = task.m_nState.load(std::memory_order_acquire);
    if ((nState & HELD) != 0) {
        m_Others.Append(task);
    } else if (StateIn(nState) == NBI_TASK_FINISHED || (nState & DOOMED) != 0) {
        m_Finished.Append(task);
    } else if (StateIn(nState) == NBI_TASK_IDLE) {
        EnterIdleLocked(task);
    } else {
        m_Others.Append(task);
    }
}

void TaskQueue::SweepFinishedLocked(TaskList& finished)
{
    if (m_Finished.IsEmpty()) return;
    finished.TakeAll(m_Finished);
    finished.SortInOrder();
    for (const NBITask* pTask = finished.First(); pTask != nullptr; pTask = finished.After(*pTask)) {
        ForgetLocked(*pTask);
    }
}

void TaskQueue::ForgetLocked(const NBITask& task)
{
    if (!m_bHugePool) return;
    if (HugeTaskMgr* const pBook = HugeTaskMgr::Instance()) pBook->RemoveHTskInfo(*task.m_pStoredContext);
}

void TaskQueue::WakeAllLocked()
{
    for (const TaskList* const pList : {&m_Others, &m_Idle}) {
        for (NBITask* pTask = pList->First(); pTask != nullptr; pTask = pList->After(*pTask)) {
            if (pTask->GetTaskState() != NBI_TASK_FINISHED) pTask->Awake();
        }
    }
}

NBI_TASK_STATE TaskQueue::StateOf(const NBITask& task)
{
    return StateIn(task.m_nState.load(std::memory_order_acquire));
}

TaskQueue* TaskQueue::OwnerOf(const NBITask& task)
{
    return task.m_pOwner.load(std::memory_order_acquire);
}

/// \param[in,out] nState what the task's word is taken to be, and has been.
/// \return false, and nothing is done, when it has another value
bool TaskQueue::ReplaceState(NBITask& task, unsigned int& nState, NBI_TASK_STATE state)
{
    const unsigned int nNew = (nState & ~STATE_MASK) | static_cast<unsigned int>(state);
    return task.m_nState.compare_exchange_weak(nState, nNew, std::memory_order_acq_rel);
}

void TaskQueue::SetState(NBITask& task, NBI_TASK_STATE state)
{
    if (static_cast<unsigned int>(state) > NBI_TASK_FINISHED) return;
    unsigned int nState = task.m_nState.load(std::memory_order_acquire);
    while ((nState & HELD) != 0 || OwnerOf(task) == nullptr) {
        if (StateIn(nState) == state || ReplaceState(task, nState, state)) return;
    }
    OwnerOf(task)->ChangeState(task, state);
}

void TaskQueue::ChangeState(NBITask& task, NBI_TASK_STATE state)
{
    MutexGuard guard(m_QueueLock);
    unsigned int nState = task.m_nState.load(std::memory_order_relaxed);
    do {
        if (StateIn(nState) == state) return;
    } while (!ReplaceState(task, nState, state));
    if ((nState & HELD) != 0) return;
    UnlinkLocked(task);
    FileLocked(task);
}

bool TaskQueue::Hold(NBITask& task)
{
    return (task.m_nState.fetch_or(HELD, std::memory_order_acq_rel) & HELD) == 0;
}

void TaskQueue::MarkFailed(NBITask& task)
{
    task.m_nState.fetch_or(FAILED, std::memory_order_acq_rel);
}

void TaskQueue::Release(NBITask& task)
{
    TaskQueue* const pOwner = OwnerOf(task);
    if (pOwner == nullptr) {
        task.m_nState.fetch_and(~(HELD | FAILED), std::memory_order_acq_rel);
        return;
    }
    const std::int64_t nNow = PoolFigures::Now();
    MutexGuard guard(pOwner->m_QueueLock);
    pOwner->TakeBackLocked(task, nNow);
}

void TaskQueue::PushedAgain(NBITask& task)
{
    TaskQueue& owner = *OwnerOf(task);
    {
        MutexGuard guard(owner.m_QueueLock);
        const unsigned int nState = task.m_nState.fetch_or(DOOMED, std::memory_order_acq_rel);
        if ((nState & HELD) != 0) return;
        if (StateIn(nState) == NBI_TASK_IDLE) {
            task.m_nState.fetch_and(~DOOMED, std::memory_order_acq_rel);
            return;
        }
        owner.UnlinkLocked(task);
        owner.ForgetLocked(task);
    }
    delete &task;
}

/// A task that a worker has in its hands lives until it comes back, which needs the lock.
void TaskQueue::ReadLocked(PoolSnapshot& snapshot)
{
    const NBITask* const pOldest = m_Idle.First();
    m_Figures.ReadInto(snapshot, pOldest != nullptr ? &pOldest->m_nOrder : nullptr);
    if (const PoolFigures::Worker* const pLongest = m_Figures.Longest()) {
        snapshot.m_LongestBodyUUID = pLongest->m_pTask->m_pStoredContext->GetBareOperUUID();
    }
}

}  // namespace NS_UTIL
