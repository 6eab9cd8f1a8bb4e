/// \file
/// One ThreadContextInfo per thread.
#pragma once

#include <atomic>
#include <string>

#include "nbiutil/export.h"
#include "nbiutil/threadcontextinfo.h"

namespace NS_UTIL {

/// Registry of the threads' context records: any code on a thread can ask whom it is working for. A record
/// comes into being with its thread's first access and goes with its thread. Callers get and hand over copies
/// only. Ownership: one registry per process, from the first Instance() to Destroy(); the records of threads
/// that are still running are out of reach afterwards, and are deleted when their threads end. Threads: any;
/// each sees its own record alone, without a lock.
class NBI_EXPORT ThreadContextMgr {
public:
    /// Null only when there is no registry yet and the static-object lock cannot be taken.
    static ThreadContextMgr* Instance();
    static void Destroy();

    /// A copy of the calling thread's record. While the stored operation UUID is empty, each copy carries a
    /// fresh one of its own. Without storage for a record: a default record.
    ThreadContextInfo GetThreadContext();

    /// Overwrites the calling thread's record. An empty operation UUID is replaced by a fresh one.
    void SetThreadContext(const ThreadContextInfo& info);

    /// Installs a fresh record for a request: interface name "<id>" or "<id> <name>", this thread's own
    /// identifier (the low 32 bits of pthread_self()), no user, a fresh operation UUID, no huge-task
    /// information.
    void SetThreadContext(const int& id, const std::string& name);

private:
    ThreadContextMgr();
    ~ThreadContextMgr() = default;

    ThreadContextInfo* Record();

    static std::atomic<ThreadContextMgr*> m_pInstance;
    const unsigned long m_nGeneration;  // tells this registry's records from those of a destroyed one
};

}  // namespace NS_UTIL
