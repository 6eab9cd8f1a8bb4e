// Where the time of an empty task goes: what each step of it costs on one thread, and what the same tasks cost with a
// requester and a worker on two cores. The steps add up to the former; the rest is what the second core costs.
//
//   parts_bench [ROUNDS]
#include <sched.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include "compare.h"
#include "contestants.h"

namespace {

using NS_UTIL::AD;
using NS_UTIL::NBITask;
using NS_UTIL::NBITaskMgr;

constexpr std::size_t TASKS = 1000;

constexpr std::array<const char*, 8> STEPS{
    "requester: descriptor made, with a mutex, a condition and a handle",
    "requester: task made, with the shared record and a handle",
    "requester: push, with the queue's lock, a token and the coarse clock",
    "worker: hand-out, with a token, the queue's lock and the coarse clock",
    "worker: run, with the record, the outcome and the descriptor's lock",
    "worker: sweep and deletion",
    "requester: wait, the outcome being there",
    "requester: descriptor given back"};
using Times = std::array<double, STEPS.size()>;

class EmptyTask : public NBITask {
public:
    using NBITask::NBITask;
    void Execute() override {}
};

/// In a pool without workers, whose place the caller takes.
Times OneThread(NBITaskMgr& pool, NS_UTIL::DBAgent& agent)
{
    std::vector<std::optional<AD>> descriptors(TASKS);
    std::vector<NBITask*> tasks(TASKS);
    const auto each = [](const auto& work) {
        return nbibench::Time([&] {
            for (std::size_t i = 0; i < TASKS; ++i) work(i);
        });
    };
    Times times{};
    times[0] = each([&](std::size_t i) { descriptors[i].emplace(); });
    times[1] = each([&](std::size_t i) { tasks[i] = new EmptyTask(agent, false, *descriptors[i]); });
    times[2] = each([&](std::size_t i) { pool.PushTask(tasks[i]); });
    times[3] = each([&](std::size_t i) { tasks[i] = pool.AcquireIdleTask(); });
    times[4] = each([&](std::size_t i) { tasks[i]->Run(); });
    // The look for one more sweeps these. That one stays for the next round's.
    AD another;
    pool.PushTask(new EmptyTask(agent, false, another));
    NBITask* pAnother = nullptr;
    times[5] = nbibench::Time([&] { pAnother = pool.AcquireIdleTask(); });
    pAnother->Run();
    times[6] = each([&](std::size_t i) { descriptors[i]->Wait(); });
    times[7] = each([&](std::size_t i) { descriptors[i].reset(); });
    return times;
}

/// The cores that this process was given.
std::vector<int> Cores()
{
    cpu_set_t given;
    sched_getaffinity(0, sizeof given, &given);
    std::vector<int> cores;
    for (int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &given)) cores.push_back(i);
    }
    return cores;
}

/// The calling thread, and what threads it starts from now on.
void StayOn(int nCore)
{
    cpu_set_t only;
    CPU_ZERO(&only);
    CPU_SET(nCore, &only);
    sched_setaffinity(0, sizeof only, &only);
}

/// Processor time of both.
double TwoThreads(poolbench::NbiPool& pool)
{
    constexpr std::size_t TIMES = 20;  // so many that they meet seldom, as in a stream
    std::vector<poolbench::NbiPool::Handle> handles(TASKS * TIMES);
    const double start = nbibench::ProcessNanoseconds();
    for (auto& handle : handles) pool.Push(poolbench::Body{}, handle);
    for (auto& handle : handles) poolbench::NbiPool::Wait(handle);
    return (nbibench::ProcessNanoseconds() - start) / TIMES;
}

double MedianOfOne(std::vector<double>& times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2] / static_cast<double>(TASKS);
}

void PrintRow(const char* pWhat, double nTime, double nAll)
{
    std::printf("| %s | %.0f | %.0f %% |\n", pWhat, nTime, 100 * nTime / nAll);
}

}  // namespace

int main(int argc, char** argv)
{
    const int nRounds = nbibench::Rounds(argc > 1 ? std::max(1, std::atoi(argv[1])) : 200);
    const std::vector<int> cores = Cores();
    StayOn(cores.back());
    poolbench::NbiPool pool(1);
    StayOn(cores.front());
    NBITaskMgr withoutWorkers(2000);
    NS_UTIL::DBAgent agent("bench", 1);
    poolbench::NbiPool::BeginRequest();
    std::array<std::vector<double>, STEPS.size()> steps;
    std::vector<double> twoCores;
    for (int i = 0; i < nRounds; ++i) {
        const Times times = OneThread(withoutWorkers, agent);
        for (std::size_t n = 0; n < times.size(); ++n) steps[n].push_back(times[n]);
        twoCores.push_back(TwoThreads(pool));
    }
    const double nAll = MedianOfOne(twoCores);
    double nOneThread = 0;
    std::printf("| step of an empty task | ns | share |\n| --- | --- | --- |\n");
    for (std::size_t n = 0; n < STEPS.size(); ++n) {
        const double nTime = MedianOfOne(steps[n]);
        nOneThread += nTime;
        PrintRow(STEPS[n], nTime, nAll);
    }
    PrintRow("these on one thread", nOneThread, nAll);
    PrintRow("a second core: memory that moves between the two, locks that meet, wake-ups", nAll - nOneThread,
             nAll);
    PrintRow("each on its own core", nAll, nAll);
    return 0;
}
