/// \file
/// Parts of a test that change what belongs to the whole process: its user, its limits, its directory.
#pragma once

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace nbitest {

/// Runs \p body in a child process.
/// \return whether it came to its end with no expectation failed.
template <class Body>
bool PassesInChild(Body body)
{
    std::fflush(nullptr);
    const pid_t nChild = fork();
    if (nChild == 0) {
        body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int nStatus = 0;
    return nChild > 0 && waitpid(nChild, &nStatus, 0) == nChild && WIFEXITED(nStatus) &&
           WEXITSTATUS(nStatus) == 0;
}

constexpr const char* NOT_ROOT = "only root can become another user";

/// The same as a user without any rights: if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
template <class Body>
bool PassesAsNobody(Body body)
{
    return PassesInChild([&body] {
        constexpr unsigned int NOBODY = 65534;
        ASSERT_EQ(setgroups(0, nullptr), 0);
        ASSERT_EQ(setresgid(NOBODY, NOBODY, NOBODY), 0);
        ASSERT_EQ(setresuid(NOBODY, NOBODY, NOBODY), 0);
        body();
    });
}

/// From now on no file of this process grows beyond \p nBytes: a full disk. For use in a child.
inline void LimitFileSize(rlim_t nBytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{nBytes, nBytes};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

}  // namespace nbitest
