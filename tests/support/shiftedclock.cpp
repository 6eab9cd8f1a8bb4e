#include "support/shiftedclock.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

std::atomic<long> g_nShift{0};

/// A deadline on the monotonic clock, which counts from the start of the machine, is below this.
constexpr time_t YEAR_2001 = 1000000000;

using TimedWait = int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*);

}  // namespace

namespace nbitest {

void ShiftClock(long nSeconds)
{
    g_nShift = nSeconds;
}

}  // namespace nbitest

// In place of the system library's, for every library of the process: hence visible.
#pragma GCC visibility push(default)
extern "C" {

int clock_gettime(clockid_t clock, timespec* pTime) noexcept
{
    const int nResult = static_cast<int>(syscall(SYS_clock_gettime, clock, pTime));
    if (nResult == 0 && clock == CLOCK_REALTIME) pTime->tv_sec += g_nShift;
    return nResult;
}

int gettimeofday(timeval* pTime, void* /*pZone*/) noexcept
{
    timespec now{};
    const int nResult = clock_gettime(CLOCK_REALTIME, &now);
    pTime->tv_sec = now.tv_sec;
    pTime->tv_usec = now.tv_nsec / 1000;
    return nResult;
}

time_t time(time_t* pTime) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (pTime != nullptr) *pTime = now.tv_sec;
    return now.tv_sec;
}

// The system waits by its own clock, which nobody has set.
int pthread_cond_timedwait(pthread_cond_t* pCondition, pthread_mutex_t* pMutex, const timespec* pUntil)
{
    static const auto pNext = reinterpret_cast<TimedWait>(dlsym(RTLD_NEXT, "pthread_cond_timedwait"));
    timespec until = *pUntil;
    if (until.tv_sec > YEAR_2001) until.tv_sec -= g_nShift;
    return pNext(pCondition, pMutex, &until);
}
}
#pragma GCC visibility pop
