#include "nbiutil/poolsnapshot.h"

#include "nbiutil/nbitaskmgr.h"
#include "task/waiters.h"

namespace NS_UTIL {

PoolSnapshot TakePoolSnapshot(unsigned int nNumber)
{
    if (NBITaskMgr::TaskMgrExisted(nNumber)) return NBITaskMgr::GetTaskMgr(nNumber)->TakeSnapshot();
    PoolSnapshot none;
    none.m_nNumber = nNumber;
    return none;
}

std::vector<PoolSnapshot> TakePoolSnapshots()
{
    std::vector<unsigned int> numbers;
    NBITaskMgr::GetAllTaskMgrId(numbers);
    std::vector<PoolSnapshot> snapshots;
    snapshots.reserve(numbers.size());
    for (const unsigned int nNumber : numbers) snapshots.push_back(TakePoolSnapshot(nNumber));
    return snapshots;
}

ProcessSnapshot TakeProcessSnapshot()
{
    return {Waiter::Count(), Waiter::CountLong()};
}

}  // namespace NS_UTIL
