// Whatever happens first, finish, cancellation, deadline or the end of the pool: every future has one answer,
// and nothing is left of the task.
#include <array>
#include <random>
#include <thread>
#include <vector>

#include "async/asynctesting.h"

namespace NS_UTIL {
namespace {

using nbitest::Counted;
using nbitest::Eventually;
using nbitest::FailureOf;
using nbitest::RecordingHost;
using nbitest::TestAgent;

constexpr int RACES = 10000;

/// Two threads and this one meet before every race.
class Rounds {
public:
    explicit Rounds(int nThreads) : m_nThreads(nThreads) {}

    void Meet()
    {
        const int nRound = m_nRound.load();
        if (m_nArrived.fetch_add(1) + 1 == m_nThreads) {
            m_nArrived.store(0);
            m_nRound.fetch_add(1);
            return;
        }
        // Who yields to a process that computes waits for a time slice, twice in every race; a sleeper is back at once.
        for (int i = 0; m_nRound.load() == nRound; ++i) {
            if (i >= SPINS) std::this_thread::sleep_for(std::chrono::microseconds(1));
        }
    }

private:
    static constexpr int SPINS = 1000;

    const int m_nThreads;
    std::atomic<int> m_nArrived{0};
    std::atomic<int> m_nRound{0};
};

/// How often each happened. A body that ran and answered anything but its value is lost.
struct Tally {
    int m_nValues = 0;
    int m_nCancelled = 0;
    int m_nDropped = 0;
    int m_nLost = 0;

    int Sum() const { return m_nValues + m_nCancelled + m_nDropped; }

    void Count(Future<int>& future, const std::atomic<int>& nRuns)
    {
        int nValue = 0;
        const unsigned int nCode = FailureOf([&] { nValue = future.Get(); }).m_nCode;
        if (nCode == 0 && nValue == 7 && nRuns == 1) {
            ++m_nValues;
        } else if (nCode == ErrCode::TASK_CANCELLED && nRuns == 0) {
            ++m_nCancelled;
        } else if (nCode == ErrCode::POOL_DESTROYED && nRuns == 0) {
            ++m_nDropped;
        } else {
            ++m_nLost;
        }
    }
};

TEST(RacesTest, FinishCancelDeadlineAndTheEndOfThePool)
{
    RecordingHost host;
    host.KeepLogs(false);
    host.SetInt("TaskMgrMaxThreadNum", 1);
    Tally tally;
    Rounds rounds(3);
    std::unique_ptr<NBITaskMgr> pPool;
    Future<int> future;
    std::atomic<int> nRuns{0};
    std::thread destroyer([&] {
        for (int i = 0; i < RACES; ++i) {
            rounds.Meet();
            pPool.reset();
            rounds.Meet();
        }
    });
    std::thread canceller([&] {
        for (int i = 0; i < RACES; ++i) {
            rounds.Meet();
            if (i % 3 == 0) std::this_thread::yield();
            future.Cancel();
            rounds.Meet();
        }
    });
    std::mt19937 random(1);
    for (int i = 0; i < RACES; ++i) {
        nRuns = 0;
        pPool = std::make_unique<NBITaskMgr>(11);
        pPool->open();
        const auto body = [&nRuns, held = Counted()] {
            ++nRuns;
            return 7;
        };
        const Deadline deadline = i % 2 == 0 ? After(std::chrono::microseconds(random() % 200)) : NO_DEADLINE;
        future = Submit(*pPool, TestAgent(), body, deadline);
        rounds.Meet();
        if (i % 4 < 2) future.WaitFor(std::chrono::microseconds(random() % 50));
        if (i % 8 == 0) future.IsReady();
        rounds.Meet();
        tally.Count(future, nRuns);
    }
    destroyer.join();
    canceller.join();
    EXPECT_EQ(tally.m_nLost, 0);
    EXPECT_EQ(tally.Sum(), RACES);
    EXPECT_EQ(Counted::Alive(), 0);
    RecordProperty("values", tally.m_nValues);
    RecordProperty("cancelled", tally.m_nCancelled);
    RecordProperty("dropped", tally.m_nDropped);
}

/// One requester's tasks while the pools are shut down; every fourth is cancelled, every third has a
/// deadline.
Tally RaceWithShutDown(unsigned int nPool, int nTasks)
{
    std::vector<std::atomic<int>> runs(static_cast<std::size_t>(nTasks));
    std::vector<Future<int>> futures;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const auto body = [&nRuns = runs[i], held = Counted()] {
            ++nRuns;
            return 7;
        };
        futures.push_back(Submit(nPool, TestAgent(), body,
                                 i % 3 == 0 ? After(std::chrono::microseconds(50)) : NO_DEADLINE));
        if (i % 4 == 0) futures.back().Cancel();
    }
    Tally tally;
    for (std::size_t i = 0; i < runs.size(); ++i) tally.Count(futures[i], runs[i]);
    return tally;
}

TEST(RacesTest, NothingIsLostInAShutdown)
{
    RecordingHost host;
    host.KeepLogs(false);
    host.SetInt("TaskMgrMaxThreadNum", 2);
    constexpr int REQUESTERS = 4;
    std::array<Tally, REQUESTERS> tallies;
    std::vector<std::thread> requesters;
    requesters.reserve(REQUESTERS);
    for (Tally& tally : tallies) {
        requesters.emplace_back([&tally] { tally = RaceWithShutDown(1, RACES / REQUESTERS); });
    }
    std::thread stopper([] {
        while (QueuedTasks(1) == 0) std::this_thread::yield();
        TaskPoolMgr::ShutDown();
    });
    for (std::thread& requester : requesters) requester.join();
    stopper.join();
    int nAnswered = 0;
    for (const Tally& tally : tallies) {
        EXPECT_EQ(tally.m_nLost, 0);
        nAnswered += tally.Sum();
    }
    EXPECT_EQ(nAnswered, RACES);
    EXPECT_EQ(Counted::Alive(), 0);
}

TEST(RacesTest, StrandsLoseNothingInAShutdown)
{
    RecordingHost host;
    host.KeepLogs(false);
    host.SetInt("TaskMgrMaxThreadNum", 2);
    Strand<int> strand(1, TestAgent());
    std::vector<std::atomic<int>> runs(RACES);
    std::vector<Future<int>> futures;
    std::thread stopper([&] {
        while (runs[100] == 0) std::this_thread::yield();
        TaskPoolMgr::ShutDown();
    });
    for (std::size_t i = 0; i < runs.size(); ++i) {
        futures.push_back(strand.Submit(static_cast<int>(i % 7), [&nRuns = runs[i], held = Counted()] {
            ++nRuns;
            return 7;
        }));
        if (i > 100 && i % 4 == 0) futures.back().Cancel();
    }
    Tally tally;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        EXPECT_TRUE(Eventually([&] { return futures[i].IsReady(); }));
        tally.Count(futures[i], runs[i]);
    }
    stopper.join();
    EXPECT_EQ(tally.m_nLost, 0);
    EXPECT_EQ(tally.Sum(), RACES);
    EXPECT_EQ(Counted::Alive(), 0);
}

}  // namespace
}  // namespace NS_UTIL
