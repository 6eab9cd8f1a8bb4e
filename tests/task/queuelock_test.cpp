#include "task/queuelock.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cerrno>
#include <thread>
#include <vector>

#include "base/lockguard.h"

namespace {

using NS_UTIL::MutexGuard;
using NS_UTIL::QueueLock;

TEST(QueueLockTest, OneThreadAtATime)
{
    constexpr int THREADS = 4;
    constexpr int TIMES = 20000;
    QueueLock lock;
    long nCount = 0;
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < TIMES; ++n) {
                MutexGuard guard(lock);
                ++nCount;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(nCount, long{THREADS} * TIMES);
}

TEST(QueueLockTest, TakenIsTakenForItsOwnerToo)
{
    QueueLock lock;
    MutexGuard guard(lock);
    EXPECT_EQ(lock.tryacquire(), -1);
    EXPECT_EQ(errno, EBUSY);
}

#ifdef __GLIBC__
/// What its waiters do shows in time alone; its kind tells which they are.
TEST(QueueLockTest, WaitersTurnBeforeTheySleep)
{
    QueueLock lock;
    constexpr int KIND_MASK = 3;
    EXPECT_EQ(lock.lock().__data.__kind & KIND_MASK, PTHREAD_MUTEX_ADAPTIVE_NP);
}
#endif

}  // namespace
