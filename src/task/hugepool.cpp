#include "task/hugepool.h"

#include <atomic>
#include <new>

#include "nbiutil/errcode.h"
#include "nbiutil/hugetask.h"
#include "nbiutil/poolsnapshot.h"

namespace NS_UTIL {
namespace {

// A push is refused before its pool is looked for, which may not be there.
std::atomic<std::uint64_t> g_nRefusedOverall{0};
std::atomic<std::uint64_t> g_nRefusedOfKind{0};

}  // namespace

HugeLimit ReachedHugeLimit() noexcept
{
    try {
        HugeTaskMgr* const pBook = HugeTaskMgr::Instance();
        if (pBook == nullptr) return HugeLimit::NONE;
        if (pBook->IsOverHTaskNum()) return HugeLimit::OVERALL;
        return pBook->IsOverSingleHTaskNum() ? HugeLimit::OF_KIND : HugeLimit::NONE;
    } catch (const std::bad_alloc&) {
        return HugeLimit::NONE;
    }
}

void CountRefusalAt(HugeLimit limit) noexcept
{
    (limit == HugeLimit::OVERALL ? g_nRefusedOverall : g_nRefusedOfKind)
        .fetch_add(1, std::memory_order_relaxed);
}

void ReadBook(PoolSnapshot& snapshot)
{
    snapshot.m_nRefusedOverall = g_nRefusedOverall.load(std::memory_order_relaxed);
    snapshot.m_nRefusedOfKind = g_nRefusedOfKind.load(std::memory_order_relaxed);
    const std::uint64_t nRefused = snapshot.m_nRefusedOverall + snapshot.m_nRefusedOfKind;
    if (nRefused > 0) snapshot.m_Refused[ErrCode::HUGE_TASK_LIMIT] += nRefused;
    if (HugeTaskMgr* const pBook = HugeTaskMgr::Instance()) {
        snapshot.m_nInBook = pBook->GetHTskNum();
        snapshot.m_nBookLimit = pBook->GetHTskMax();
    }
}

}  // namespace NS_UTIL
