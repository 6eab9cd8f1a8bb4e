#include "support/schedule.h"

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <random>
#include <utility>

#include "support/threadsanitizer.h"

#if NBI_THREAD_SANITIZER
#define NBI_SCHEDULES 0
#else
#define NBI_SCHEDULES 1
#endif

namespace nbitest {
namespace {

constexpr std::size_t STACK_BYTES = 64 * 1024;
constexpr int MOST_STEPS = 200000;

Schedule* g_pCurrent = nullptr;             // while one of its fibers runs
thread_local Schedule* t_pOwner = nullptr;  // of a thread that stands for a fiber

// The system's own, for the threads themselves.

void WaitFor(sem_t& semaphore)
{
    static const auto next = reinterpret_cast<int (*)(sem_t*)>(dlsym(RTLD_NEXT, "sem_wait"));
    while (next(&semaphore) != 0) {
    }
}

void Post(sem_t& semaphore)
{
    static const auto next = reinterpret_cast<int (*)(sem_t*)>(dlsym(RTLD_NEXT, "sem_post"));
    next(&semaphore);
}

}  // namespace

bool CanSchedule()
{
    return NBI_SCHEDULES != 0;
}

Schedule::Schedule(std::function<bool()> tokenThere, Backing backing)
    : m_TokenThere(std::move(tokenThere)), m_Backing(backing)
{
    sem_init(&m_Back, 0, 0);
}

Schedule::Schedule() : Schedule([] { return false; }, Backing::THREADS)
{
}

/// Fibers that are not done are dropped where they stand: what they run owns nothing. Threads sleep until the process ends.
Schedule::~Schedule()
{
    for (auto& pFiber : m_Fibers) {
        if (!pFiber->m_Thread.joinable()) continue;
        if (pFiber->m_At == Point::DONE) {
            pFiber->m_Thread.join();
        } else {
            pFiber->m_Thread.detach();
            pFiber.release();  // NOLINT(bugprone-unused-return-value): the thread still sleeps on it
        }
    }
}

void Schedule::Add(std::function<void()> body)
{
    auto pFiber = std::make_unique<Fiber>();
    pFiber->m_Body = std::move(body);
    if (m_Backing == Backing::THREADS) {
        sem_init(&pFiber->m_Go, 0, 0);
        pFiber->m_Thread = std::thread([this, &fiber = *pFiber] { RunOnThread(fiber); });
    } else {
        pFiber->m_pStack.reset(new char[STACK_BYTES]);
        getcontext(&pFiber->m_Context);
        pFiber->m_Context.uc_stack.ss_sp = pFiber->m_pStack.get();
        pFiber->m_Context.uc_stack.ss_size = STACK_BYTES;
        pFiber->m_Context.uc_link = &m_Test;
        makecontext(&pFiber->m_Context, &Schedule::Enter, 0);
    }
    m_Fibers.push_back(std::move(pFiber));
}

void Schedule::RunOnThread(Fiber& fiber)
{
    WaitFor(fiber.m_Go);
    t_pOwner = this;
    fiber.m_Body();
    t_pOwner = nullptr;
    fiber.m_At = Point::DONE;
    nbitest::Post(m_Back);
}

void Schedule::Enter()
{
    Fiber* const pFiber = g_pCurrent->m_pRunning;
    pFiber->m_Body();
    pFiber->m_At = Point::DONE;
}

bool Schedule::CanStep(std::size_t nFiber) const
{
    const Fiber& fiber = *m_Fibers[nFiber];
    switch (fiber.m_At) {
        case Point::DONE:
            return false;
        case Point::WAITS:
            return m_nSemaphore > 0;
        case Point::LOCKS:
            return IsFree(fiber, fiber.m_pObject);
        case Point::SLEEPS:
            return fiber.m_bWoken;
        default:
            return true;
    }
}

bool Schedule::IsFree(const Fiber& fiber, const void* pMutex) const
{
    const auto found = m_Mutexes.find(pMutex);
    return found == m_Mutexes.end() || found->second.m_pOwner == &fiber;
}

std::string Schedule::RunInOrderOf(unsigned int nSeed)
{
    std::minstd_rand random(nSeed + 1);
    std::vector<std::size_t> enabled;
    for (int nSteps = 0; nSteps < MOST_STEPS; ++nSteps) {
        enabled.clear();
        for (std::size_t i = 0; i < Fibers(); ++i) {
            if (CanStep(i)) enabled.push_back(i);
        }
        if (enabled.empty()) break;
        Step(enabled[random() % enabled.size()]);
    }
    if (CountAt(Point::DONE) == static_cast<int>(Fibers())) return "";
    return (enabled.empty() ? "nobody can go on: " : "it does not end: ") + Fingerprint() +
           "; again with NBI_SCHEDULE_SEED=" + std::to_string(nSeed);
}

std::vector<unsigned int> SeedsToTry(unsigned int nCount)
{
    if (const char* const pSeed = std::getenv("NBI_SCHEDULE_SEED")) {
        return {static_cast<unsigned int>(std::strtoul(pSeed, nullptr, 10))};
    }
    if (const char* const pCount = std::getenv("NBI_SCHEDULES")) {
        nCount = static_cast<unsigned int>(std::strtoul(pCount, nullptr, 10));
    }
    std::vector<unsigned int> seeds(nCount);
    for (unsigned int i = 0; i < nCount; ++i) seeds[i] = i;
    return seeds;
}

void Schedule::Step(std::size_t nFiber)
{
    m_pRunning = m_Fibers[nFiber].get();
    if (m_Backing == Backing::THREADS) {
        nbitest::Post(m_pRunning->m_Go);
        WaitFor(m_Back);
        return;
    }
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
    if (m_Backing == Backing::THREADS) {
        nbitest::Post(m_Back);
        WaitFor(pFiber->m_Go);
    } else {
        swapcontext(&pFiber->m_Context, &m_Test);
    }
}

void Schedule::Pause()
{
    Current()->GiveUp(Point::PAUSES);
}

Schedule* Schedule::Current()
{
    return t_pOwner != nullptr ? t_pOwner : g_pCurrent;
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

void Schedule::Take(const void* pMutex, int nDepth)
{
    Mutex& mutex = m_Mutexes[pMutex];
    mutex.m_pOwner = m_pRunning;
    mutex.m_nDepth += nDepth;
}

void Schedule::Lock(const void* pMutex)
{
    m_pRunning->m_pObject = pMutex;
    GiveUp(Point::LOCKS);
    Take(pMutex, 1);
}

bool Schedule::TryLock(const void* pMutex)
{
    GiveUp(Point::PAUSES);
    if (!IsFree(*m_pRunning, pMutex)) return false;
    Take(pMutex, 1);
    return true;
}

void Schedule::Unlock(const void* pMutex)
{
    const auto found = m_Mutexes.find(pMutex);
    if (found != m_Mutexes.end() && --found->second.m_nDepth == 0) m_Mutexes.erase(found);
}

void Schedule::Sleep(const void* pCondition, const void* pMutex)
{
    const int nDepth = m_Mutexes[pMutex].m_nDepth;
    m_Mutexes.erase(pMutex);
    m_pRunning->m_pObject = pCondition;
    m_pRunning->m_bWoken = false;
    GiveUp(Point::SLEEPS);
    m_pRunning->m_pObject = pMutex;
    GiveUp(Point::LOCKS);
    Take(pMutex, nDepth);
}

/// Others may come between the caller's last step and this.
void Schedule::Wake(const void* pCondition, bool bAll)
{
    GiveUp(Point::PAUSES);
    for (const auto& pFiber : m_Fibers) {
        if (pFiber->m_At != Point::SLEEPS || pFiber->m_pObject != pCondition || pFiber->m_bWoken) continue;
        pFiber->m_bWoken = true;
        if (!bAll) return;
    }
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

__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* pMutex)
{
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_lock");
    if (nbitest::Schedule::Current() == nullptr) return next(pMutex);
    nbitest::Schedule::Current()->Lock(pMutex);
    return 0;
}

__attribute__((visibility("default"))) int pthread_mutex_trylock(pthread_mutex_t* pMutex)
{
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_trylock");
    if (nbitest::Schedule::Current() == nullptr) return next(pMutex);
    return nbitest::Schedule::Current()->TryLock(pMutex) ? 0 : EBUSY;
}

__attribute__((visibility("default"))) int pthread_mutex_unlock(pthread_mutex_t* pMutex)
{
    static const auto next = Next<int (*)(pthread_mutex_t*)>("pthread_mutex_unlock");
    if (nbitest::Schedule::Current() == nullptr) return next(pMutex);
    nbitest::Schedule::Current()->Unlock(pMutex);
    return 0;
}

__attribute__((visibility("default"))) int pthread_cond_wait(pthread_cond_t* pCondition,
                                                             pthread_mutex_t* pMutex)
{
    static const auto next = Next<int (*)(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait");
    if (nbitest::Schedule::Current() == nullptr) return next(pCondition, pMutex);
    nbitest::Schedule::Current()->Sleep(pCondition, pMutex);
    return 0;
}

__attribute__((visibility("default"))) int pthread_cond_timedwait(pthread_cond_t* pCondition,
                                                                  pthread_mutex_t* pMutex,
                                                                  const timespec* pUntil)
{
    using Wait = int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*);
    static const auto next = Next<Wait>("pthread_cond_timedwait");
    if (nbitest::Schedule::Current() == nullptr) return next(pCondition, pMutex, pUntil);
    nbitest::Schedule::Current()->Sleep(pCondition, pMutex);
    return 0;
}

__attribute__((visibility("default"))) int pthread_cond_signal(pthread_cond_t* pCondition)
{
    static const auto next = Next<int (*)(pthread_cond_t*)>("pthread_cond_signal");
    if (nbitest::Schedule::Current() == nullptr) return next(pCondition);
    nbitest::Schedule::Current()->Wake(pCondition, false);
    return 0;
}

__attribute__((visibility("default"))) int pthread_cond_broadcast(pthread_cond_t* pCondition)
{
    static const auto next = Next<int (*)(pthread_cond_t*)>("pthread_cond_broadcast");
    if (nbitest::Schedule::Current() == nullptr) return next(pCondition);
    nbitest::Schedule::Current()->Wake(pCondition, true);
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
