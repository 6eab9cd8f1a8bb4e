/// \file
/// Lists of tasks that are linked through the tasks themselves.
#pragma once

#include "nbiutil/nbitask.h"

namespace NS_UTIL {

/// A list of tasks that are linked through their own place: no node to allocate, and a task is unlinked by
/// where it stands. Owns nothing.
class TaskList {
public:
    TaskList() { m_Head.m_pPrev = m_Head.m_pNext = &m_Head; }
    TaskList(const TaskList&) = delete;
    TaskList& operator=(const TaskList&) = delete;

    bool IsEmpty() const { return m_Head.m_pNext == &m_Head; }
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): a deleted task was unlinked before
    NBITask* First() const { return At(m_Head.m_pNext); }
    NBITask* Last() const { return At(m_Head.m_pPrev); }
    NBITask* After(const NBITask& task) const { return At(PlaceOf(task).m_pNext); }

    void Append(NBITask& task) { InsertBefore(m_Head, task); }
    /// Keeps the list in the order of pushing. Walks from both ends at once, and only for a task that goes
    /// back to idle: one that is pushed is the last.
    void InsertInOrder(NBITask& task);
    static void Unlink(NBITask& task);
    /// Unlinks the first task.
    /// \return null when there is none
    NBITask* TakeFirst();
    /// Moves all of \p other behind the tasks that are here.
    void TakeAll(TaskList& other);
    void SortInOrder();

private:
    void Merge(TaskList& other);
    static NBITaskPlace& PlaceOf(const NBITask& task);
    NBITask* At(NBITaskPlace* pPlace) const;
    static void InsertBefore(NBITaskPlace& next, NBITask& task);

    NBITaskPlace m_Head;  // its neighbours are the first and the last task
};

/// Deletes tasks outside every lock: their destructors are the users' and may push tasks.
void DeleteAll(TaskList& tasks);

}  // namespace NS_UTIL
