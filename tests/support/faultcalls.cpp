// The calls that can fail and have no stand-in of their own in the tests: semaphores, processes, files that are opened and
// read, OpenSSL's and expat's memory. Each asks faultpoint.h, and goes on to the system's.
#include <dirent.h>
#include <dlfcn.h>
#include <expat.h>
#include <fcntl.h>
#include <malloc.h>
#include <openssl/crypto.h>
#include <semaphore.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "support/faultpoint.h"
#include "support/heapwatch.h"

namespace nbitest {
namespace {

/// The function of this name that comes next in the program.
template <class Function>
Function Next(const char* pName)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, pName));
}

bool Fails(FaultKind kind, int nError)
{
    if (!FailsHere(kind)) return false;
    errno = nError;
    return true;
}

/// OpenSSL's table of names takes a look-up without memory for "not there", enters the name once more and loses the entry
/// that it had. That leak is its own, so this one place gets its memory.
bool IsNameTable(const char* pFile)
{
    return pFile != nullptr && std::strstr(pFile, "core_namemap.c") != nullptr;
}

// OpenSSL's blocks lie where freed ones can be searched for secrets.

void* OpenSslAllocate(std::size_t nSize, const char* pFile, int)
{
    if (!IsNameTable(pFile) && FailsHere(FaultKind::OPENSSL)) return nullptr;
    const WorkingAllocations working;
    return operator new(nSize, std::nothrow);
}

void OpenSslFree(void* pBlock, const char*, int)
{
    operator delete(pBlock);
}

void* OpenSslReallocate(void* pOld, std::size_t nSize, const char* pFile, int nLine)
{
    void* const pNew = OpenSslAllocate(nSize, pFile, nLine);
    if (pOld == nullptr || pNew == nullptr) return pNew;
    std::memcpy(pNew, pOld, std::min(nSize, malloc_usable_size(pOld)));
    OpenSslFree(pOld, pFile, nLine);
    return pNew;
}

[[maybe_unused]] const int g_nOpenSslTakesIt =
    CRYPTO_set_mem_functions(&OpenSslAllocate, &OpenSslReallocate, &OpenSslFree);

void* ExpatAllocate(std::size_t nSize)
{
    return FailsHere(FaultKind::EXPAT) ? nullptr : std::malloc(nSize);
}

void* ExpatReallocate(void* pOld, std::size_t nSize)
{
    return FailsHere(FaultKind::EXPAT) ? nullptr : std::realloc(pOld, nSize);
}

const XML_Memory_Handling_Suite EXPAT_MEMORY{&ExpatAllocate, &ExpatReallocate, &std::free};

}  // namespace
}  // namespace nbitest

using nbitest::Fails;
using nbitest::FailsHere;
using nbitest::FaultKind;
using nbitest::Next;

// Visible, unlike everything else in a test program: the shared libraries must find these before the system's.
#pragma GCC visibility push(default)
extern "C" {

/// A wait that a signal has ended: the only way in which one fails.
int sem_wait(sem_t* pSemaphore)
{
    static const auto next = Next<int (*)(sem_t*)>("sem_wait");
    return Fails(FaultKind::SEMAPHORE_WAIT, EINTR) ? -1 : next(pSemaphore);
}

int sem_post(sem_t* pSemaphore) noexcept
{
    static const auto next = Next<int (*)(sem_t*)>("sem_post");
    return Fails(FaultKind::SEMAPHORE_POST, EOVERFLOW) ? -1 : next(pSemaphore);
}

int posix_spawn(pid_t* pChild, const char* pPath, const posix_spawn_file_actions_t* pActions,
                const posix_spawnattr_t* pAttributes, char* const words[], char* const environment[])
{
    using Spawn = int (*)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                          char* const*, char* const*);
    static const auto next = Next<Spawn>("posix_spawn");
    if (FailsHere(FaultKind::SPAWN)) return EAGAIN;
    return next(pChild, pPath, pActions, pAttributes, words, environment);
}

int posix_spawnp(pid_t* pChild, const char* pFile, const posix_spawn_file_actions_t* pActions,
                 const posix_spawnattr_t* pAttributes, char* const words[], char* const environment[])
{
    using Spawn = int (*)(pid_t*, const char*, const posix_spawn_file_actions_t*, const posix_spawnattr_t*,
                          char* const*, char* const*);
    static const auto next = Next<Spawn>("posix_spawnp");
    if (FailsHere(FaultKind::SPAWN)) return EAGAIN;
    return next(pChild, pFile, pActions, pAttributes, words, environment);
}

int open(const char* pPath, int nFlags, ...)
{
    std::va_list rest;
    va_start(rest, nFlags);
    const mode_t nMode = (nFlags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (Fails(FaultKind::OPEN, EMFILE)) return -1;
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, pPath, nFlags, nMode));
}

int openat(int nFolder, const char* pPath, int nFlags, ...)
{
    std::va_list rest;
    va_start(rest, nFlags);
    const mode_t nMode = (nFlags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    if (Fails(FaultKind::OPEN, EMFILE)) return -1;
    return static_cast<int>(syscall(SYS_openat, nFolder, pPath, nFlags, nMode));
}

int mkostemp(char* pName, int nFlags)
{
    static const auto next = Next<int (*)(char*, int)>("mkostemp");
    return Fails(FaultKind::OPEN, EMFILE) ? -1 : next(pName, nFlags);
}

DIR* opendir(const char* pPath)
{
    static const auto next = Next<DIR* (*)(const char*)>("opendir");
    return Fails(FaultKind::OPEN, EMFILE) ? nullptr : next(pPath);
}

FILE* fdopen(int nHandle, const char* pMode) noexcept
{
    static const auto next = Next<FILE* (*)(int, const char*)>("fdopen");
    return Fails(FaultKind::OPEN, ENOMEM) ? nullptr : next(nHandle, pMode);
}

ssize_t read(int nHandle, void* pBytes, size_t nCount)
{
    if (Fails(FaultKind::READ, EIO)) return -1;
    return syscall(SYS_read, nHandle, pBytes, nCount);
}

/// As glibc leaves a stream whose read has failed.
size_t fread(void* pItems, size_t nSize, size_t nCount, FILE* pFile)
{
    using Read = size_t (*)(void*, size_t, size_t, FILE*);
    static const auto next = Next<Read>("fread");
    if (!Fails(FaultKind::READ, EIO)) return next(pItems, nSize, nCount, pFile);
    pFile->_flags |= _IO_ERR_SEEN;
    return 0;
}

XML_Parser XML_ParserCreate_MM(const XML_Char* pEncoding, const XML_Memory_Handling_Suite* /*pMemory*/,
                               const XML_Char* pSeparator)
{
    static const auto next = Next<decltype(&XML_ParserCreate_MM)>("XML_ParserCreate_MM");
    return next(pEncoding, &nbitest::EXPAT_MEMORY, pSeparator);
}

}  // extern "C"
#pragma GCC visibility pop
