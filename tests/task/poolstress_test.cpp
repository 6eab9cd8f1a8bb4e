// The promise of the wake-up policy, on whole pools: no task that could run waits while a worker sleeps.
#include <random>

#include "task/pooltesting.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class PoolStressTest : public PoolTest {
protected:
    /// Pushes nTasks tasks none of which ends before all of them run.
    static void RunTogether(NBITaskMgr& pool, int nTasks)
    {
        Meeting meeting(nTasks);
        std::vector<AD> ads(static_cast<std::size_t>(nTasks));
        for (AD& ad : ads) pool.PushTask(new TestTask(ad, [&meeting] { meeting.Join(); }));
        for (AD& ad : ads) ad.Wait();
    }
};

class TasksAtOnce : public PoolStressTest, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Number, TasksAtOnce, ::testing::Range(1, 21));

TEST_P(TasksAtOnce, AllRunThoughEachWaitsForTheOthers)
{
    const auto pPool = Started(5, 20);
    for (int nRound = 0; nRound < 50; ++nRound) RunTogether(*pPool, GetParam());
}

TEST_P(TasksAtOnce, AllRunInAPoolOfJustAsManyWorkers)
{
    const auto pPool = Started(5, GetParam());
    for (int nRound = 0; nRound < 50; ++nRound) RunTogether(*pPool, GetParam());
}

TEST_P(TasksAtOnce, AllRunInTheHugePoolToo)
{
    const auto pPool = Started(2, GetParam());
    TaskPoolMgr::Init(1000);
    for (int nRound = 0; nRound < 20; ++nRound) RunTogether(*pPool, GetParam());
}

TEST_P(TasksAtOnce, AllRunWhenAWorkerPushesTheOthers)
{
    const auto pPool = Started(5, 20);
    for (int nRound = 0; nRound < 50; ++nRound) {
        Meeting meeting(GetParam());
        std::vector<AD> ads(static_cast<std::size_t>(GetParam()));
        pPool->PushTask(new TestTask(ads[0], [&] {
            for (std::size_t i = 1; i < ads.size(); ++i) {
                pPool->PushTask(new TestTask(ads[i], [&meeting] { meeting.Join(); }));
            }
            meeting.Join();
        }));
        for (AD& ad : ads) ad.Wait();
    }
}

TEST_P(TasksAtOnce, AllRunWhenEachIsPushedByTheOneBefore)
{
    const auto pPool = Started(5, 20);
    for (int nRound = 0; nRound < 50; ++nRound) {
        Meeting meeting(GetParam());
        std::vector<AD> ads(static_cast<std::size_t>(GetParam()));
        std::function<void(std::size_t)> push = [&](std::size_t nTask) {
            pPool->PushTask(new TestTask(ads[nTask], [&, nTask] {
                if (nTask + 1 < ads.size()) push(nTask + 1);
                meeting.Join();
            }));
        };
        push(0);
        for (AD& ad : ads) ad.Wait();
    }
}

TEST_F(PoolStressTest, AllOf999TasksRunThoughEachWaitsForTheOthers)
{
    const auto pPool = Started(5, 999);
    RunTogether(*pPool, 999);
    RunTogether(*pPool, 999);
}

TEST_F(PoolStressTest, TasksBehindOthersThatBlockRunOnTheWorkersThatAreLeft)
{
    const auto pPool = Started(5, 20);
    for (int nBlocked = 1; nBlocked < 20; ++nBlocked) {
        Signal goOn;
        std::vector<AD> blocked(static_cast<std::size_t>(nBlocked));
        for (AD& ad : blocked) pPool->PushTask(new TestTask(ad, [&goOn] { goOn.Wait(); }));
        RunTogether(*pPool, 20 - nBlocked);
        std::vector<AD> ads(100);
        for (AD& ad : ads) pPool->PushTask(new TestTask(ad));
        for (AD& ad : ads) ad.Wait();
        goOn.Set();
        for (AD& ad : blocked) ad.Wait();
    }
}

/// Requesters that push tasks which wait for one another in groups, at random but repeatable times.
class RandomGroups : public PoolStressTest, public ::testing::WithParamInterface<unsigned int> {};
INSTANTIATE_TEST_SUITE_P(Seed, RandomGroups, ::testing::Values(1U, 20U, 300U, 4000U, 50000U, 600000U));

