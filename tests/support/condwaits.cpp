#include "support/condwaits.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <fstream>
#include <mutex>
#include <string>
#include <utility>

namespace nbitest {
namespace {

constexpr std::int64_t NANOSECONDS = 1000000000;
constexpr std::int64_t SHORT_SLICE = NANOSECONDS / 100;

using Action = std::function<void()>;
using TimedWait = int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*);
using Wait = int (*)(pthread_cond_t*, pthread_mutex_t*);
using Wake = int (*)(pthread_cond_t*);

// Plain data: threads wait on conditions before and after everything else in this program.
thread_local Action* t_pInstead = nullptr;
thread_local int t_nInsteadResult = 0;
thread_local std::function<bool()>* t_pFirst = nullptr;
thread_local std::int64_t t_nNow = 0;  // the last monotonic time that no wait has followed yet; 0: none
std::atomic<int> g_nClockIsOff{0};     // seconds
std::atomic<bool> g_bShortSlices{false};
std::atomic<bool> g_bAllSlept{true};
std::mutex g_LengthsMutex;
std::vector<std::int64_t>* g_pLengths = nullptr;  // guarded by g_LengthsMutex

std::int64_t NanosecondsOf(const timespec& time)
{
    return time.tv_sec * NANOSECONDS + time.tv_nsec;
}

std::int64_t MonotonicTime()
{
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return NanosecondsOf(now);
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
    if (g_pLengths != nullptr) g_pLengths->push_back(nLength);
}

bool TakeInstead()
{
    Action* const pInstead = t_pInstead;
    if (pInstead == nullptr) return false;
    t_pInstead = nullptr;
    (*pInstead)();
    return true;
}

/// The function of this name that comes next in the program.
template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

}  // namespace

NextWait::NextWait(std::function<void()> instead, int nResult) : m_Instead(std::move(instead))
{
    t_nInsteadResult = nResult;
    t_pInstead = &m_Instead;
}

NextWait::~NextWait()
{
    t_pInstead = nullptr;
}

bool NextWait::IsOver() const
{
    return t_pInstead == nullptr;
}

NextBroadcast::NextBroadcast(std::function<bool()> first) : m_First(std::move(first))
{
    t_pFirst = &m_First;
}

NextBroadcast::~NextBroadcast()
{
    t_pFirst = nullptr;
}

SetClock::SetClock(int nSeconds)
{
    g_nClockIsOff = nSeconds;
}

SetClock::~SetClock()
{
    g_nClockIsOff = 0;
}

ShortSlices::ShortSlices()
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    g_bAllSlept = true;
    g_pLengths = new std::vector<std::int64_t>;
    g_bShortSlices = true;
}

ShortSlices::~ShortSlices()
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    g_bShortSlices = false;
    delete g_pLengths;
    g_pLengths = nullptr;
}

std::size_t ShortSlices::Count() const
{
    return Lengths().size();
}

std::vector<std::int64_t> ShortSlices::Lengths() const
{
    std::lock_guard<std::mutex> guard(g_LengthsMutex);
    return *g_pLengths;
}

bool ShortSlices::AllSlept() const
{
    return g_bAllSlept;
}

}  // namespace nbitest

using namespace nbitest;  // NOLINT: the names below are the system's, outside every namespace

extern "C" {

// Visible, unlike everything else in a test program: the shared libraries must find these before the
// system's.
__attribute__((visibility("default"))) int pthread_cond_wait(pthread_cond_t* pCondition,
                                                             pthread_mutex_t* pMutex)
{
    static const auto pNext = Next<Wait>("pthread_cond_wait");
    return TakeInstead() ? t_nInsteadResult : pNext(pCondition, pMutex);
}

__attribute__((visibility("default"))) int pthread_cond_timedwait(pthread_cond_t* pCondition,
                                                                  pthread_mutex_t* pMutex,
                                                                  const timespec* pUntil)
{
    static const auto pNext = Next<TimedWait>("pthread_cond_timedwait");
    if (TakeInstead()) return t_nInsteadResult;
    const std::int64_t nNow = std::exchange(t_nNow, 0);
    if (!g_bShortSlices || nNow == 0) return pNext(pCondition, pMutex, pUntil);
    KeepLength(NanosecondsOf(*pUntil) - nNow);
    const std::int64_t nEnd = MonotonicTime() + SHORT_SLICE;
    const timespec end = TimeOf(nEnd);
    const int nResult = pNext(pCondition, pMutex, &end);
    if (nResult != 0 && MonotonicTime() < nEnd) g_bAllSlept = false;
    return nResult;
}

__attribute__((visibility("default"))) int pthread_cond_broadcast(pthread_cond_t* pCondition)
{
    static const auto pNext = Next<Wake>("pthread_cond_broadcast");
    std::function<bool()>* const pFirst = std::exchange(t_pFirst, nullptr);
    return pFirst == nullptr || (*pFirst)() ? pNext(pCondition) : 0;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t nClock, timespec* pTime) noexcept
{
    const long nResult = syscall(SYS_clock_gettime, nClock, pTime);
    if (nClock == CLOCK_REALTIME) pTime->tv_sec += g_nClockIsOff;
    if (nClock == CLOCK_MONOTONIC) t_nNow = NanosecondsOf(*pTime) / 1000 * 1000;  // as ACE keeps time
    return static_cast<int>(nResult);
}

__attribute__((visibility("default"))) int gettimeofday(timeval* pTime, void*) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    pTime->tv_sec = now.tv_sec;
    pTime->tv_usec = now.tv_nsec / 1000;
    return 0;
}

}  // extern "C"
