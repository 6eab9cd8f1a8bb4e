/// \file
/// Condition variables that wake when a test says so. A test program that is built with support/condwaits.cpp
/// has its own pthread_cond_wait, pthread_cond_timedwait and gettimeofday in front of the system's; they do
/// what the system's do unless a test has asked for something else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace nbitest {

/// While it lives, the next condition wait of this thread, timed or not, calls \p instead in its place, with
/// the lock held, and then returns as if it had been woken. One at a time per thread.
class NextWait {
public:
    explicit NextWait(std::function<void()> instead);
    ~NextWait();
    NextWait(const NextWait&) = delete;
    NextWait& operator=(const NextWait&) = delete;

    /// Whether the wait has taken place.
    bool IsOver() const;

private:
    std::function<void()> m_Instead;
};

/// While it lives, each timed condition wait of any thread that has just asked for the time of day ends after
/// some milliseconds, and the length that was asked for is kept. One at a time.
class ShortSlices {
public:
    ShortSlices();
    ~ShortSlices();
    ShortSlices(const ShortSlices&) = delete;
    ShortSlices& operator=(const ShortSlices&) = delete;

    std::size_t Count() const;
    /// From the time of day to the deadline, in nanoseconds, one entry per wait.
    std::vector<std::int64_t> Lengths() const;
};

}  // namespace nbitest
