#include "task/tasklist.h"

#include <array>

namespace NS_UTIL {

NBITaskPlace& TaskList::PlaceOf(const NBITask& task)
{
    return const_cast<NBITask&>(task);  // the place is not part of the task's value
}

NBITask* TaskList::At(NBITaskPlace* pPlace) const
{
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): a deleted task was unlinked before
    return pPlace == &m_Head ? nullptr : static_cast<NBITask*>(pPlace);
}

void TaskList::InsertBefore(NBITaskPlace& next, NBITask& task)
{
    NBITaskPlace& place = PlaceOf(task);
    place.m_pPrev = next.m_pPrev;
    place.m_pNext = &next;
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): whoever is in a list has both neighbours
    next.m_pPrev->m_pNext = &place;
    next.m_pPrev = &place;
}

void TaskList::InsertInOrder(NBITask& task)
{
    if (IsEmpty() || Last()->m_nOrder < task.m_nOrder) {
        Append(task);
        return;
    }
    NBITask* pNext = First();
    NBITask* pLast = Last();
    while (pNext->m_nOrder < task.m_nOrder) {
        NBITask* const pBefore = At(PlaceOf(*pLast).m_pPrev);
        if (pBefore == nullptr || pBefore->m_nOrder < task.m_nOrder) {
            pNext = pLast;
            break;
        }
        pLast = pBefore;
        pNext = After(*pNext);
    }
    InsertBefore(PlaceOf(*pNext), task);
}

void TaskList::Unlink(NBITask& task)
{
    NBITaskPlace& place = PlaceOf(task);
    place.m_pPrev->m_pNext = place.m_pNext;
    place.m_pNext->m_pPrev = place.m_pPrev;
}

NBITask* TaskList::TakeFirst()
{
    NBITask* const pFirst = First();
    if (pFirst != nullptr) Unlink(*pFirst);
    return pFirst;
}

void TaskList::TakeAll(TaskList& other)
{
    if (other.IsEmpty()) return;
    NBITaskPlace* const pFirst = other.m_Head.m_pNext;
    NBITaskPlace* const pLast = other.m_Head.m_pPrev;
    pFirst->m_pPrev = m_Head.m_pPrev;
    m_Head.m_pPrev->m_pNext = pFirst;
    pLast->m_pNext = &m_Head;
    m_Head.m_pPrev = pLast;
    other.m_Head.m_pPrev = other.m_Head.m_pNext = &other.m_Head;
}

/// Both are in order.
void TaskList::Merge(TaskList& other)
{
    NBITask* pNext = First();
    while (NBITask* const pTask = other.TakeFirst()) {
        while (pNext != nullptr && pNext->m_nOrder < pTask->m_nOrder) pNext = After(*pNext);
        InsertBefore(pNext != nullptr ? PlaceOf(*pNext) : m_Head, *pTask);
    }
}

/// In place, since a worker sorts: what it does between its tasks must not need memory. The runs double from
/// one to the next.
void TaskList::SortInOrder()
{
    if (First() == Last()) return;  // none or one, as nearly always
    std::array<TaskList, 48> runs;
    while (NBITask* const pTask = TakeFirst()) {
        TaskList carry;
        carry.Append(*pTask);
        std::size_t nRun = 0;
        for (; !runs[nRun].IsEmpty(); ++nRun) carry.Merge(runs[nRun]);
        runs[nRun].TakeAll(carry);
    }
    for (TaskList& run : runs) Merge(run);
}

void DeleteAll(TaskList& tasks)
{
    while (NBITask* const pTask = tasks.TakeFirst()) delete pTask;
}

}  // namespace NS_UTIL
