// What the system's semaphore does when it fails, and how often it is asked again.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <semaphore.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <thread>

#include "task/worktokens.h"

namespace {

std::atomic<int> g_nWaits{0};
std::atomic<int> g_nFailingWaits{0};
std::atomic<int> g_nFailingPosts{0};
std::atomic<int> g_nError{0};
std::atomic<int> g_nPauses{0};
std::atomic<long> g_nLastPause{0};  // nanoseconds

template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

bool Fails(std::atomic<int>& nFailing)
{
    if (nFailing == 0) return false;
    --nFailing;
    errno = g_nError;
    return true;
}

}  // namespace

// Visible, unlike everything else in a test program: the shared libraries must find these before the system's.
#pragma GCC visibility push(default)
extern "C" {

int sem_wait(sem_t* pSemaphore)
{
    static const auto next = Next<int (*)(sem_t*)>("sem_wait");
    ++g_nWaits;
    return Fails(g_nFailingWaits) ? -1 : next(pSemaphore);
}

int sem_post(sem_t* pSemaphore) noexcept
{
    static const auto next = Next<int (*)(sem_t*)>("sem_post");
    return Fails(g_nFailingPosts) ? -1 : next(pSemaphore);
}

int nanosleep(const timespec* pTime, timespec* pRest)
{
    static const auto next = Next<int (*)(const timespec*, timespec*)>("nanosleep");
    ++g_nPauses;
    g_nLastPause = pTime->tv_sec * 1'000'000'000 + pTime->tv_nsec;
    return next(pTime, pRest);
}

}  // extern "C"
#pragma GCC visibility pop

namespace NS_UTIL {
namespace {

/// A taker sleeps and is woken, while three waits or posts fail.
class WorkTokensFailureTest : public ::testing::Test {
protected:
    /// \return how often somebody paused
    static int PausesWhile(std::atomic<int>& nFailing, int nError)
    {
        WorkTokens tokens;
        g_nWaits = 0;
        g_nPauses = 0;
        g_nError = nError;
        nFailing = 3;
        std::thread taker([&tokens] { tokens.Take(); });
        while (g_nWaits == 0 || g_nFailingWaits > 0) std::this_thread::yield();
        tokens.Post();
        taker.join();
        EXPECT_EQ(nFailing, 0);
        EXPECT_EQ(tokens.Count(), 0u);
        return g_nPauses;
    }
};

TEST_F(WorkTokensFailureTest, SignalsDoNotWakeAndCostNoPause)
{
    EXPECT_EQ(PausesWhile(g_nFailingWaits, EINTR), 0);
}

TEST_F(WorkTokensFailureTest, RefusedWaitIsRepeatedAfterAPause)
{
    EXPECT_EQ(PausesWhile(g_nFailingWaits, EINVAL), 3);
    EXPECT_EQ(g_nLastPause, 1'000'000);
}

TEST_F(WorkTokensFailureTest, RefusedPostIsRepeatedAfterAPause)
{
    EXPECT_EQ(PausesWhile(g_nFailingPosts, EOVERFLOW), 3);
}

}  // namespace
}  // namespace NS_UTIL
