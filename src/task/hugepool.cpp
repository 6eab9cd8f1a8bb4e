#include "task/hugepool.h"

#include <new>

#include "nbiutil/hugetask.h"

namespace NS_UTIL {

bool IsHugeTaskLimitReached() noexcept
{
    try {
        HugeTaskMgr* const pBook = HugeTaskMgr::Instance();
        return pBook != nullptr && (pBook->IsOverHTaskNum() || pBook->IsOverSingleHTaskNum());
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace NS_UTIL
