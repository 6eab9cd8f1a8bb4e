/// \file
/// Locks that cannot be taken. A test program that links nbi_lockfailure has its own pthread_mutex_lock,
/// pthread_rwlock_rdlock and pthread_rwlock_wrlock in front of the system's; each fails for the calling
/// thread when a test says so and goes on to the system's otherwise.
#pragma once

#include <cerrno>
#include <functional>

namespace nbitest {

enum class LockKind { MUTEX, READ, WRITE };

/// False where these functions would hide the program's locks from the sanitizer that it runs under. A test
/// then skips itself: if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
bool CanFailLocks();
constexpr const char* NO_FAILING_LOCKS = "clang's thread sanitizer would not see the locks of this program";

/// While it lives, the next nCalls acquisitions of \p kind by this thread answer nError, after the first
/// nSkip have worked. One at a time per kind and thread. Locks of every part of the program count, the
/// standard library's among them, so arm it right before the call that is tested.
class FailingLocks {
public:
    explicit FailingLocks(LockKind kind, int nCalls = 1, int nError = EINVAL, int nSkip = 0);
    ~FailingLocks();
    FailingLocks(const FailingLocks&) = delete;
    FailingLocks& operator=(const FailingLocks&) = delete;

    /// How many of the failures have not happened yet.
    int Left() const;

private:
    LockKind m_Kind;
};

/// While it lives, the next acquisition of \p kind by this thread does \p work before it.
class BeforeNextLock {
public:
    BeforeNextLock(LockKind kind, std::function<void()> work);
    ~BeforeNextLock();
    BeforeNextLock(const BeforeNextLock&) = delete;
    BeforeNextLock& operator=(const BeforeNextLock&) = delete;

private:
    LockKind m_Kind;
    const std::function<void()> m_Work;
};

}  // namespace nbitest
