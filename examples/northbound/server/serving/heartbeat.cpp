#include "server/serving/heartbeat.h"

#include "nbihost/standalone.h"

namespace northbound {
namespace {

constexpr const char* MODULE = "heartbeat";
constexpr std::chrono::minutes LONG_BODY(1);

bool Hangs(const NS_UTIL::PoolSnapshot& pool, std::chrono::nanoseconds patience)
{
    const bool bAsleep = pool.m_nBusy < pool.m_nStarted;
    return bAsleep && pool.m_nQueued > 0 && !pool.m_bAtLimit && pool.m_OldestQueued > patience;
}

std::string StatusOf(const NS_UTIL::PoolSnapshot& pool, bool bHangs)
{
    std::string text = "pool " + std::to_string(pool.m_nNumber) + ": " + std::to_string(pool.m_nBusy) +
                       " of " + std::to_string(pool.m_nWorkers) + " busy";
    if (pool.m_nQueued > 0) text += ", " + std::to_string(pool.m_nQueued) + " queued";
    if (pool.m_nQueued > 0 && pool.m_bAtLimit) text += " at a limit";
    if (pool.m_LongestBody >= LONG_BODY) {
        const auto minutes = std::chrono::duration_cast<std::chrono::minutes>(pool.m_LongestBody).count();
        text += ", one for " + std::to_string(minutes) + " min";
    }
    return bHangs ? text + ", hangs" : text;
}

}  // namespace

Health HealthOf(const std::vector<NS_UTIL::PoolSnapshot>& pools, std::chrono::nanoseconds patience)
{
    Health health;
    for (const NS_UTIL::PoolSnapshot& pool : pools) {
        const bool bHangs = Hangs(pool, patience);
        health.m_bHangs = health.m_bHangs || bHangs;
        if (!health.m_Status.empty()) health.m_Status += "; ";
        health.m_Status += StatusOf(pool, bHangs);
    }
    return health;
}

void Heartbeat::Beat(const std::vector<NS_UTIL::PoolSnapshot>& pools)
{
    const Health health = HealthOf(pools, m_Manager.BeatInterval());
    if (health.m_Status != m_Told) {
        m_Told = health.m_Status;
        m_Manager.Tell("STATUS=" + m_Told);
        if (health.m_bHangs) {
            nbihost::Log(nbihost::LOG_LEVEL_ERROR, MODULE, "no beat for the service manager: %s",
                         m_Told.c_str());
        }
    }
    if (!health.m_bHangs) m_Manager.Tell("WATCHDOG=1");
}

}  // namespace northbound
