/// \file
/// What the pools do, as figures to look at: for operators' tools, metrics and watchdogs.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// How long something took for the tasks of the last one to two minutes. The median and the 99th percentile come
/// from measured tasks, which are all where a pool gets few, and else at least every 64th; each lies at most 7 %
/// above the true one. The longest looks at all tasks, to some milliseconds. Zero where there was none.
struct TaskTimes {
    std::chrono::nanoseconds m_Median{0};
    std::chrono::nanoseconds m_P99{0};
    std::chrono::nanoseconds m_Longest{0};

    std::uint64_t m_nMeasured = 0;      ///< since the pool was made: how many were measured,
    std::chrono::nanoseconds m_Sum{0};  ///< and their times together
};

/// One pool at one moment. All figures are of the same moment, but those of the book and its limits. "So far" is
/// since the pool was made.
struct PoolSnapshot {
    unsigned int m_nNumber = 0;

    unsigned int m_nWorkers = 0;  ///< how many threads the pool is to have; 0: there is no such pool
    unsigned int m_nStarted = 0;  ///< how many of them have come to their work
    unsigned int m_nBusy = 0;     ///< how many have a task in their hands

    std::uint64_t m_nQueued = 0;      ///< tasks that wait to be taken
    std::uint64_t m_nMostQueued = 0;  ///< the most so far
    std::uint64_t m_nPushed = 0;      ///< tasks that the pool has accepted so far
    std::uint64_t m_nFinished = 0;    ///< runs that ended well so far, by workers and by callers
    std::uint64_t m_nFailed = 0;      ///< runs so far that an exception ended
    std::uint64_t m_nDropped = 0;     ///< tasks so far that came when the pool was stopping
    std::uint64_t m_nDeferred =
        0;  ///< looks for work so far that left pool 2's first task waiting at a limit

    /// Refused pushes so far by their code: ErrCode::TASK_NOT_IDLE, QUEUE_FULL of TrySubmit(), HUGE_TASK_LIMIT,
    /// and what CountRefused() was told. More than 8 codes count under 0. A code that nothing was refused with is
    /// not there.
    std::map<unsigned int, std::uint64_t> m_Refused;

    TaskTimes m_Waiting;  ///< from the push until a worker or a caller takes the task
    TaskTimes m_Running;  ///< of bodies, on workers

    std::chrono::nanoseconds m_OldestQueued{0};  ///< how long ago the first queued task was pushed
    std::chrono::nanoseconds m_LongestBody{0};   ///< how long the oldest of the bodies that now run has run
    std::string m_LongestBodyUUID;               ///< that body's operation UUID, without its tags

    bool m_bAtLimit =
        false;  ///< the first queued task was looked at, and one of pool 2's limits keeps it waiting

    // Pool 2 alone: HugeTaskMgr's book
    unsigned int m_nInBook = 0;
    unsigned int m_nBookLimit = 0;
    std::uint64_t m_nRefusedOverall = 0;  ///< pushes so far that the overall limit refused
    std::uint64_t m_nRefusedOfKind = 0;   ///< and those that the limit of their kind refused
};

/// What is no pool's.
struct ProcessSnapshot {
    unsigned int m_nWaiting = 0;      ///< threads that sleep until a descriptor is finished
    unsigned int m_nWaitingLong = 0;  ///< those of them in AD::Wait() for more than a minute
};

/// The figures of the pool \p nNumber, which is not made by asking. A pool outside of the registry is asked with
/// NBITaskMgr::TakeSnapshot(). Takes that pool's queue lock for the time that it takes to look at its workers, so
/// some times a second are no burden.
/// \throws std::bad_alloc
NBI_EXPORT PoolSnapshot TakePoolSnapshot(unsigned int nNumber);

/// The figures of all pools of the registry, ascending, each for itself.
/// \throws std::bad_alloc
NBI_EXPORT std::vector<PoolSnapshot> TakePoolSnapshots();

NBI_EXPORT ProcessSnapshot TakeProcessSnapshot();

}  // namespace NS_UTIL
