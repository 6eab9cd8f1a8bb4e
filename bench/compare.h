/// \file
/// Two ways to do one job, measured in turn in one run.
#pragma once

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <limits>
#include <vector>

#include "rounds.h"

namespace nbibench {

inline double NanosecondsBy(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Processor time of the calling thread.
inline double CpuNanoseconds()
{
    return NanosecondsBy(CLOCK_THREAD_CPUTIME_ID);
}

/// Processor time of all threads of this process.
inline double ProcessNanoseconds()
{
    return NanosecondsBy(CLOCK_PROCESS_CPUTIME_ID);
}

template <class Work>
double Time(const Work& work)
{
    const double start = CpuNanoseconds();
    work();
    return CpuNanoseconds() - start;
}

/// Runs the two in turn, so that what the machine does to one it does to the other, and prints the ratio of
/// the two minima of processor time, and between which ratios the middle 80 % of the rounds lay.
/// \param nCalls how often a round does the job
/// \param nLimit the ratio that is aimed at
template <class Ours, class Peer>
void Compare(const char* pName, double nLimit, int nCalls, const Ours& ours, const Peer& peer,
             int nUsualRounds = 3000)
{
    const int nRounds = Rounds(nUsualRounds);
    double nOurs = std::numeric_limits<double>::max();
    double nPeer = nOurs;
    std::vector<double> ratios;
    for (int i = 0; i < nRounds; ++i) {
        const double nThisOurs = Time(ours);
        const double nThisPeer = Time(peer);
        nOurs = std::min(nOurs, nThisOurs);
        nPeer = std::min(nPeer, nThisPeer);
        ratios.push_back(nThisOurs / nThisPeer);
    }
    std::sort(ratios.begin(), ratios.end());
    std::printf("%-58s %9.1f ns %9.1f ns  ratio %.2f (%.2f-%.2f), limit %.2f\n", pName, nOurs / nCalls,
                nPeer / nCalls, nOurs / nPeer, ratios[ratios.size() / 10], ratios[ratios.size() * 9 / 10],
                nLimit);
}

}  // namespace nbibench
