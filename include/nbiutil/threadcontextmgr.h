/// \file
/// One ThreadContextInfo per thread.
#pragma once

#include <atomic>
#include <string>

#include "nbiutil/export.h"
#include "nbiutil/threadcontextinfo.h"

namespace NS_UTIL {

struct ThreadRecord;

/// Registry of the threads' context records: any code on a thread can ask whom it is working for.
///
/// Ownership: one registry per process, from the first Instance() to Destroy(); callers never delete it,
/// and no thread may be using it while it is destroyed. A record comes into being with its thread's first
/// access and goes with its thread; callers get and hand over copies only. Records of threads that run on
/// after Destroy() are out of reach and are deleted when their threads end.
/// Threads: any; each sees its own record alone, without a lock.
/// Errors: nothing is thrown or returned. A thread for which there is no storage has no record: setting
/// does nothing, and one line about each attempt goes to ACE's log when the system refuses the storage.
class NBI_EXPORT ThreadContextMgr {
public:
    /// Null only when there is no registry yet and the static-object lock cannot be taken.
    static ThreadContextMgr* Instance();
    /// Runs the destructor under ACE's process-wide static-object lock; nothing happens when that lock fails.
    static void Destroy();

    /// The calling thread's record.
    /// \return a copy; while the stored operation UUID is empty, each copy carries a fresh one of its own.
    ///         Without storage a default record.
    ThreadContextInfo GetThreadContext();

    /// Overwrites the calling thread's record.
    /// \param info copied; an empty operation UUID is replaced by a fresh one, and one with a NUL character
    ///             ends there
    void SetThreadContext(const ThreadContextInfo& info);

    /// Installs a fresh record for a request: this thread's own identifier (the low 32 bits of
    /// pthread_self()), no user, a fresh operation UUID, no huge-task information.
    /// \param nId   begins the interface name, which is "<id>" or "<id> <name>"
    /// \param name may be empty
    void SetThreadContext(const int& nId, const std::string& name);

private:
    friend class TaskContext;

    ThreadContextMgr();
    ~ThreadContextMgr() = default;

    ThreadRecord* Record();

    static std::atomic<ThreadContextMgr*> m_pInstance;
    const unsigned long m_nGeneration;  // tells this registry's records from those of a destroyed one
};

}  // namespace NS_UTIL
