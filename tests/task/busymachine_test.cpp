// Pools on a machine whose cores are all at work.
#include <dlfcn.h>

#include <atomic>

#include "support/busycores.h"
#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

const BusyCores* g_pOthers = nullptr;
std::atomic<int> g_nCoresGivenAway{0};

/// A yield, and whether the core went to the process that computes there.
int YieldAndLook()
{
    constexpr unsigned int A_WHILE = 10'000;  // steps; far more than another thread of this process needs
    static const auto pNext = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "sched_yield"));
    if (g_pOthers == nullptr) return pNext();
    const unsigned int nBefore = g_pOthers->StepsHere();
    const int nResult = pNext();
    if (g_pOthers->StepsHere() - nBefore > A_WHILE) ++g_nCoresGivenAway;
    return nResult;
}

class BusyMachineTest : public PoolTest, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Workers, BusyMachineTest, ::testing::Values(1, 20));

TEST_P(BusyMachineTest, HardlyAnyRoundTripYieldsItsCoreToAnotherProcess)
{
    constexpr int TRIPS = 300;
    const BusyCores others;  // before there are threads
    g_pOthers = &others;
    auto pPool = Started(5, GetParam());
    for (int i = 0; i < TRIPS; ++i) {
        AD ad;
        pPool->PushTask(new TestTask(ad));
        ad.Wait();
    }
    pPool.reset();
    g_pOthers = nullptr;
    EXPECT_LT(g_nCoresGivenAway, TRIPS / 6);
}

}  // namespace
}  // namespace NS_UTIL

// Visible, unlike everything else in a test program: ACE must find it before the system's.
extern "C" __attribute__((visibility("default"))) int sched_yield() noexcept
{
    return NS_UTIL::YieldAndLook();
}
