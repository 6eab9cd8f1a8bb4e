/// \file
/// The recording host under single faults: its own lock never fails.
#pragma once

#include <mutex>

#include "nbihost/recordinghost.h"
#include "support/singlefaults.h"

namespace nbitest {

extern std::mutex g_Mutex;  // the host's

/// One for all scenarios of a program; each has a copy, in a process of its own.
inline RecordingHost& FaultHost()
{
    static RecordingHost host;
    NeverFail(g_Mutex.native_handle());
    return host;
}

/// Not tried where several threads run.
inline const Scenario::Kinds WITH_THREADS{
    {FaultKind::LOCK, "a scope whose lock cannot be taken runs unlocked: with other threads that is a race"},
    {FaultKind::ACE_MEMORY, "ACE's manager of threads uses memory that it did not get"}};

}  // namespace nbitest
