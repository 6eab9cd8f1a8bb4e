// The worker pools beside what a user might pick instead, while every core has another process that computes.
//
//   busy_bench [ROUNDS]
//
// The scheduler puts requester and worker on one core or on two and keeps them there, which makes a factor of three for
// whoever is measured. So each measurement is a short process of its own, the contestants take turns, and what counts is
// the median over many rounds. The ratio is that to the best peer that sleeps as ours do: 1.00 is as fast, below is
// slower, above is faster. oneTBB stands beside it uncounted: its idle workers yield all the time, which wins where trips
// follow each other and loses a time slice a trip where they do not.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "pool_contestants.h"
#include "rounds.h"
#include "support/busycores.h"

namespace {

using namespace poolbench;  // NOLINT: this program is nothing but its contestants
using Clock = std::chrono::steady_clock;

constexpr int STREAM = 20000;
constexpr auto TIME_OF_TRIPS = std::chrono::milliseconds(1000);

enum class Job { TripsApart, TripsInARow, Stream };
constexpr std::array<const char*, 3> JOBS{"round trips 1 ms apart", "round trips in a row",
                                          "stream of 1 us bodies"};

struct Cell {
    Job m_Job;
    int m_nWorkers;
};
constexpr std::array<Cell, 6> CELLS{{{Job::TripsApart, 1},
                                     {Job::TripsApart, 20},
                                     {Job::TripsInARow, 1},
                                     {Job::TripsInARow, 20},
                                     {Job::Stream, 1},
                                     {Job::Stream, 20}}};

/// Nanoseconds for a task; of a stream the mean alone.
struct Figures {
    double m_nMedian = 0;
    double m_nMean = 0;
    double m_nP99 = 0;
};

double Nanoseconds(Clock::duration time)
{
    return std::chrono::duration<double, std::nano>(time).count();
}

template <class Pool>
double Trip(Pool& pool)
{
    const auto start = Clock::now();
    typename Pool::Handle handle;
    pool.Push(Body{}, handle);
    Pool::Wait(handle);
    return Nanoseconds(Clock::now() - start);
}

template <class Pool>
Figures Trips(Pool& pool, std::chrono::milliseconds pause)
{
    std::vector<double> trips;
    for (const auto end = Clock::now() + TIME_OF_TRIPS; Clock::now() < end;) {
        if (pause.count() > 0) std::this_thread::sleep_for(pause);
        trips.push_back(Trip(pool));
    }
    std::sort(trips.begin(), trips.end());
    const double nSum = std::accumulate(trips.begin(), trips.end(), 0.0);
    return {trips[trips.size() / 2], nSum / static_cast<double>(trips.size()),
            trips[trips.size() * 99 / 100]};
}

template <class Pool>
Figures Stream(Pool& pool)
{
    std::vector<typename Pool::Handle> handles(STREAM);
    const auto start = Clock::now();
    for (auto& handle : handles) pool.Push(Body{1}, handle);
    for (auto& handle : handles) Pool::Wait(handle);
    return {0, Nanoseconds(Clock::now() - start) / STREAM, 0};
}

template <class Pool>
Figures Measure(const Cell& cell)
{
    const nbitest::BusyCores others;
    Pool pool(cell.m_nWorkers);
    Pool::BeginRequest();
    for (int i = 0; i < 50; ++i) Trip(pool);
    switch (cell.m_Job) {
        case Job::TripsApart:
            return Trips(pool, std::chrono::milliseconds(1));
        case Job::TripsInARow:
            return Trips(pool, std::chrono::milliseconds(0));
        case Job::Stream:
            break;
    }
    return Stream(pool);
}

/// In a process of its own; ends the program where that fails.
template <class Pool>
Figures MeasureApart(const Cell& cell)
{
    std::array<int, 2> ends{};
    Figures figures;
    const bool bOpen = pipe(ends.data()) == 0;
    const pid_t nChild = bOpen ? fork() : -1;
    if (nChild == 0) {
        figures = Measure<Pool>(cell);
        _exit(write(ends[1], &figures, sizeof figures) == sizeof figures ? 0 : 1);
    }
    close(ends[1]);
    int nStatus = 0;
    if (nChild < 0 || read(ends[0], &figures, sizeof figures) != sizeof figures ||
        waitpid(nChild, &nStatus, 0) != nChild || nStatus != 0) {
        std::fprintf(stderr, "busy_bench: %s could not be measured\n", Pool::NAME);
        std::exit(1);
    }
    close(ends[0]);
    return figures;
}

struct Contestant {
    const char* m_pName;
    Figures (*m_pMeasure)(const Cell&);
    bool m_bCounts;
};

template <class Pool>
Contestant As(bool bCounts = true)
{
    return {Pool::NAME, &MeasureApart<Pool>, bCounts};
}

const std::vector<Contestant>& Contestants()
{
    static const std::vector<Contestant> contestants{As<NbiPool>(),
#ifdef BENCH_ASIO
                                                     As<AsioPool>(),
#endif
#ifdef BENCH_TBB
                                                     As<TbbPool>(false),
#endif
                                                     As<AceQueuePool>()};
    return contestants;
}

double MedianOf(const std::vector<Figures>& rounds, double Figures::*pFigure)
{
    std::vector<double> values;
    values.reserve(rounds.size());
    for (const Figures& round : rounds) values.push_back(round.*pFigure);
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Logarithms of the ratios, by what they are ratios of.
using Ratios = std::map<std::string, std::vector<double>>;

/// One line: the medians of all contestants, ours first, and our ratio to the best of the others.
void Report(const std::string& figure, const Cell& cell, const std::vector<std::vector<Figures>>& rounds,
            double Figures::*pFigure, Ratios& ratios)
{
    std::printf("%-24s %7d  %-7s", JOBS[static_cast<std::size_t>(cell.m_Job)], cell.m_nWorkers,
                figure.c_str());
    const double nOurs = MedianOf(rounds[0], pFigure);
    double nBest = std::numeric_limits<double>::max();
    for (std::size_t i = 0; i < rounds.size(); ++i) {
        const double nMedian = MedianOf(rounds[i], pFigure);
        std::printf(" %10.0f", nMedian);
        if (i > 0 && Contestants()[i].m_bCounts) nBest = std::min(nBest, nMedian);
    }
    std::printf(" %6.2f\n", nBest / nOurs);
    std::fflush(stdout);
    ratios[(cell.m_Job == Job::Stream ? "stream " : "round trip ") + figure].push_back(
        std::log(nBest / nOurs));
}

void MeasureCell(const Cell& cell, int nRounds, Ratios& ratios)
{
    std::vector<std::vector<Figures>> rounds(Contestants().size());
    for (int i = 0; i < nRounds; ++i) {
        for (std::size_t n = 0; n < rounds.size(); ++n) {
            rounds[n].push_back(Contestants()[n].m_pMeasure(cell));
        }
    }
    if (cell.m_Job != Job::Stream) {
        Report("median", cell, rounds, &Figures::m_nMedian, ratios);
        Report("p99", cell, rounds, &Figures::m_nP99, ratios);
    }
    Report("mean", cell, rounds, &Figures::m_nMean, ratios);
}

}  // namespace

int main(int argc, char** argv)
{
    const int nRounds = nbibench::Rounds(argc > 1 ? std::max(1, std::atoi(argv[1])) : 15);
    std::printf("%-24s %7s  %-7s", "ns for a task", "workers", "");
    for (const Contestant& contestant : Contestants()) std::printf(" %10s", contestant.m_pName);
    std::printf(" %6s\n", "ratio");
    Ratios ratios;
    for (const Cell& cell : CELLS) MeasureCell(cell, nRounds, ratios);
    for (const auto& [figure, logs] : ratios) {
        const double nSum = std::accumulate(logs.begin(), logs.end(), 0.0);
        std::printf("geometric mean of %-20s %.2f\n", figure.c_str(),
                    std::exp(nSum / static_cast<double>(logs.size())));
    }
    return 0;
}
