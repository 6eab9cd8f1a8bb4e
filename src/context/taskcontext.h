/// \file
/// How a request's record goes with its tasks, without a copy of its texts for each of them and for each worker.
#pragma once

#include <memory>

#include "nbiutil/threadcontextmgr.h"

namespace NS_UTIL {

/// Records as threads and tasks keep them, which is with mode and type exchanged. Threads: any.
class TaskContext {
public:
    using Stored = std::shared_ptr<const ThreadContextInfo>;

    /// The calling thread's record, for a task that it makes: all that it makes have the same one, until it sets
    /// another. While nothing is set each has an operation UUID of its own. Without a registry a default record.
    static Stored Share();

    /// Makes \p pStored the calling thread's record. Nothing happens without a registry.
    static void Install(const Stored& pStored);

    /// As callers set and see it.
    static ThreadContextInfo CopyOf(const ThreadContextInfo& stored);
    static int TaskModeOf(const ThreadContextInfo& stored) { return stored.m_nTskType; }
};

}  // namespace NS_UTIL
