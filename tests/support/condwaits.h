/// \file
/// Condition variables that wake when a test says so. A test program that is built with support/condwaits.cpp
/// has its own pthread_cond_wait, pthread_cond_timedwait and gettimeofday in front of the system's; they do
/// what the system's do unless a test has asked for something else.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
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

/// A thread that calls \p use. The constructor returns when it sleeps in the kernel or is done: when it waits
/// for a lock that the caller holds, say.
class Sleeper {
public:
    explicit Sleeper(std::function<void()> use);
    ~Sleeper();
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    bool IsDone() const { return m_bDone; }
    void Join() { m_Thread.join(); }

private:
    std::atomic<long> m_nThread{0};
    std::atomic<bool> m_bDone{false};
    std::thread m_Thread;
};

}  // namespace nbitest
