#include "support/lockfailure.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <utility>

#include "support/faultpoint.h"
#include "support/threadsanitizer.h"

#if defined(__clang__) && NBI_THREAD_SANITIZER
#define NBI_INTERPOSE_LOCKS 0
#else
#define NBI_INTERPOSE_LOCKS 1
#endif

namespace nbitest {
namespace {

struct Orders {
    int m_nSkip;
    int m_nFail;
    int m_nError;
};

// Plain data, ready before any constructor has run: the first lock is taken long before main.
thread_local Orders t_Orders[3];
thread_local const std::function<void()>* t_pBefore[3];

Orders& OrdersFor(LockKind kind)
{
    return t_Orders[static_cast<int>(kind)];
}

#if NBI_INTERPOSE_LOCKS
bool TakeFailure(LockKind kind, int& nError)
{
    Orders& orders = OrdersFor(kind);
    if (orders.m_nFail == 0) return false;
    if (orders.m_nSkip > 0) {
        --orders.m_nSkip;
        return false;
    }
    --orders.m_nFail;
    nError = orders.m_nError;
    return true;
}

/// Fails as ordered, or calls the function of this name that comes next in the program.
template <class Lock>
int Acquire(LockKind kind, const char* pName, std::atomic<int (*)(Lock*)>& next, Lock* pLock)
{
    int nError = 0;
    if (const auto* pWork = std::exchange(t_pBefore[static_cast<int>(kind)], nullptr)) (*pWork)();
    if (TakeFailure(kind, nError)) return nError;
    if (FailsHere(FaultKind::LOCK, pLock)) return EINVAL;
    auto* pNext = next.load(std::memory_order_relaxed);
    if (pNext == nullptr) {
        pNext = reinterpret_cast<int (*)(Lock*)>(dlsym(RTLD_NEXT, pName));
        next.store(pNext, std::memory_order_relaxed);
    }
    return pNext(pLock);
}

std::atomic<int (*)(pthread_mutex_t*)> g_NextMutexLock{nullptr};
std::atomic<int (*)(pthread_rwlock_t*)> g_NextReadLock{nullptr};
std::atomic<int (*)(pthread_rwlock_t*)> g_NextWriteLock{nullptr};
#endif

}  // namespace

bool CanFailLocks()
{
    return NBI_INTERPOSE_LOCKS != 0;
}

FailingLocks::FailingLocks(LockKind kind, int nCalls, int nError, int nSkip) : m_Kind(kind)
{
    OrdersFor(kind) = Orders{nSkip, nCalls, nError};
}

FailingLocks::~FailingLocks()
{
    OrdersFor(m_Kind) = Orders{};
}

int FailingLocks::Left() const
{
    return OrdersFor(m_Kind).m_nFail;
}

BeforeNextLock::BeforeNextLock(LockKind kind, std::function<void()> work)
    : m_Kind(kind), m_Work(std::move(work))
{
    t_pBefore[static_cast<int>(m_Kind)] = &m_Work;
}

BeforeNextLock::~BeforeNextLock()
{
    t_pBefore[static_cast<int>(m_Kind)] = nullptr;
}

}  // namespace nbitest

#if NBI_INTERPOSE_LOCKS
extern "C" {

// Visible, unlike everything else in a test program: the shared libraries must find these before the
// system's.
__attribute__((visibility("default"))) int pthread_mutex_lock(pthread_mutex_t* pMutex)
{
    return nbitest::Acquire(nbitest::LockKind::MUTEX, "pthread_mutex_lock", nbitest::g_NextMutexLock, pMutex);
}

__attribute__((visibility("default"))) int pthread_rwlock_rdlock(pthread_rwlock_t* pLock)
{
    return nbitest::Acquire(nbitest::LockKind::READ, "pthread_rwlock_rdlock", nbitest::g_NextReadLock, pLock);
}

__attribute__((visibility("default"))) int pthread_rwlock_wrlock(pthread_rwlock_t* pLock)
{
    return nbitest::Acquire(nbitest::LockKind::WRITE, "pthread_rwlock_wrlock", nbitest::g_NextWriteLock,
                            pLock);
}

}  // extern "C"
#endif
