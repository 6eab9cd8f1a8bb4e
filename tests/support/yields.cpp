#include "support/yields.h"

#include <dlfcn.h>
#include <sched.h>

#include <ctime>

namespace nbitest {
namespace {

constexpr std::int64_t NANOSECONDS = 1000000000;

thread_local FakeYields* t_pCurrent = nullptr;

std::int64_t SystemTime()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * NANOSECONDS + now.tv_nsec;
}

template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

}  // namespace

FakeYields::FakeYields(std::int64_t nNanosecondsEach) : m_nNow(SystemTime()), m_nEach(nNanosecondsEach)
{
    t_pCurrent = this;
}

FakeYields::~FakeYields()
{
    t_pCurrent = nullptr;
}

FakeYields* FakeYields::Current()
{
    return t_pCurrent;
}

void FakeYields::Yield()
{
    ++m_nCount;
    m_nNow += m_nEach;
    if (m_During) m_During();
}

}  // namespace nbitest

using namespace nbitest;  // NOLINT: the names below are the system's, outside every namespace

extern "C" {

// Visible, unlike everything else in a test program: the shared libraries must find these before the
// system's.
__attribute__((visibility("default"))) int sched_yield() noexcept
{
    static const auto pNext = Next<int (*)()>("sched_yield");
    if (FakeYields::Current() == nullptr) return pNext();
    FakeYields::Current()->Yield();
    return 0;
}

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* pTime) noexcept
{
    static const auto pNext = Next<int (*)(clockid_t, timespec*)>("clock_gettime");
    if (FakeYields::Current() == nullptr || clock != CLOCK_MONOTONIC) return pNext(clock, pTime);
    pTime->tv_sec = FakeYields::Current()->Now() / NANOSECONDS;
    pTime->tv_nsec = FakeYields::Current()->Now() % NANOSECONDS;
    return 0;
}

}  // extern "C"
