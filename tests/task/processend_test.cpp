#include "task/processend.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <thread>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/nbitaskmgr.h"
#include "support/tasks.h"

namespace {

constexpr long ENDLESS = 60'000'000;

bool g_bSleepsAreCounted = false;

/// What processes have slept, in microseconds. Shared with those that this one starts.
std::atomic<long>& Slept()
{
    static auto& slept = *new (mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE,
                                    MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<long>(0);
    return slept;
}

}  // namespace

/// In front of the system's. Visible, unlike everything else in a test program: ACE has to find it.
#pragma GCC visibility push(default)
extern "C" int nanosleep(const timespec* pTime, timespec* pRest)
{
    if (!g_bSleepsAreCounted) return static_cast<int>(syscall(SYS_nanosleep, pTime, pRest));
    if (Slept().fetch_add(pTime->tv_sec * 1'000'000 + pTime->tv_nsec / 1000) > ENDLESS) _exit(1);
    return 0;
}
#pragma GCC visibility pop

namespace NS_UTIL {
namespace {

/// How many microseconds the end of a process would sleep that has done \p work.
template <class Work>
long SleptAfter(Work work)
{
    Slept() = 0;
    std::fflush(nullptr);
    const pid_t nChild = fork();
    if (nChild == 0) {
        g_bSleepsAreCounted = true;
        work();
        std::exit(0);
    }
    int nStatus = 0;
    EXPECT_EQ(waitpid(nChild, &nStatus, 0), nChild);
    EXPECT_EQ(nStatus, 0);
    return Slept();
}

constexpr long AT_MOST = 1'000'000;

TEST(ProcessEndTest, WaitsForASecondAtMost)
{
    EXPECT_EQ(SleptAfter([] { ProcessEnd::ExpectWorkers(1); }), AT_MOST);
}

TEST(ProcessEndTest, WaitsForNobodyWhoHasComeOrHasNotBeenStarted)
{
    EXPECT_EQ(SleptAfter([] {
                  ProcessEnd::ExpectWorkers(3);
                  ProcessEnd::ForgetWorkers(2);
                  ProcessEnd::WorkerArrives();
              }),
              0);
    EXPECT_EQ(SleptAfter([] {
                  ProcessEnd::ExpectWorkers(3);
                  ProcessEnd::ForgetWorkers(1);
                  ProcessEnd::WorkerArrives();
              }),
              AT_MOST);
}

TEST(ProcessEndTest, ChildOfAProcessWaitsForNoneOfItsWorkers)
{
    EXPECT_EQ(SleptAfter([] {
                  ProcessEnd::ExpectWorkers(1);
                  if (fork() == 0) std::exit(0);
                  wait(nullptr);
                  ProcessEnd::WorkerArrives();
              }),
              0);
}

TEST(ProcessEndTest, SecondOpenOfAPoolExpectsNobodyMore)
{
    EXPECT_EQ(SleptAfter([] {
                  nbitest::RecordingHost host;
                  host.SetInt("TaskMgrMaxThreadNum", 1);
                  NBITaskMgr pool(5);
                  pool.open(nullptr);
                  pool.open(nullptr);
              }),
              0);
}

/// Of its three workers the system starts one.
class StartedInPart : public NBITaskMgr {
public:
    using NBITaskMgr::NBITaskMgr;

    int activate(long nFlags, int, int, long, int, ACE_Task_Base*, ACE_hthread_t[], void*[], size_t[],
                 ACE_thread_t[], const char*[]) override
    {
        NBITaskMgr::activate(nFlags, 1);
        return -1;
    }
};

void OpenOneOfThree()
{
    nbitest::RecordingHost host;
    host.SetInt("TaskMgrMaxThreadNum", 3);
    StartedInPart pool(5);
    if (pool.open(nullptr) != -1) std::abort();
    AD ad;
    pool.PushTask(new nbitest::TestTask(ad));
    ad.Wait();  // the worker has come
}

TEST(ProcessEndTest, PoolExpectsThoseAloneWhoCouldBeStarted)
{
    EXPECT_EQ(SleptAfter(OpenOneOfThree), 0);
    EXPECT_EQ(SleptAfter([] {
                  OpenOneOfThree();
                  ProcessEnd::ExpectWorkers(1);
              }),
              AT_MOST);
}

TEST(ProcessEndTest, NobodyIsLostWhereManyCountAtOnce)
{
    EXPECT_EQ(SleptAfter([] {
                  std::vector<std::thread> threads;
                  threads.reserve(4);
                  for (int i = 0; i < 4; ++i) {
                      threads.emplace_back([] {
                          for (int n = 0; n < 50000; ++n) ProcessEnd::ExpectWorkers(1);
                      });
                  }
                  for (std::thread& thread : threads) thread.join();
                  ProcessEnd::ForgetWorkers(4 * 50000 - 1);
              }),
              AT_MOST);
}

bool g_bAsk = false;

/// Whatever has just been freed is given out again and overwritten.
void OverwriteFreedMemory()
{
    constexpr std::size_t LARGEST = 256;
    constexpr int BLOCKS = 16;
    std::vector<void*> blocks;
    for (std::size_t nSize = sizeof(void*); nSize <= LARGEST; nSize += sizeof(void*)) {
        for (int i = 0; i < BLOCKS; ++i) blocks.push_back(std::memset(std::malloc(nSize), 0xAA, nSize));
    }
    for (void* const pBlock : blocks) std::free(pBlock);
}

void AskTheRegistry()
{
    if (!g_bAsk) return;
    OverwriteFreedMemory();
    std::vector<unsigned int> numbers;
    NBITaskMgr::GetAllTaskMgrId(numbers);
    const bool bKnown = NBITaskMgr::TaskMgrExisted(3) && !NBITaskMgr::TaskMgrExisted(4);
    _exit(bKnown && numbers == std::vector<unsigned int>{3} ? 0 : 7);
}

/// Registered before any static object is made, and so called when all of them are gone.
__attribute__((constructor(101))) void AskAtTheVeryEnd()
{
    std::atexit(AskTheRegistry);
}

/// A body may still run when main() has returned, and push to a pool.
TEST(RegistryDeathTest, AnswersWhenStaticObjectsAreGone)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            nbitest::RecordingHost host;
            host.KeepLogs(false);
            NBITaskMgr::GetTaskMgr(3);
            g_bAsk = true;
            std::exit(1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace NS_UTIL
