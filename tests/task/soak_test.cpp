// Many tasks through one pool: nothing stays behind. The length is bounded; for a longer run set
// NBI_SOAK_TASKS, for example: NBI_SOAK_TASKS=1000000 ctest -R Soak
#include <malloc.h>

#include <cstdlib>
#include <iostream>

#include "task/ad_impl.h"
#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

constexpr int WORKERS = 20;
constexpr int REQUESTERS = 64;

/// What threads that come and go may leave in the allocator's caches, whatever the number of tasks.
constexpr std::size_t ALLOCATORS_OWN = 128 * 1024;

constexpr int SHORTEST_RUN = 12500;
static_assert(SHORTEST_RUN / 20 * (sizeof(TestTask) + sizeof(AD_Impl)) > ALLOCATORS_OWN,
              "one task in twenty that is lost with its descriptor must show");

int SoakTasks()
{
    const char* const pTasks = std::getenv("NBI_SOAK_TASKS");
    return pTasks != nullptr ? std::atoi(pTasks) : 4 * SHORTEST_RUN;
}

/// The bytes that the program has allocated and not freed. The sanitizers' allocators answer 0; under them
/// the leak check at the end of the process takes its place.
std::size_t BytesInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

class SoakTest : public PoolTest {
protected:
    /// nTasks tasks from many requesters, each waiting for its own; one in seven fails.
    void Serve(NBITaskMgr& pool, int nTasks)
    {
        std::atomic<int> nLeft{nTasks};
        std::vector<std::thread> requesters;
        requesters.reserve(REQUESTERS);
        for (int i = 0; i < REQUESTERS; ++i) {
            requesters.emplace_back([this, &pool, &nLeft] {
                ServeRequest("query");
                for (int nTask = --nLeft; nTask >= 0; nTask = --nLeft) {
                    AD ad;
                    const bool bFails = nTask % 7 == 0;
                    pool.PushTask(new TestTask(ad, [bFails] {
                        if (bFails) throw ProcessException(5, "message", "info", "file", "function", 1);
                    }));
                    if (CodeOf(ad) != (bFails ? 5U : 0U)) ++m_nWrong;
                }
            });
        }
        for (std::thread& requester : requesters) requester.join();
    }

    /// All the tasks are deleted, and their descriptors with them.
    static void ExpectNothingLeft()
    {
        EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    }

    /// Serves nTasks tasks after a tenth of them, which shows what the threads and the allocator keep for good.
    void ExpectNoGrowth(NBITaskMgr& pool, int nTasks)
    {
        Serve(pool, nTasks / 10 + REQUESTERS);
        ExpectNothingLeft();
        const std::size_t nBefore = BytesInUse();
        Serve(pool, nTasks);
        ExpectNothingLeft();
        const std::size_t nAfter = BytesInUse();
        EXPECT_EQ(m_nWrong, 0);
        EXPECT_LT(nAfter, nBefore + ALLOCATORS_OWN);
        const std::size_t nMore = nAfter > nBefore ? nAfter - nBefore : 0;
        std::cout << "soak: " << nTasks << " tasks, " << nMore << " bytes more in use\n";
    }

    std::atomic<int> m_nWrong{0};
};

TEST_F(SoakTest, TasksAndDescriptorsOfAPoolLeaveNothingBehind)
{
    m_Host.KeepLogs(false);
    ExpectNoGrowth(*Started(5, WORKERS), SoakTasks());
}

TEST_F(SoakTest, TasksOfTheHugePoolLeaveNothingBehind)
{
    m_Host.KeepLogs(false);
    TaskPoolMgr::Init(REQUESTERS);
    const auto pPool = Started(2, WORKERS);
    ExpectNoGrowth(*pPool, SoakTasks() / 4);
    EXPECT_TRUE(Eventually([] { return TaskPoolMgr::GetHugeTaskNum() == 0; }));
}

}  // namespace
}  // namespace NS_UTIL
