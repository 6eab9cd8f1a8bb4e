/// \file
/// Where a test program's own versions of system calls ask whether the call at hand is to fail. See singlefaults.h.
#pragma once

#include <atomic>

namespace nbitest {

enum class FaultKind {
    ALLOCATION,
    ACE_MEMORY,  // what asks for memory without an exception: ACE does
    LOCK,
    SEMAPHORE_POST,
    SEMAPHORE_WAIT,
    THREAD,
    SPAWN,
    OPEN,
    READ,
    WRITE,
    FSYNC,
    RENAME,
    CIPHER,
    OPENSSL,
    EXPAT,
    COUNT
};

/// Set while single faults are tried. Plain data: allocations and locks ask before everything else in a program is there.
inline std::atomic<bool (*)(FaultKind, const void*)> g_FaultPoint{nullptr};

/// While it is set, nothing fails on this thread.
inline thread_local bool t_bAllWorks = false;

/// \param pObject what the call is about, where that matters: a lock
inline bool FailsHere(FaultKind kind, const void* pObject = nullptr)
{
    auto* const pAsk = g_FaultPoint.load(std::memory_order_relaxed);
    return pAsk != nullptr && !t_bAllWorks && pAsk(kind, pObject);
}

}  // namespace nbitest
