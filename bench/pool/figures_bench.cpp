// What a pool's counters and clock readings cost: the library beside a copy of itself whose figures do nothing, in
// turn in one run. One requester; 1, 2 and 20 workers; bodies of 0, 1 and 10 us. Processor time is that of all threads.
//
//   figures_bench [ROUNDS]
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "compare.h"
#include "figures_pools.h"
#include "rounds.h"

namespace {

using figuresbench::Contestant;

constexpr int TASKS = 3000;
constexpr int TURNS = 8;  // of two pools
constexpr double LIMIT = 1.02;

double ElapsedNanoseconds()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double, std::nano>(now).count();
}

struct Samples {
    std::vector<double> m_Elapsed;
    std::vector<double> m_Processor;

    void Measure(Contestant& contestant, int nMicroseconds)
    {
        const double nElapsed = ElapsedNanoseconds();
        const double nProcessor = nbibench::ProcessNanoseconds();
        contestant.PushAndWait(TASKS, nMicroseconds);
        m_Elapsed.push_back((ElapsedNanoseconds() - nElapsed) / TASKS);
        m_Processor.push_back((nbibench::ProcessNanoseconds() - nProcessor) / TASKS);
    }
};

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Of each round's two neighbours: what the machine does to one it does to the other.
double MedianRatio(const std::vector<double>& ours, const std::vector<double>& peers)
{
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / peers[i]);
    return Median(ratios);
}

std::unique_ptr<Contestant> Pool(int nWorkers, bool bWith)
{
    return bWith ? figuresbench::PoolWithFigures(nWorkers) : figuresbench::PoolWithoutFigures(nWorkers);
}

/// New pools each time: where their threads and their memory come to lie decides more than what they count.
void MeasurePools(int nWorkers, int nMicroseconds, bool bWithFirst, Samples& with, Samples& without)
{
    const auto pFirst = Pool(nWorkers, bWithFirst);
    const auto pSecond = Pool(nWorkers, !bWithFirst);
    for (int i = 0; i < TURNS; ++i) {
        (bWithFirst ? with : without).Measure(*pFirst, nMicroseconds);
        (bWithFirst ? without : with).Measure(*pSecond, nMicroseconds);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const int nRounds = nbibench::Rounds(argc > 1 ? std::atoi(argv[1]) : 60);
    std::printf("%-24s %14s %14s %10s %10s\n", "workers, us", "CPU with, ns", "without, ns", "CPU", "time");
    double nLogsProcessor = 0;
    double nLogsElapsed = 0;
    int nCells = 0;
    for (const int nWorkers : {1, 2, 20}) {
        for (const int nMicroseconds : {0, 1, 10}) {
            Samples with;
            Samples without;
            for (int i = 0; i < nRounds; ++i) {
                MeasurePools(nWorkers, nMicroseconds, i % 2 == 0, with, without);
            }
            const double nProcessor = MedianRatio(with.m_Processor, without.m_Processor);
            const double nElapsed = MedianRatio(with.m_Elapsed, without.m_Elapsed);
            std::printf("%-3d %-20d %14.1f %14.1f %10.3f %10.3f\n", nWorkers, nMicroseconds,
                        Median(with.m_Processor), Median(without.m_Processor), nProcessor, nElapsed);
            std::fflush(stdout);
            nLogsProcessor += std::log(nProcessor);
            nLogsElapsed += std::log(nElapsed);
            ++nCells;
        }
    }
    std::printf("geometric mean: CPU %.3f, time %.3f; limit %.2f\n", std::exp(nLogsProcessor / nCells),
                std::exp(nLogsElapsed / nCells), LIMIT);
    return 0;
}
