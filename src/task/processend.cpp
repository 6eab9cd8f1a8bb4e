#include "task/processend.h"

#include <ace/OS_NS_unistd.h>
#include <ace/Time_Value.h>

#include <atomic>
#include <cstdlib>

namespace NS_UTIL {
namespace {

/// How many workers are on their way, and in which process: one word, since a child of fork() starts from zero
/// while several of its threads may be about to count. Aligned as a whole, so that every compiler reads and swaps it
/// with one instruction instead of calling a library for it.
struct alignas(sizeof(pid_t) + sizeof(int)) Count {
    pid_t m_nProcess;
    int m_nWorkers;
};
std::atomic<Count> g_OnTheirWay{Count{0, 0}};
static_assert(std::atomic<Count>::is_always_lock_free);

int WorkersOnTheirWay(pid_t nProcess)
{
    const Count count = g_OnTheirWay.load(std::memory_order_acquire);
    return count.m_nProcess == nProcess ? count.m_nWorkers : 0;
}

void Add(int nWorkers)
{
    const pid_t nProcess = ACE_OS::getpid();
    Count before = g_OnTheirWay.load(std::memory_order_relaxed);
    Count after{};
    do {
        after = {nProcess, (before.m_nProcess == nProcess ? before.m_nWorkers : 0) + nWorkers};
    } while (!g_OnTheirWay.compare_exchange_weak(before, after, std::memory_order_acq_rel));
}

void WaitForWorkersOnTheirWay()
{
    constexpr int MILLISECONDS = 1000;
    const pid_t nProcess = ACE_OS::getpid();
    for (int i = 0; i < MILLISECONDS && WorkersOnTheirWay(nProcess) > 0; ++i) {
        ACE_OS::sleep(ACE_Time_Value(0, 1000));
    }
}

}  // namespace

void ProcessEnd::ExpectWorkers(int nWorkers)
{
    // Registered after ACE was loaded, and so called before ACE takes itself down.
    static const int nRegistered = std::atexit(WaitForWorkersOnTheirWay);
    static_cast<void>(nRegistered);
    Add(nWorkers);
}

void ProcessEnd::ForgetWorkers(int nWorkers)
{
    Add(-nWorkers);
}

void ProcessEnd::WorkerArrives()
{
    Add(-1);
}

}  // namespace NS_UTIL
