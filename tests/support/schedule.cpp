#include "support/schedule.h"

#include <dlfcn.h>
#include <sched.h>
#include <semaphore.h>

#include <ctime>
#include <utility>

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#define NBI_SCHEDULES 0
#else
#define NBI_SCHEDULES 1
#endif

namespace nbitest {
namespace {

constexpr std::size_t STACK_BYTES = 64 * 1024;

Schedule* g_pCurrent = nullptr;  // while one of its fibers runs

}  // namespace

bool CanSchedule()
{
    return NBI_SCHEDULES != 0;
}

Schedule::Schedule(std::function<bool()> tokenThere) : m_TokenThere(std::move(tokenThere))
{
}

// Fibers that are not done are dropped where they stand: what they run owns nothing.
Schedule::~Schedule() = default;

void Schedule::Add(std::function<void()> body)
{
    auto pFiber = std::make_unique<Fiber>();
    pFiber->m_Body = std::move(body);
    pFiber->m_pStack.reset(new char[STACK_BYTES]);
    getcontext(&pFiber->m_Context);
    pFiber->m_Context.uc_stack.ss_sp = pFiber->m_pStack.get();
    pFiber->m_Context.uc_stack.ss_size = STACK_BYTES;
    pFiber->m_Context.uc_link = &m_Test;
    makecontext(&pFiber->m_Context, &Schedule::Enter, 0);
    m_Fibers.push_back(std::move(pFiber));
}

void Schedule::Enter()
{
    Fiber* const pFiber = g_pCurrent->m_pRunning;
    pFiber->m_Body();
    pFiber->m_At = Point::DONE;
}

bool Schedule::CanStep(std::size_t nFiber) const
{
    const Point point = At(nFiber);
    return point != Point::DONE && (point != Point::WAITS || m_nSemaphore > 0);
}

void Schedule::Step(std::size_t nFiber)
{
    m_pRunning = m_Fibers[nFiber].get();
    g_pCurrent = this;
    swapcontext(&m_Test, &m_pRunning->m_Context);
    g_pCurrent = nullptr;
}

int Schedule::CountAt(Point point) const
{
    int nCount = 0;
    for (const auto& pFiber : m_Fibers) nCount += pFiber->m_At == point ? 1 : 0;
    return nCount;
}

std::string Schedule::Fingerprint() const
{
    std::string text = std::to_string(m_nSemaphore) + ':';
    for (const auto& pFiber : m_Fibers) text += static_cast<char>('0' + static_cast<int>(pFiber->m_At));
    return text;
}

void Schedule::GiveUp(Point point)
{
    Fiber* const pFiber = m_pRunning;
    pFiber->m_At = point;
    if (point != Point::YIELDS) pFiber->m_bTimeIsUp = false;
    swapcontext(&pFiber->m_Context, &m_Test);
}

void Schedule::Pause()
{
    g_pCurrent->GiveUp(Point::PAUSES);
}

Schedule* Schedule::Current()
{
    return g_pCurrent;
}

void Schedule::Post()
{
    GiveUp(Point::POSTS);
    ++m_nSemaphore;
}

void Schedule::Wait()
{
    GiveUp(Point::WAITS);
    --m_nSemaphore;
}

void Schedule::Yield()
{
    if (m_pRunning->m_bTimeIsUp) return;
    GiveUp(Point::YIELDS);
    m_pRunning->m_bTimeIsUp = !m_TokenThere();
}

}  // namespace nbitest

#if NBI_SCHEDULES
namespace {

template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

}  // namespace

extern "C" {

// Visible, unlike everything else in a test program: the shared libraries must find these before the
// system's.
__attribute__((visibility("default"))) int sem_wait(sem_t* pSemaphore)
{
    static const auto next = Next<int (*)(sem_t*)>("sem_wait");
    if (nbitest::Schedule::Current() == nullptr) return next(pSemaphore);
    nbitest::Schedule::Current()->Wait();
    return 0;
}

__attribute__((visibility("default"))) int sem_post(sem_t* pSemaphore)
{
    static const auto next = Next<int (*)(sem_t*)>("sem_post");
    if (nbitest::Schedule::Current() == nullptr) return next(pSemaphore);
    nbitest::Schedule::Current()->Post();
    return 0;
}

/// Time stands still in a fiber: no yield of its is slow.
__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* pTime)
{
    static const auto next = Next<int (*)(clockid_t, timespec*)>("clock_gettime");
    if (nbitest::Schedule::Current() == nullptr) return next(clock, pTime);
    *pTime = timespec{};
    return 0;
}

__attribute__((visibility("default"))) int sched_yield()
{
    static const auto next = Next<int (*)()>("sched_yield");
    if (nbitest::Schedule::Current() == nullptr) return next();
    nbitest::Schedule::Current()->Yield();
    return 0;
}

}  // extern "C"
#endif
