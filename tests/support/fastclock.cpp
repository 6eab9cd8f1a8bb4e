#include "support/fastclock.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <mutex>

namespace nbitest {
namespace {

constexpr std::int64_t NANOSECONDS = 1000000000;
constexpr std::int64_t SHORT_WAIT = NANOSECONDS / 100;

using ClockWait = int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);

// Plain data: threads ask for the time before and after everything else in this program.
std::atomic<bool> g_bFast{false};
std::atomic<std::int64_t> g_nAhead{0};
std::mutex g_LengthsMutex;
std::vector<std::chrono::nanoseconds>* g_pLengths = nullptr;  // guarded by g_LengthsMutex

std::int64_t TrueTime()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return now.tv_sec * NANOSECONDS + now.tv_nsec;
}

timespec TimeOf(std::int64_t nNanoseconds)
{
    timespec time{};
    time.tv_sec = nNanoseconds / NANOSECONDS;
    time.tv_nsec = nNanoseconds % NANOSECONDS;
    return time;
}

void KeepLength(std::int64_t nLength)
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    if (g_pLengths != nullptr) g_pLengths->emplace_back(nLength);
}

/// How long a wait is to last in truth.
std::int64_t TrueLength(std::int64_t nLength)
{
    return g_bFast ? std::min(nLength, SHORT_WAIT) : nLength;
}

}  // namespace

FastClock::FastClock()
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    g_pLengths = new std::vector<std::chrono::nanoseconds>;
    g_bFast = true;
}

FastClock::~FastClock()
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    g_bFast = false;
    delete g_pLengths;
    g_pLengths = nullptr;
}

std::vector<std::chrono::nanoseconds> FastClock::Lengths() const
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    return *g_pLengths;
}

}  // namespace nbitest

using namespace nbitest;  // NOLINT: the names below are the system's, outside every namespace

extern "C" {

// Visible, unlike everything else in a test program: the shared libraries must find these before the system's.
__attribute__((visibility("default"))) int pthread_cond_clockwait(pthread_cond_t* pCondition,
                                                                  pthread_mutex_t* pMutex, clockid_t nClock,
                                                                  const timespec* pUntil)
{
    static const auto pNext = reinterpret_cast<ClockWait>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
    if (nClock != CLOCK_MONOTONIC) return pNext(pCondition, pMutex, nClock, pUntil);
    const std::int64_t nNow = TrueTime();
    const std::int64_t nLength = pUntil->tv_sec * NANOSECONDS + pUntil->tv_nsec - g_nAhead - nNow;
    const std::int64_t nTrueLength = TrueLength(nLength);
    const timespec end = TimeOf(nNow + nTrueLength);
    const int nResult = pNext(pCondition, pMutex, nClock, &end);
    if (nResult == ETIMEDOUT && g_bFast) {
        KeepLength(nLength);
        g_nAhead += nLength - nTrueLength;
    }
    return nResult;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t nClock, timespec* pTime) noexcept
{
    const long nResult = syscall(SYS_clock_gettime, nClock, pTime);
    if (nClock == CLOCK_MONOTONIC) *pTime = TimeOf(TrueTime() + g_nAhead);
    return static_cast<int>(nResult);
}

}  // extern "C"
