/// \file
/// Threads that cannot be started. A test program that links nbi_threadfailure has its own pthread_create in
/// front of the system's; it fails when a test says so and goes on to the system's otherwise.
#pragma once

namespace nbitest {

/// False where this function would hide the program's threads from the sanitizer that it runs under. A test
/// then skips itself: if (!CanFailThreads()) GTEST_SKIP() << NO_FAILING_THREADS;
bool CanFailThreads();
constexpr const char* NO_FAILING_THREADS = "clang's thread sanitizer would not see this program's threads";

/// While it lives, threads cannot be started (EAGAIN), after the first \p nWork that still can. One at a
/// time.
class FailingThreads {
public:
    explicit FailingThreads(int nWork = 0);
    ~FailingThreads();
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;

    /// How many have failed so far.
    int Failed() const;
};

}  // namespace nbitest
