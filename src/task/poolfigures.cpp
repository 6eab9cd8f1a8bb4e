#include "task/poolfigures.h"

#include <array>
#include <chrono>

#include "nbiutil/poolsnapshot.h"
#include "task/recentdurations.h"

namespace NS_UTIL {
namespace {

using std::chrono::nanoseconds;

constexpr unsigned int HALF = 500;  // thousandths
constexpr unsigned int P99 = 990;

std::int64_t TimeOf(std::uint64_t nOrder)
{
    return static_cast<std::int64_t>(nOrder & ~PoolFigures::MARKS);
}

/// A coarse time may lie some milliseconds before an exact one that was read earlier.
std::int64_t Between(std::int64_t nBegin, std::int64_t nEnd)
{
    return std::max<std::int64_t>(nEnd - nBegin, 0);
}

TaskTimes TimesOf(RecentDurations& durations, std::int64_t nNow)
{
    TaskTimes times;
    times.m_Median = nanoseconds(durations.Percentile(nNow, HALF));
    times.m_P99 = nanoseconds(durations.Percentile(nNow, P99));
    times.m_Longest = nanoseconds(durations.Longest(nNow));
    times.m_nMeasured = durations.Measured();
    times.m_Sum = nanoseconds(durations.Sum());
    return times;
}

/// The worker that the calling thread is.
__attribute__((tls_model("initial-exec"))) thread_local PoolFigures::Worker* t_pWorker = nullptr;

}  // namespace

/// What changes seldom, or is written by workers alone.
struct PoolFigures::Rest {
    struct Refusals {
        unsigned int m_nCode = 0;
        std::uint64_t m_nCount = 0;
    };

