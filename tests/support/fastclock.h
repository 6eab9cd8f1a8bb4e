/// \file
/// Long waits on the monotonic clock that take no time. A test program that is built with support/fastclock.cpp
/// has its own pthread_cond_clockwait and clock_gettime in front of the system's; they do what the system's do
/// unless a test has asked for something else.
#pragma once

#include <chrono>
#include <vector>

namespace nbitest {

/// While it lives, a wait on the monotonic clock that nobody ends within some milliseconds is over, and the clock
/// stands at the wait's limit. It stays ahead afterwards. One at a time.
class FastClock {
public:
    FastClock();
    ~FastClock();
    FastClock(const FastClock&) = delete;
    FastClock& operator=(const FastClock&) = delete;

    /// What the waits that nobody ended were asked for, in the order of their ends.
    std::vector<std::chrono::nanoseconds> Lengths() const;
};

}  // namespace nbitest
