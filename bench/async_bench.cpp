// Submit() and Get() beside a plain push and wait on the same pool, and beside what a user might pick instead,
// in one run. The contestants take turns, each round in another order, so that what the machine does to one it
// does to all. Printed are the ratio of the minima, and in parentheses the middle 80 % of the rounds' ratios.
//
//   async_bench [rounds]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "nbiutil/async.h"
#include "nbiutil/threadcontextmgr.h"
#include "rounds.h"

#ifdef BENCH_ASIO
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#endif
#ifdef BENCH_TBB
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#endif

namespace {

using namespace NS_UTIL;  // NOLINT: this program is about nothing else

constexpr double LIMIT = 1.15;  // what Submit() may cost beside a plain push and wait

int Answer(int nQuestion)
{
    return nQuestion * 7;
}

void Check(int nQuestion, int nAnswer)
{
    if (nAnswer != Answer(nQuestion)) std::abort();
}

DBAgent& Agent()
{
    static auto* const pAgent = new DBAgent("bench", 1);
    return *pAgent;
}

/// What a plain task takes: a class of one's own, and a place for the answer.
class PlainTask : public NBITask {
public:
    PlainTask(AD& done, int nQuestion, int& nAnswer)
        : NBITask(Agent(), false, done), m_nQuestion(nQuestion), m_nAnswer(nAnswer)
    {
    }
    void Execute() override { m_nAnswer = Answer(m_nQuestion); }

private:
    const int m_nQuestion;
    int& m_nAnswer;
};

struct Plain {
    struct Handle {
        AD m_Done;
        int m_nAnswer = 0;
    };
    unsigned int m_nPool;

    void Push(Handle& handle, int i) const
    {
        TaskPoolMgr::PushTask(Agent(), new PlainTask(handle.m_Done, i, handle.m_nAnswer), m_nPool);
    }
    static int Get(Handle& handle)
    {
        handle.m_Done.Wait();
        return handle.m_nAnswer;
    }
};

struct Async {
    using Handle = Future<int>;
    unsigned int m_nPool;

    void Push(Handle& handle, int i) const
    {
        handle = Submit(m_nPool, Agent(), [i] { return Answer(i); });
    }
    static int Get(Handle& handle) { return handle.Get(); }
};

struct StdAsync {
    using Handle = std::future<int>;

    static void Push(Handle& handle, int i)
    {
        handle = std::async(std::launch::async, [i] { return Answer(i); });
    }
    static int Get(Handle& handle) { return handle.get(); }
};

#ifdef BENCH_ASIO
struct Asio {
    using Handle = std::future<int>;
    boost::asio::thread_pool& m_Pool;

    void Push(Handle& handle, int i) const
    {
        handle = boost::asio::post(m_Pool, boost::asio::use_future([i] { return Answer(i); }));
    }
    static int Get(Handle& handle) { return handle.get(); }
};
#endif

#ifdef BENCH_TBB
struct Tbb {
    using Handle = std::future<int>;
    oneapi::tbb::task_arena& m_Arena;

