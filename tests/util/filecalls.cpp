#include "util/filecalls.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "support/faultpoint.h"

namespace nbitest {
namespace {

thread_local FileHook t_Hook;
thread_local bool t_bInHook = false;

std::string PathOf(int nHandle)
{
    std::array<char, PATH_MAX> path;
    const std::string link = "/proc/self/fd/" + std::to_string(nHandle);
    const ssize_t nLength = readlink(link.c_str(), path.data(), path.size());
    return nLength < 0 ? std::string() : std::string(path.data(), static_cast<std::size_t>(nLength));
}

/// \return whether the call goes on; else errno is set.
bool Passes(const FileCall& call)
{
    t_bInHook = true;
    const int nError = t_Hook(call);
    t_bInHook = false;
    errno = nError;
    return nError == 0;
}

bool Passes(const char* pName, int nHandle)
{
    if (!t_Hook || t_bInHook) return true;
    const int nFlags = fcntl(nHandle, F_GETFD);
    return Passes({pName, PathOf(nHandle), nHandle, (nFlags & FD_CLOEXEC) != 0});
}

bool Fails(FaultKind kind)
{
    if (!FailsHere(kind)) return false;
    errno = EIO;
    return true;
}

}  // namespace

void SetFileHook(FileHook hook)
{
    t_Hook = std::move(hook);
}

}  // namespace nbitest

// Visible, unlike everything else in a test program: the shared libraries must find these before the system's.
#pragma GCC visibility push(default)
extern "C" {

ssize_t write(int nHandle, const void* pBytes, size_t nCount)
{
    if (nbitest::Fails(nbitest::FaultKind::WRITE)) return -1;
    if (!nbitest::Passes("write", nHandle)) return -1;
    return syscall(SYS_write, nHandle, pBytes, nCount);
}

int fsync(int nHandle)
{
    if (nbitest::Fails(nbitest::FaultKind::FSYNC)) return -1;
    if (!nbitest::Passes("fsync", nHandle)) return -1;
    return static_cast<int>(syscall(SYS_fsync, nHandle));
}

// Under a name of its own here: <fcntl.h> has a structure of the same name.
int LockFile(int nHandle, int nOperation) noexcept __asm__("flock");
int LockFile(int nHandle, int nOperation) noexcept
{
    if (!nbitest::Passes("flock", nHandle)) return -1;
    return static_cast<int>(syscall(SYS_flock, nHandle, nOperation));
}

int syncfs(int nHandle) noexcept
{
    if (!nbitest::Passes("syncfs", nHandle)) return -1;
    return static_cast<int>(syscall(SYS_syncfs, nHandle));
}

int rename(const char* pOld, const char* pNew) noexcept
{
    if (nbitest::Fails(nbitest::FaultKind::RENAME)) return -1;
    const bool bHooked = nbitest::t_Hook && !nbitest::t_bInHook;
    if (bHooked && !nbitest::Passes({"rename", pOld, -1, false})) return -1;
    return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, pOld, AT_FDCWD, pNew, 0));
}

}  // extern "C"
#pragma GCC visibility pop
