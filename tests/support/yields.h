/// \file
/// Yields that take as long as a test says. A test program that is built with support/yields.cpp has its own
/// sched_yield and clock_gettime in front of the system's; they do what the system's do unless a test has asked
/// for something else.
#pragma once

#include <cstdint>
#include <functional>

namespace nbitest {

/// While it lives, time stands still for the calling thread's monotonic clock, and each of its yields is
/// counted, takes the time that was set, and does nothing but call what was given. One at a time per thread.
class FakeYields {
public:
    explicit FakeYields(std::int64_t nNanosecondsEach);
    ~FakeYields();
    FakeYields(const FakeYields&) = delete;
    FakeYields& operator=(const FakeYields&) = delete;

    int Count() const { return m_nCount; }
    void Take(std::int64_t nNanosecondsEach) { m_nEach = nNanosecondsEach; }
    void Do(std::function<void()> during) { m_During = std::move(during); }
    void Pass(std::int64_t nNanoseconds) { m_nNow += nNanoseconds; }

    // What the system's functions do on this thread.
    static FakeYields* Current();
    std::int64_t Now() const { return m_nNow; }
    void Yield();

private:
    std::int64_t m_nNow;
    std::int64_t m_nEach;
    int m_nCount = 0;
    std::function<void()> m_During;
};

}  // namespace nbitest
