#include "task/processend.h"

#include <ace/OS_NS_unistd.h>
#include <ace/Time_Value.h>

#include <atomic>
#include <cstdlib>

namespace NS_UTIL {
namespace {

std::atomic<int> g_nOnTheirWay{0};
std::atomic<pid_t> g_nProcess{0};  // the process whose workers are counted

void WaitForWorkersOnTheirWay()
{
    if (g_nProcess.load(std::memory_order_acquire) != ACE_OS::getpid()) return;
    constexpr int MILLISECONDS = 1000;
    for (int i = 0; i < MILLISECONDS && g_nOnTheirWay.load(std::memory_order_acquire) > 0; ++i) {
        ACE_OS::sleep(ACE_Time_Value(0, 1000));
    }
}

}  // namespace

void ProcessEnd::ExpectWorkers(int nWorkers)
{
    // Registered after ACE was loaded, and so called before ACE takes itself down.
    static const int nRegistered = std::atexit(WaitForWorkersOnTheirWay);
    static_cast<void>(nRegistered);
    const pid_t nProcess = ACE_OS::getpid();
    if (g_nProcess.exchange(nProcess, std::memory_order_acq_rel) != nProcess) g_nOnTheirWay.store(0);
    g_nOnTheirWay.fetch_add(nWorkers, std::memory_order_acq_rel);
}

void ProcessEnd::ForgetWorkers(int nWorkers)
{
    g_nOnTheirWay.fetch_sub(nWorkers, std::memory_order_acq_rel);
}

void ProcessEnd::WorkerArrives()
{
    g_nOnTheirWay.fetch_sub(1, std::memory_order_acq_rel);
}

}  // namespace NS_UTIL