    void Push(Handle& handle, int i) const
    {
        // enqueue() copies its functor
        auto pTask = std::make_shared<std::packaged_task<int()>>([i] { return Answer(i); });
        handle = pTask->get_future();
        m_Arena.enqueue([pTask] { (*pTask)(); });
    }
    static int Get(Handle& handle) { return handle.get(); }
};
#endif

template <class Contestant>
void Batch(const Contestant& contestant, int nTasks)
{
    std::vector<typename Contestant::Handle> handles(static_cast<std::size_t>(nTasks));
    for (int i = 0; i < nTasks; ++i) contestant.Push(handles[static_cast<std::size_t>(i)], i);
    for (int i = 0; i < nTasks; ++i) Check(i, contestant.Get(handles[static_cast<std::size_t>(i)]));
}

template <class Contestant>
void RoundTrips(const Contestant& contestant, int nTasks)
{
    for (int i = 0; i < nTasks; ++i) {
        typename Contestant::Handle handle;
        contestant.Push(handle, i);
        Check(i, contestant.Get(handle));
    }
}

struct Entry {
    std::string m_Name;
    std::function<void()> m_Run;
    std::vector<double> m_Wall;
    std::vector<double> m_Cpu;
};

double Seconds(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// Once without measuring, since the contestant before has had the caches and the processors.
void RunOnce(Entry& entry)
{
    entry.m_Run();
    const double nWall = Seconds(CLOCK_MONOTONIC);
    const double nCpu = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    entry.m_Run();
    entry.m_Cpu.push_back(Seconds(CLOCK_PROCESS_CPUTIME_ID) - nCpu);
    entry.m_Wall.push_back(Seconds(CLOCK_MONOTONIC) - nWall);
}

/// "1.05 (0.98-1.20)"
struct Ratio {
    double m_nOfMinima;
    double m_nLow;
    double m_nHigh;

    Ratio(const std::vector<double>& ours, const std::vector<double>& peers)
        : m_nOfMinima(Minimum(ours) / Minimum(peers))
    {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / peers[i]);
        std::sort(ratios.begin(), ratios.end());
        m_nLow = ratios[ratios.size() / 10];
        m_nHigh = ratios[ratios.size() * 9 / 10];
    }

    static double Minimum(const std::vector<double>& values)
    {
        return *std::min_element(values.begin(), values.end());
    }
};

/// The first two entries are the plain push and Submit().
void Report(const char* pJob, int nTasks, const std::vector<Entry>& entries)
{
    std::printf("%s\n", pJob);
    for (const Entry& entry : entries) {
        const Ratio wall(entry.m_Wall, entries[0].m_Wall);
        const Ratio cpu(entry.m_Cpu, entries[0].m_Cpu);
        const Ratio submit(entries[1].m_Wall, entry.m_Wall);
        std::printf(
            "  %-11s %8.0f ns; to plain %6.2f (%.2f-%.2f), processor time %6.2f (%.2f-%.2f); Submit to it "
            "%.2f (%.2f-%.2f)\n",
            entry.m_Name.c_str(), Ratio::Minimum(entry.m_Wall) / nTasks * 1e9, wall.m_nOfMinima, wall.m_nLow,
            wall.m_nHigh, cpu.m_nOfMinima, cpu.m_nLow, cpu.m_nHigh, submit.m_nOfMinima, submit.m_nLow,
            submit.m_nHigh);
    }
    // Processor time: what a round trip takes by the clock depends on whether the other core is free.
    const double nRatio = Ratio(entries[1].m_Cpu, entries[0].m_Cpu).m_nOfMinima;
    std::printf("  Submit to plain, processor time: %.2f, aim %.2f: %s\n", nRatio, LIMIT,
                nRatio <= LIMIT ? "kept" : "MISSED");
}

void Compare(const char* pJob, int nRounds, int nTasks, std::vector<Entry> entries)
{
    for (int nRound = 0; nRound < nRounds; ++nRound) {
        for (std::size_t i = 0; i < entries.size(); ++i) {
            RunOnce(entries[(i + static_cast<std::size_t>(nRound)) % entries.size()]);
        }
    }
    Report(pJob, nTasks, entries);
}

void CompareAll(int nRounds, int nWorkers, unsigned int nPool)
{
#ifdef BENCH_ASIO
    boost::asio::thread_pool asioPool(static_cast<std::size_t>(nWorkers));
    const Asio asio{asioPool};
#endif
#ifdef BENCH_TBB
    const oneapi::tbb::global_control control(oneapi::tbb::global_control::max_allowed_parallelism,
                                              static_cast<std::size_t>(nWorkers) + 1);
    oneapi::tbb::task_arena arena(nWorkers + 1, 1);
    const Tbb tbb{arena};
#endif
    const Plain plain{nPool};
    const Async async{nPool};
    const StdAsync stdAsync{};
    const auto entries = [&](auto job) {
        std::vector<Entry> all;
        all.push_back({"plain", [=] { job(plain); }, {}, {}});
        all.push_back({"Submit", [=] { job(async); }, {}, {}});
        all.push_back({"std::async", [=] { job(stdAsync); }, {}, {}});
#ifdef BENCH_ASIO
        all.push_back({"asio", [=] { job(asio); }, {}, {}});
#endif
#ifdef BENCH_TBB
        all.push_back({"tbb", [=] { job(tbb); }, {}, {}});
#endif
        return all;
    };
    constexpr int BATCH = 500;  // std::async starts as many threads
    constexpr int TRIPS = 200;
    const std::string workers = ", " + std::to_string(nWorkers) + " workers";
    Compare(("500 tasks, then their answers" + workers).c_str(), nRounds, BATCH,
            entries([](const auto& contestant) { Batch(contestant, BATCH); }));
    Compare(("one task and its answer" + workers).c_str(), nRounds, TRIPS,
            entries([](const auto& contestant) { RoundTrips(contestant, TRIPS); }));
}

}  // namespace

int main(int nArguments, char** pArguments)
{
    const int nRounds = nbibench::Rounds(nArguments > 1 ? std::max(1, std::atoi(pArguments[1])) : 200);
    nbitest::RecordingHost host;
    host.KeepLogs(false);
    ThreadContextMgr::Instance()->SetThreadContext(7, "getAllEquipment");
    unsigned int nPool = 10;
    for (const int nWorkers : {1, 2, 20}) {
        host.SetInt("TaskMgrMaxThreadNum", nWorkers);
        CompareAll(nRounds, nWorkers, nPool++);
    }
    return 0;
}
