/// \file
/// A measurement in a process of its own: no heap, no threads and no one-way flags of another's.
#pragma once

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace nbibench {

/// What \p measure returns in a child; it travels as it lies in memory.
/// \return nothing when the child fails, or takes longer than \p nSeconds
template <class Result, class Measure>
std::optional<Result> Apart(const Measure& measure, int nSeconds)
{
    std::fflush(stdout);
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) return std::nullopt;
    const pid_t nChild = fork();
    if (nChild == 0) {
        const Result result = measure();
        _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
    }
    close(ends[1]);
    Result result{};
    pollfd answer{ends[0], POLLIN, 0};
    const bool bMeasured = nChild > 0 && poll(&answer, 1, nSeconds * 1000) == 1 &&
                           read(ends[0], &result, sizeof result) == sizeof result;
    close(ends[0]);
    if (nChild > 0) {
        kill(nChild, SIGKILL);  // it has told what it was started for
        waitpid(nChild, nullptr, 0);
    }
    return bMeasured ? std::optional<Result>(result) : std::nullopt;
}

}  // namespace nbibench
