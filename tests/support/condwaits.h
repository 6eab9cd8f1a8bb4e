/// \file
/// Condition variables that wake when a test says so. A test program that is built with support/condwaits.cpp
/// has its own pthread_cond_wait, pthread_cond_timedwait, pthread_cond_broadcast, clock_gettime and gettimeofday
/// in front of the system's; they do what the system's do unless a test has asked for something else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "support/sleeper.h"

namespace nbitest {

/// While it lives, the next condition wait of this thread, timed or not, calls \p instead in its place, with
/// the lock held, and then returns \p nResult: 0 as if it had been woken, or ETIMEDOUT. One at a time per
/// thread.
class NextWait {
public:
    explicit NextWait(std::function<void()> instead, int nResult = 0);
    ~NextWait();
    NextWait(const NextWait&) = delete;
    NextWait& operator=(const NextWait&) = delete;

    /// Whether the wait has taken place.
    bool IsOver() const;

private:
    std::function<void()> m_Instead;
};

/// While it lives, the next broadcast of this thread calls \p first, and wakes when that answers true. One at a
/// time per thread.
class NextBroadcast {
public:
    explicit NextBroadcast(std::function<bool()> first);
    ~NextBroadcast();
    NextBroadcast(const NextBroadcast&) = delete;
    NextBroadcast& operator=(const NextBroadcast&) = delete;

private:
    std::function<bool()> m_First;
};

/// While it lives, the process sees a time of day that many seconds away from the system's. One at a time.
class SetClock {
public:
    explicit SetClock(int nSeconds);
    ~SetClock();
    SetClock(const SetClock&) = delete;
    SetClock& operator=(const SetClock&) = delete;
};

/// While it lives, each timed condition wait of any thread that has just asked for the monotonic time ends after
/// some milliseconds of that time, and the length that was asked for is kept. One at a time.
class ShortSlices {
public:
    ShortSlices();
    ~ShortSlices();
    ShortSlices(const ShortSlices&) = delete;
    ShortSlices& operator=(const ShortSlices&) = delete;

    std::size_t Count() const;
    /// From the last monotonic time to the deadline, in nanoseconds, one entry per wait.
    std::vector<std::int64_t> Lengths() const;
    /// Whether each of these waits slept for its milliseconds: a deadline on another clock would be over, or
    /// far away.
    bool AllSlept() const;
};

}  // namespace nbitest