TEST_P(RandomGroups, AllComeTogether)
{
    constexpr int WORKERS = 12;
    constexpr int REQUESTERS = 3;
    const auto pPool = Started(5, WORKERS);
    std::vector<std::thread> requesters;
    for (unsigned int nRequester = 0; nRequester < REQUESTERS; ++nRequester) {
        requesters.emplace_back([&, nRequester] {
            std::minstd_rand random(GetParam() + nRequester);
            for (int nRound = 0; nRound < 100; ++nRound) {
                // Groups that fit side by side; larger ones could wait for each other for ever.
                const int nTasks = static_cast<int>(random() % (WORKERS / REQUESTERS)) + 1;
                const auto pMeeting = std::make_shared<Meeting>(nTasks);
                std::vector<AD> ads(static_cast<std::size_t>(nTasks));
                for (AD& ad : ads) {
                    if (random() % 3 == 0) std::this_thread::yield();
                    if (random() % 50 == 0) std::this_thread::sleep_for(std::chrono::microseconds(200));
                    pPool->PushTask(new TestTask(ad, [pMeeting] { pMeeting->Join(); }));
                }
                for (AD& ad : ads) ad.Wait();
            }
        });
    }
    for (std::thread& requester : requesters) requester.join();
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    EXPECT_EQ(NothingIdleLines(), 0u);
}

TEST_F(PoolStressTest, CallersThreadsThatTakeTasksTooLoseNone)
{
    const auto pPool = Started(5, 2);
    constexpr int TASKS = 2000;
    std::atomic<int> nRuns{0};
    std::atomic<bool> bDone{false};
    std::vector<std::thread> helpers;
    helpers.reserve(2);
    for (int i = 0; i < 2; ++i) {
        helpers.emplace_back([&] {
            while (!bDone) {
                if (NBITask* const pTask = pPool->AcquireIdleTask()) pTask->Run();
            }
        });
    }
    std::vector<AD> ads(TASKS);
    for (AD& ad : ads) pPool->PushTask(new TestTask(ad, [&] { ++nRuns; }));
    for (AD& ad : ads) ad.Wait();
    EXPECT_EQ(nRuns, TASKS);
    bDone = true;
    std::vector<AD> last(4);  // one for whoever still waits: each helper runs one more at most
    for (AD& ad : last) pPool->PushTask(new TestTask(ad));
    for (AD& ad : last) ad.Wait();
    pPool->SetExitFlag();
    for (std::thread& helper : helpers) helper.join();
}

TEST_F(PoolStressTest, PoolOfEveryNumberServesManyRequestersAtOnce)
{
    UseThreads(3);
    std::vector<std::thread> requesters;
    for (unsigned int nRequester = 0; nRequester < 8; ++nRequester) {
        requesters.emplace_back([nRequester] {
            for (unsigned int i = 0; i < 300; ++i) {
                ServeRequest("query");
                AD ad;
                int nAnswer = 0;
                TaskPoolMgr::PushTask(TestAgent(), new TestTask(ad, [&nAnswer] { nAnswer = 42; }),
                                      (nRequester + i) % 5);
                ad.Wait();
                EXPECT_EQ(nAnswer, 42);
            }
        });
    }
    for (std::thread& requester : requesters) requester.join();
    EXPECT_TRUE(Eventually([] { return TestTask::Alive() == 0; }));
    TaskPoolMgr::ShutDown();
}

TEST_F(PoolStressTest, TwoPoolsThatWaitForEachOthersTasksGoOn)
{
    const auto pFront = Started(5, 4);
    const auto pBack = Started(6, 2);
    std::vector<AD> ads(500);
    std::atomic<int> nInner{0};
    for (AD& ad : ads) {
        pFront->PushTask(new TestTask(ad, [&] {
            AD inner;
            pBack->PushTask(new TestTask(inner, [&] { ++nInner; }));
            inner.Wait();
        }));
    }
    for (AD& ad : ads) EXPECT_EQ(CodeOf(ad), 0u);
    EXPECT_EQ(nInner, 500);
}

}  // namespace
}  // namespace NS_UTIL
