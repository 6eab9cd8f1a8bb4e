#include "task/yieldgate.h"

#include <ace/OS_NS_Thread.h>
#include <sched.h>

#include <algorithm>
#include <ctime>

namespace NS_UTIL {
namespace {

std::int64_t Now()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

bool HasOneCoreAlone()
{
    cpu_set_t cores;
    return sched_getaffinity(0, sizeof cores, &cores) == 0 && CPU_COUNT(&cores) == 1;
}

}  // namespace

YieldGate g_YieldGate;

bool YieldGate::IsOpen()
{
    const std::int64_t nUntil = m_nClosedUntil.load(std::memory_order_relaxed);
    if (nUntil == OPEN) return true;
    const std::int64_t nNow = Now();
    return nNow >= nUntil && Reopen(nNow);
}

bool YieldGate::Reopen(std::int64_t nNow)
{
    if (HasOneCoreAlone()) {  // that may change while the process runs
        PauseFrom(nNow, LONGEST_PAUSE);
        return false;
    }
    m_nOpenedAt.store(nNow, std::memory_order_relaxed);
    m_nClosedUntil.store(OPEN, std::memory_order_relaxed);
    return true;
}

void YieldGate::Close()
{
    if (m_nClosedUntil.load(std::memory_order_relaxed) != OPEN) return;
    const std::int64_t nNow = Now();
    const std::int64_t nLast = m_nPause.load(std::memory_order_relaxed);
    const std::int64_t nWasOpen = nNow - m_nOpenedAt.load(std::memory_order_relaxed);
    const bool bRecovered = nWasOpen >= PAUSES_TO_RECOVER * nLast;
    PauseFrom(nNow, bRecovered ? SHORTEST_PAUSE : std::min(PAUSE_GROWTH * nLast, LONGEST_PAUSE));
}

void YieldGate::PauseFrom(std::int64_t nNow, std::int64_t nPause)
{
    m_nPause.store(nPause, std::memory_order_relaxed);
    m_nClosedUntil.store(nNow + nPause, std::memory_order_relaxed);
}

Yields::Yields(YieldGate& gate)
{
    if (!gate.IsOpen()) return;
    m_nNow = Now();
    m_nLeft = MOST;
}

bool Yields::Next()
{
    if (m_nLeft == 0) return false;
    const std::int64_t nBefore = m_nNow;
    ACE_OS::thr_yield();
    m_nNow = Now();
    m_nLast = m_nNow - nBefore;
    m_nLeft = WereSlow() ? 0 : m_nLeft - 1;
    return true;
}

}  // namespace NS_UTIL
