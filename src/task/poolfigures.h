/// \file
/// What a pool counts and measures of its tasks and its workers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>

namespace NS_UTIL {

class NBITask;
struct PoolSnapshot;

/// The figures of one pool, guarded by its queue's lock, which every change happens under anyway: no lock, no
/// allocation and no atomic step are added to a task's way.
///
/// The time of a push is a task's place in the order of pushing, so that it needs no member of its own. Most tasks read
/// the coarse clock, which ticks some hundred times a second and costs a fifth of the exact one, once when they are
/// pushed and once when they come back. The first tasks of each tick, and every 64th of the others, are measured
/// exactly: all tasks of a pool that gets few, and a sample of a busy one's.
class PoolFigures {
public:
    static constexpr unsigned int MEASURED_A_TICK = 16;  // at most 31
    static constexpr unsigned int MEASURED_ONE_OF = 64;
    static constexpr std::size_t CODES = 8;

    // A place in the order of pushing is a time in nanoseconds, with two marks in its lowest bits.
    static constexpr std::uint64_t QUEUED = 1;    // the task waits to be taken
    static constexpr std::uint64_t MEASURED = 2;  // the time is exact
    static constexpr std::uint64_t MARKS = 3;

    /// A thread of the pool's own, from its first look for work to its last; it lies on that thread's stack, where
    /// counting costs less than in a place that all workers write to.
    struct Worker {
        Worker* m_pNext = nullptr;
        Worker* m_pPrev = nullptr;
        unsigned int m_nNumber = 0;        // from 1
        const NBITask* m_pTask = nullptr;  // in its hands
        std::int64_t m_nSince = 0;
        std::int64_t m_nBack = 0;  // when it came back, for the task that it takes at once; else 0
        bool m_bMeasured = false;
        std::uint64_t m_nFinished = 0;
    };

    PoolFigures();
    ~PoolFigures();
    PoolFigures(const PoolFigures&) = delete;
    PoolFigures& operator=(const PoolFigures&) = delete;

    void Enter(Worker& worker);
    void Leave(Worker& worker);

    /// The coarse clock, to be read before the lock is taken: others wait for the lock.
    static std::int64_t Now() { return Read(CLOCK_MONOTONIC_COARSE); }

    /// A task is accepted: its place in the order, with MEASURED where its times are. Places rise strictly, also where
    /// many tasks are pushed within one tick, or come to the lock in another order than they read the clock in.
    std::uint64_t Push(std::int64_t nNow)
    {
        const bool bMeasured = IsMeasured(nNow);
        ++m_nPushed;
        const auto nTime = static_cast<std::uint64_t>(bMeasured ? ExactNow() : nNow);
        m_nLastOrder = std::max(m_nLastOrder + MARKS + 1, nTime & ~MARKS);
        return m_nLastOrder | (bMeasured ? MEASURED : 0);
    }
    void EnterQueue()
    {
        if (++m_nQueued > m_nMostQueued) m_nMostQueued = m_nQueued;
    }
    void LeaveQueue() { --m_nQueued; }
    /// A queued task was taken.
    /// \param nOrder its place, with the mark
    /// \param bWorkers the calling thread is a worker, which begins with the task
    void Take(const NBITask& task, std::uint64_t nOrder, bool bWorkers);
    /// Somebody, most often a worker, comes back with a task that was run.
    void End(const NBITask& task, bool bFailed, std::int64_t nNow);
    /// It is some time since the calling thread came back with a task, if it ever did.
    static void ForgetReturn();

    void Drop();
    /// A limit keeps the first queued task waiting. \p nOrder is its place.
    void Defer(std::uint64_t nOrder);
    void Refuse(unsigned int nCode);

    /// Fills in what is known here. \p pOldest is the first queued task's place in the order, or null.
    void ReadInto(PoolSnapshot& snapshot, const std::uint64_t* pOldest);
    /// The worker whose body has run for the longest time; null when none runs.
    const Worker* Longest() const;

private:
    struct Rest;

    static std::int64_t Read(clockid_t clock)
    {
        timespec now{};
        clock_gettime(clock, &now);
        return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
    }
    static std::int64_t ExactNow() { return Read(CLOCK_MONOTONIC); }

    /// The place of the last push is no earlier than its tick's begin, and no later than its end.
    bool IsMeasured(std::int64_t nNow)
    {
        if (nNow > static_cast<std::int64_t>(m_nLastOrder)) m_nLeftInTick = MEASURED_A_TICK;
        if (m_nLeftInTick == 0) return m_nPushed % MEASURED_ONE_OF == 0;
        --m_nLeftInTick;
        return true;
    }

    // What every task changes is kept short, and stands between the heads of the queue's lists: pushers and workers
    // pass these bytes on between their processors with the lock, and each cache line more costs as much as all the
    // counting.
    std::uint64_t m_nLastOrder = 0;
    std::uint64_t m_nPushed : 59;
    std::uint64_t m_nLeftInTick : 5;  // tasks that are measured without being the 64th
    std::uint32_t m_nQueued = 0;
    std::uint32_t m_nMostQueued = 0;
    std::unique_ptr<Rest> m_pRest;
};

}  // namespace NS_UTIL
