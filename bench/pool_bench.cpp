// The worker pools beside what a user might pick instead, in one run. At the end a table of ratios: 1.00 is
// the best peer of that cell, below is slower, above is faster.
//
//   pool_bench --benchmark_repetitions=5 --benchmark_out=pool.json
//   pool_bench --benchmark_filter=Growth        how cost grows with requesters, workers and queued tasks
//   pool_bench --memory                         bytes for each idle pool and for each queued task
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "pool_contestants.h"

namespace {

using namespace poolbench;  // NOLINT: this program is nothing but its contestants

constexpr int TASKS = 20000;

template <class Pool>
void PushAndWait(Pool& pool, int nTasks, int nMicroseconds)
{
    Pool::BeginRequest();
    std::vector<typename Pool::Handle> handles(static_cast<std::size_t>(nTasks));
    for (auto& handle : handles) pool.Push(Body{nMicroseconds}, handle);
    for (auto& handle : handles) Pool::Wait(handle);
}

/// Tasks per second: range(0) requesters, range(1) workers, bodies of range(2) microseconds.
template <class Pool>
void Throughput(benchmark::State& state)
{
    const auto nRequesters = static_cast<int>(state.range(0));
    const auto nMicroseconds = static_cast<int>(state.range(2));
    Pool pool(static_cast<int>(state.range(1)));
    PushAndWait(pool, TASKS / 10, nMicroseconds);
    for (auto _ : state) {
        std::vector<std::thread> requesters;
        for (int i = 1; i < nRequesters; ++i) {
            requesters.emplace_back([&] { PushAndWait(pool, TASKS / nRequesters, nMicroseconds); });
        }
        PushAndWait(pool, TASKS / nRequesters, nMicroseconds);
        for (std::thread& requester : requesters) requester.join();
    }
    state.counters["ns_per_task"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * TASKS / 1e9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// From the push to the answer, one task at a time: range(0) workers.
template <class Pool>
void RoundTrip(benchmark::State& state)
{
    Pool pool(static_cast<int>(state.range(0)));
    PushAndWait(pool, 100, 0);
    Pool::BeginRequest();
    for (auto _ : state) {
        typename Pool::Handle handle;
        pool.Push(Body{}, handle);
        Pool::Wait(handle);
    }
    state.counters["ns_per_task"] =
        benchmark::Counter(static_cast<double>(state.iterations()) / 1e9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// One worker that is held up until range(0) tasks are queued, then the time in which it runs them.
template <class Pool>
void Backlog(benchmark::State& state)
{
    const auto nTasks = static_cast<std::size_t>(state.range(0));
    Pool pool(1);
    PushAndWait(pool, 100, 0);
    for (auto _ : state) {
        state.PauseTiming();
        std::promise<void> gate;
        std::vector<typename Pool::Handle> handles(nTasks);
        typename Pool::Handle first;
        Pool::BeginRequest();
        pool.Push(Body{0, gate.get_future().share()}, first);
        for (auto& handle : handles) pool.Push(Body{}, handle);
        state.ResumeTiming();
        gate.set_value();
        Pool::Wait(handles.back());
        state.PauseTiming();
        for (std::size_t i = 0; i + 1 < nTasks; ++i) Pool::Wait(handles[i]);
        Pool::Wait(first);
        handles.clear();
        state.ResumeTiming();
    }
    state.counters["ns_per_task"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * static_cast<double>(nTasks) / 1e9,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

template <class Pool>
void RegisterContestant()
{
    const std::string name = std::string("/") + Pool::NAME;
    benchmark::RegisterBenchmark(("Throughput" + name).c_str(), Throughput<Pool>)
        ->ArgNames({"requesters", "workers", "us"})
        ->ArgsProduct({{1, 8}, {1, 2, 20}, {0, 1, 10}})
        ->UseRealTime();
    benchmark::RegisterBenchmark(("RoundTrip" + name).c_str(), RoundTrip<Pool>)
        ->ArgName("workers")
        ->Arg(1)
        ->Arg(20)
        ->UseRealTime();
    benchmark::RegisterBenchmark(("GrowthOfRequesters" + name).c_str(), Throughput<Pool>)
        ->ArgNames({"requesters", "workers", "us"})
        ->ArgsProduct({{1, 2, 4, 8, 16, 32, 64}, {20}, {1}})
        ->UseRealTime();
    benchmark::RegisterBenchmark(("GrowthOfWorkers" + name).c_str(), Throughput<Pool>)
        ->ArgNames({"requesters", "workers", "us"})
        ->ArgsProduct({{1}, {1, 2, 5, 20, 100, 400, 999}, {1}})
        ->UseRealTime();
    benchmark::RegisterBenchmark(("GrowthOfQueue" + name).c_str(), Backlog<Pool>)
        ->ArgName("queued")
        ->Arg(1000)
        ->Arg(10000)
        ->Arg(100000)
        ->Arg(1000000)
        ->Iterations(1)
        ->UseRealTime();
}

/// Prints what Google Benchmark prints, and the ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            const std::string contestant = run.run_name.function_name;
            const std::size_t nSlash = contestant.find('/');
            const std::string cell = contestant.substr(0, nSlash) + "/" + run.run_name.args;
            const double nTime = run.counters.at("ns_per_task").value;
            m_Cells[cell][contestant.substr(nSlash + 1)].push_back(nTime);
        }
    }

    void Finalize() override
    {
        std::printf("\n%-58s %12s %12s  %-8s %s\n", "cell", "ours, ns", "best, ns", "best",
                    "ratio (1.00 = best peer)");
        std::map<std::string, std::vector<double>> logsOfGroup;
        for (auto& [cell, contestants] : m_Cells) {
            const auto own = contestants.find(NbiPool::NAME);
            if (own == contestants.end() || contestants.size() < 2) continue;
            const auto [bestName, nBest] = BestPeer(contestants);
            const double nOwn = Median(own->second);
            std::printf("%-58s %12.0f %12.0f  %-8s %.2f\n", cell.c_str(), nOwn, nBest, bestName.c_str(),
                        nBest / nOwn);
            logsOfGroup[cell.substr(0, cell.find('/'))].push_back(std::log(nBest / nOwn));
        }
        for (const auto& [group, logs] : logsOfGroup) {
            double nSum = 0;
            for (const double nLog : logs) nSum += nLog;
            std::printf("geometric mean of %-40s %.2f\n", group.c_str(),
                        std::exp(nSum / static_cast<double>(logs.size())));
        }
    }

private:
    using Samples = std::vector<double>;

    static double Median(Samples& samples)
    {
        std::sort(samples.begin(), samples.end());
        return samples[samples.size() / 2];
    }

    static std::pair<std::string, double> BestPeer(std::map<std::string, Samples>& contestants)
    {
        std::pair<std::string, double> best;
        for (auto& [name, samples] : contestants) {
            if (name == NbiPool::NAME) continue;
            const double nTime = Median(samples);
            if (best.first.empty() || nTime < best.second) best = {name, nTime};
        }
        return best;
    }

    std::map<std::string, std::map<std::string, Samples>>
        m_Cells;  // nanoseconds per task by cell and contestant
};

/// glibc's bytes in use; blind to an allocator of a library's own, such as oneTBB's.
double HeapInUse()
{
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Once it stays the same for a while: threads that start, or end a task, have done what they do beside it.
double HeapAtRest()
{
    constexpr int SAME = 6;
    double nHeap = HeapInUse();
    for (int nSeen = 0; nSeen < SAME; ++nSeen) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const double nNow = HeapInUse();
        if (nNow != nHeap) nSeen = 0;
        nHeap = nNow;
    }
    return nHeap;
}

/// All workers at once, so that each has started.
template <class Pool>
void OccupyAll(Pool& pool, int nWorkers)
{
    std::promise<void> gate;
    const std::shared_future<void> opened = gate.get_future().share();
    std::vector<typename Pool::Handle> handles(static_cast<std::size_t>(nWorkers));
    for (auto& handle : handles) pool.Push(Body{0, opened}, handle);
    HeapAtRest();
    gate.set_value();
    for (auto& handle : handles) Pool::Wait(handle);
}

template <class Pool>
void PrintMemory()
{
    constexpr int WORKERS = 20;
    constexpr std::size_t TASKS_QUEUED = 100000;
    double nIdle = HeapInUse();
    Pool idle(WORKERS);
    OccupyAll(idle, WORKERS);
    nIdle = HeapAtRest() - nIdle;
    Pool pool(1);
    PushAndWait(pool, 100, 0);
    std::promise<void> gate;
    typename Pool::Handle first;
    pool.Push(Body{0, gate.get_future().share()}, first);
    const double nBefore = HeapInUse();
    std::vector<typename Pool::Handle> handles(
        TASKS_QUEUED);  // its array does not count, what its handles own does
    for (auto& handle : handles) pool.Push(Body{}, handle);
    const double nQueued =
        HeapInUse() - nBefore - static_cast<double>(TASKS_QUEUED * sizeof(typename Pool::Handle));
    gate.set_value();
    for (auto& handle : handles) Pool::Wait(handle);
    Pool::Wait(first);
    std::printf("%-10s %10.0f bytes of heap for an idle pool of %d workers, %6.0f for a queued task\n",
                Pool::NAME, nIdle, WORKERS, nQueued / static_cast<double>(TASKS_QUEUED));
}

/// Each contestant in a process of its own, so that none inherits another's heap.
template <class Pool>
void PrintMemoryInChild()
{
    const pid_t nChild = fork();
    if (nChild == 0) {
        PrintMemory<Pool>();
        std::fflush(stdout);
        _exit(0);
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
}

template <class Pool>
void Run(bool bMemory)
{
    if (bMemory) {
        PrintMemoryInChild<Pool>();
    } else {
        RegisterContestant<Pool>();
    }
}

void RunAll(bool bMemory)
{
    Run<NbiPool>(bMemory);
#ifdef BENCH_ASIO
    Run<AsioPool>(bMemory);
#endif
#ifdef BENCH_TBB
    Run<TbbPool>(bMemory);
#endif
    Run<AceQueuePool>(bMemory);
}

}  // namespace

int main(int argc, char** argv)
{
    const bool bMemory = argc == 2 && std::string(argv[1]) == "--memory";
    RunAll(bMemory);
    if (bMemory) return 0;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