    RecentDurations m_Waiting;
    RecentDurations m_Running;
    Worker* m_pWorkers = nullptr;
    unsigned int m_nEntered = 0;    // workers ever
    std::uint64_t m_nFinished = 0;  // by callers, and by workers that have left
    std::uint64_t m_nFailed = 0;
    std::uint64_t m_nDropped = 0;
    std::uint64_t m_nDeferred = 0;
    std::uint64_t m_nDeferredOrder = 0;           // of the task that was left waiting last
    std::array<Refusals, CODES + 1> m_Refused{};  // the last one is for all further codes
};

PoolFigures::PoolFigures() : m_nPushed(0), m_nLeftInTick(0), m_pRest(std::make_unique<Rest>())
{
}

PoolFigures::~PoolFigures() = default;

void PoolFigures::Enter(Worker& worker)
{
    worker.m_nNumber = ++m_pRest->m_nEntered;
    worker.m_pNext = m_pRest->m_pWorkers;
    if (worker.m_pNext != nullptr) worker.m_pNext->m_pPrev = &worker;
    m_pRest->m_pWorkers = &worker;
    t_pWorker = &worker;
}

void PoolFigures::Leave(Worker& worker)
{
    t_pWorker = nullptr;
    m_pRest->m_nFinished += worker.m_nFinished;
    if (worker.m_pNext != nullptr) worker.m_pNext->m_pPrev = worker.m_pPrev;
    (worker.m_pPrev != nullptr ? worker.m_pPrev->m_pNext : m_pRest->m_pWorkers) = worker.m_pNext;
}

void PoolFigures::Take(const NBITask& task, std::uint64_t nOrder, bool bWorkers)
{
    Worker nobody;
    Worker& worker = bWorkers ? *t_pWorker : nobody;
    const bool bMeasured = (nOrder & MEASURED) != 0;
    const std::int64_t nNow = bMeasured ? ExactNow() : worker.m_nBack != 0 ? worker.m_nBack : Now();
    const std::int64_t nWaited = Between(TimeOf(nOrder), nNow);
    if (bMeasured) {
        m_pRest->m_Waiting.Measure(nNow, nWaited);
    } else {
        m_pRest->m_Waiting.See(nNow, nWaited);
    }
    worker.m_pTask = &task;
    worker.m_nSince = nNow;
    worker.m_bMeasured = bMeasured;
}

void PoolFigures::End(const NBITask& task, bool bFailed, std::int64_t nNow)
{
    Worker* const pWorker = t_pWorker;
    // A task may be run by a caller's thread, and by the body of another task.
    const bool bWorkers = pWorker != nullptr && pWorker->m_pTask == &task;
    if (bFailed) {
        ++m_pRest->m_nFailed;
    } else {
        ++(bWorkers ? pWorker->m_nFinished : m_pRest->m_nFinished);
    }
    if (!bWorkers) return;
    pWorker->m_pTask = nullptr;
    pWorker->m_nBack = nNow;
    if (pWorker->m_bMeasured) {
        m_pRest->m_Running.Measure(nNow, Between(pWorker->m_nSince, ExactNow()));
    } else {
        m_pRest->m_Running.See(nNow, Between(pWorker->m_nSince, nNow));
    }
}

void PoolFigures::ForgetReturn()
{
    if (t_pWorker != nullptr) t_pWorker->m_nBack = 0;
}

void PoolFigures::Drop()
{
    ++m_pRest->m_nDropped;
}

void PoolFigures::Defer(std::uint64_t nOrder)
{
    ++m_pRest->m_nDeferred;
    m_pRest->m_nDeferredOrder = nOrder;
}

void PoolFigures::Refuse(unsigned int nCode)
{
    auto& refused = m_pRest->m_Refused;
    const auto others = refused.end() - 1;
    const auto place = std::find_if(refused.begin(), others, [nCode](const Rest::Refusals& refusals) {
        return refusals.m_nCount == 0 || refusals.m_nCode == nCode;
    });
    if (place != others) place->m_nCode = nCode;
    ++place->m_nCount;
}

const PoolFigures::Worker* PoolFigures::Longest() const
{
    const Worker* pLongest = nullptr;
    for (const Worker* pWorker = m_pRest->m_pWorkers; pWorker != nullptr; pWorker = pWorker->m_pNext) {
        if (pWorker->m_pTask == nullptr) continue;
        if (pLongest == nullptr || pWorker->m_nSince < pLongest->m_nSince) pLongest = pWorker;
    }
    return pLongest;
}

void PoolFigures::ReadInto(PoolSnapshot& snapshot, const std::uint64_t* pOldest)
{
    const std::int64_t nNow = ExactNow();
    snapshot.m_nQueued = m_nQueued;
    snapshot.m_nMostQueued = m_nMostQueued;
    snapshot.m_nPushed = m_nPushed;
    snapshot.m_nFinished = m_pRest->m_nFinished;
    snapshot.m_nFailed = m_pRest->m_nFailed;
    snapshot.m_nDropped = m_pRest->m_nDropped;
    snapshot.m_nDeferred = m_pRest->m_nDeferred;
    for (const Worker* pWorker = m_pRest->m_pWorkers; pWorker != nullptr; pWorker = pWorker->m_pNext) {
        ++snapshot.m_nStarted;
        if (pWorker->m_pTask != nullptr) ++snapshot.m_nBusy;
        snapshot.m_nFinished += pWorker->m_nFinished;
    }
    for (const Rest::Refusals& refusals : m_pRest->m_Refused) {
        if (refusals.m_nCount > 0) snapshot.m_Refused[refusals.m_nCode] += refusals.m_nCount;
    }
    snapshot.m_Waiting = TimesOf(m_pRest->m_Waiting, nNow);
    snapshot.m_Running = TimesOf(m_pRest->m_Running, nNow);
    if (pOldest != nullptr) {
        snapshot.m_OldestQueued = nanoseconds(Between(TimeOf(*pOldest), nNow));
        snapshot.m_bAtLimit = *pOldest == m_pRest->m_nDeferredOrder;
    }
    if (const Worker* const pLongest = Longest()) {
        snapshot.m_LongestBody = nanoseconds(Between(pLongest->m_nSince, nNow));
    }
}

}  // namespace NS_UTIL
