/// \file
/// A short busy wait before a thread goes to sleep, and when it is not worth its while.
#pragma once

#include <atomic>
#include <cstdint>

namespace NS_UTIL {

/// Lets threads yield while yielding is cheap. On a machine with an idle core a yield takes less than a
/// microsecond, where a wake-up through the kernel takes several. Where all cores have other work, one yield
/// lasts as long as that work's time slice, some milliseconds; nothing is lost by it where that work is this
/// process's own, which pushes tasks by the thousand or runs them. So the first slow yield that kept somebody
/// waiting closes the gate: threads sleep at once, for a short time at first and many times as long whenever
/// the next attempt fails soon, so that what the attempts cost stays far below one percent.
///
/// Threads: any. What they see of each other's changes may be late by a yield, which does no harm.
class YieldGate {
public:
    static constexpr std::int64_t SHORTEST_PAUSE = 1'000'000;      // nanoseconds
    static constexpr std::int64_t LONGEST_PAUSE = 10'000'000'000;  // nanoseconds
    static constexpr int PAUSE_GROWTH = 16;
    /// Open for so many pauses, it begins again with the shortest.
    static constexpr int PAUSES_TO_RECOVER = 100;

    /// Never with one usable core: whoever is waited for needs it.
    bool IsOpen();
    void Close();

private:
    static constexpr std::int64_t OPEN = -1;

    bool Reopen(std::int64_t nNow);
    void PauseFrom(std::int64_t nNow, std::int64_t nPause);

    // points of the monotonic clock, in nanoseconds
    std::atomic<std::int64_t> m_nClosedUntil{0};
    std::atomic<std::int64_t> m_nOpenedAt{0};
    std::atomic<std::int64_t> m_nPause{0};  // the last one's length
};

/// Of all pools' workers and of all waiters: who finds the cores taken finds them so for everybody.
extern YieldGate g_YieldGate;

/// The yields of one wait, each measured. They end after the time in which a short task's answer arrives, some
/// ten microseconds, or with the first slow one.
class Yields {
public:
    static constexpr int MOST = 40;
    static constexpr std::int64_t SLOW = 50'000;  // nanoseconds

    explicit Yields(YieldGate& gate);

    /// Gives up the processor once.
    /// \return false, and nothing is done, when there are no more
    bool Next();
    bool WereSlow() const { return m_nLast > SLOW; }
    /// Whether the last one was slow and brought too few tasks for that.
    bool KeptWaiting(std::uint32_t nTasks) const { return WereSlow() && nTasks <= m_nLast / SLOW; }

private:
    std::int64_t m_nNow = 0;
    std::int64_t m_nLast = 0;  // what the last yield took
    int m_nLeft = 0;
};

}  // namespace NS_UTIL
