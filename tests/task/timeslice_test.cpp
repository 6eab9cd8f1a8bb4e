#include "task/timeslice.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <thread>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

constexpr int POLITE = 5;

/// The calling thread's time slice in nanoseconds; 0 where the system tells none.
std::uint64_t Slice()
{
    std::array<std::uint64_t, 6> attributes{};
    syscall(SYS_sched_getattr, 0, attributes.data(), sizeof attributes, 0U);
    return attributes[3];
}

/// How a thread is scheduled.
struct Scheduling {
    std::uint64_t m_nSlice = 0;
    int m_nPolicy = -1;
    int m_nNice = 0;

    static Scheduling OfThisThread()
    {
        return {Slice(), sched_getscheduler(0), getpriority(PRIO_PROCESS, 0)};
    }
};

/// Makes the system end the process at the first call of \p nCall.
void ForbidCall(unsigned int nCall)
{
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, nCall, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog filter{static_cast<unsigned short>(std::size(steps)), steps};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) _exit(2);
}

class TimeSliceTest : public PoolTest {
protected:
    void SetUp() override
    {
        PoolTest::SetUp();
        if (Slice() == 0) GTEST_SKIP() << "this system has one time slice for all ordinary threads";
        if (prctl(PR_GET_SECCOMP) != 0) GTEST_SKIP() << "a filter stands, as in a container";
    }

    /// That of a worker which a thread has started that began with \p prepare.
    template <class Prepare>
    Scheduling OfWorker(int nPool, Prepare prepare)
    {
        Scheduling scheduling;
        std::thread starter([&] {
            prepare();
            const auto pPool = Started(nPool, 1);
            AD ad;
            pPool->PushTask(new TestTask(ad, [&scheduling] { scheduling = Scheduling::OfThisThread(); }));
            ad.Wait();
        });
        starter.join();
        return scheduling;
    }
};
using TimeSliceDeathTest = TimeSliceTest;

TEST_F(TimeSliceTest, WorkersHaveTheShortestOneAndTheirStarterItsOwn)
{
    const std::uint64_t nBefore = Slice();
    EXPECT_GT(nBefore, SHORTEST_TIME_SLICE);
    EXPECT_EQ(OfWorker(7, [] {}).m_nSlice, SHORTEST_TIME_SLICE);
    EXPECT_EQ(Slice(), nBefore);
}

TEST_F(TimeSliceTest, WorkersOfLongTasksKeepTheUsualOne)
{
    EXPECT_EQ(OfWorker(2, [] {}).m_nSlice, Slice());
}

TEST_F(TimeSliceTest, NicenessStaysWhatItIs)
{
    const Scheduling worker = OfWorker(7, [] { setpriority(PRIO_PROCESS, 0, POLITE); });
    EXPECT_EQ(worker.m_nNice, POLITE);
    EXPECT_EQ(worker.m_nSlice, SHORTEST_TIME_SLICE);
}

TEST_F(TimeSliceTest, ThreadsOfAnotherPolicyAreLeftAlone)
{
    const Scheduling worker = OfWorker(7, [] {
        const sched_param none{};
        sched_setscheduler(0, SCHED_BATCH, &none);
    });
    EXPECT_EQ(worker.m_nPolicy, SCHED_BATCH);
    EXPECT_EQ(worker.m_nSlice, Slice());
}

TEST_F(TimeSliceDeathTest, NothingIsAskedUnderAFilterThatWouldEndTheProcess)
{
    for (const unsigned int nCall : {SYS_sched_getattr, SYS_sched_setattr}) {
        EXPECT_EXIT((ForbidCall(nCall), AskForShortTimeSlices(), _exit(0)), ::testing::ExitedWithCode(0), "");
    }
    // Such a filter does what it is there for.
    EXPECT_EXIT((ForbidCall(SYS_sched_getattr), Slice(), _exit(0)), ::testing::KilledBySignal(SIGSYS), "");
}

}  // namespace
}  // namespace NS_UTIL
