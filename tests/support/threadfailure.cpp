#include "support/threadfailure.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <climits>

#include "support/faultpoint.h"
#include "support/threadsanitizer.h"

#if defined(__clang__) && NBI_THREAD_SANITIZER
#define NBI_INTERPOSE_THREADS 0
#else
#define NBI_INTERPOSE_THREADS 1
#endif

namespace nbitest {
namespace {

std::atomic<int> g_nWork{INT_MAX};
std::atomic<int> g_nFailed{0};

}  // namespace

bool CanFailThreads()
{
    return NBI_INTERPOSE_THREADS != 0;
}

FailingThreads::FailingThreads(int nWork)
{
    g_nFailed = 0;
    g_nWork = nWork;
}

FailingThreads::~FailingThreads()
{
    g_nWork = INT_MAX;
}

int FailingThreads::Failed() const
{
    return g_nFailed;
}

}  // namespace nbitest

#if NBI_INTERPOSE_THREADS
// Visible, unlike everything else in a test program: the shared libraries must find it before the system's.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* pThread,
                                                                     const pthread_attr_t* pAttributes,
                                                                     void* (*pStart)(void*), void* pArgument)
{
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (nbitest::g_nWork.load() != INT_MAX && nbitest::g_nWork.fetch_sub(1) <= 0) {
        ++nbitest::g_nFailed;
        return EAGAIN;
    }
    if (nbitest::FailsHere(nbitest::FaultKind::THREAD)) return EAGAIN;
    static const auto next = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return next(pThread, pAttributes, pStart, pArgument);
}
#endif
