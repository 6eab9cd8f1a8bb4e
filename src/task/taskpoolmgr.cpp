#include "base/probe.h"
#include "log/log.h"
#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/nbitask.h"
#include "nbiutil/nbitaskmgr.h"
#include "task/hugepool.h"
#include "task/taskqueue.h"
#include "task/throw.h"

namespace NS_UTIL {
namespace {

// The lines are those of the pools: one module to who reads the log.
constexpr const char* MODULE = "nbitaskmgr";
constexpr SourceMark LIMIT_LOGGED{MODULE, 329};
constexpr SourceMark LIMIT_THROWN{MODULE, 339};

/// A new pool may not find the memory that it needs. The task goes then, unless a pool owns it.
NBITaskMgr& PoolFor(unsigned int nNumber, NBITask* pTask)
{
    try {
        return *NBITaskMgr::GetTaskMgr(nNumber);
    } catch (...) {
        if (pTask != nullptr && TaskQueue::OwnerOf(*pTask) == nullptr) delete pTask;
        throw;
    }
}

}  // namespace

void TaskPoolMgr::Init(const int& nMaxHugeTasks)
{
    if (HugeTaskMgr* const pBook = HugeTaskMgr::Instance()) {
        pBook->Init(static_cast<unsigned int>(nMaxHugeTasks));
    }
}

int TaskPoolMgr::GetHugeTaskNum()
{
    HugeTaskMgr* const pBook = HugeTaskMgr::Instance();
    return pBook != nullptr ? static_cast<int>(pBook->GetHTskNum()) : 0;
}

void TaskPoolMgr::PushTask(DBAgent& agent, NBITask* pTask, unsigned int nNumber)
{
    // A task that a pool owns already is no new task: the pool refuses it, whatever the limits say.
    const bool bHuge = nNumber == HUGE_POOL && pTask != nullptr && TaskQueue::OwnerOf(*pTask) == nullptr &&
                       pTask->GetTaskMode() != 0;
    const HugeLimit limit = bHuge ? ReachedHugeLimit() : HugeLimit::NONE;
    if (limit != HugeLimit::NONE) {
        NBI_PROBE(refuse, nNumber, ErrCode::HUGE_TASK_LIMIT);
        CountRefusalAt(limit);
        WriteLog(
            LIMIT_LOGGED,
            "[TaskPoolMgr::PushTask] CALL IncreaseHugeTask error, reached the max num:Taskmaxtasknum=%d, "
            "nowtasknum=%d",
            agent.GetHugeTaskMaxnum(), GetHugeTaskNum());
        delete pTask;
        Throw(LIMIT_THROWN, ErrCode::HUGE_TASK_LIMIT, "");
    }
    PoolFor(nNumber, pTask).PushTask(pTask);
}

void TaskPoolMgr::ShutDown()
{
    for (const unsigned int nNumber : {0U, 1U, 2U}) {
        if (!NBITaskMgr::TaskMgrExisted(nNumber)) continue;
        NBITaskMgr* const pPool = NBITaskMgr::GetTaskMgr(nNumber);
        pPool->SetExitFlag();
        pPool->close(0);
        pPool->wait();
    }
}

}  // namespace NS_UTIL
