/// \file
/// Scope locks. A failed acquire is not reported: the scope runs unlocked and the release is skipped.
/// Deliberate: callers count on an answer from every operation, and releasing a lock that was not taken would
/// break its owner. Only singleton.h asks locked().
/// Exported headers name the classes of their locks and keep the objects behind pointers: ACE's headers cost those
/// who include them more than all the rest.
#pragma once

#include <ace/Guard_T.h>
#include <ace/RW_Mutex.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Thread_Mutex.h>

namespace NS_UTIL {

using MutexGuard = ACE_Guard<ACE_Thread_Mutex>;
using RecursiveGuard = ACE_Guard<ACE_Recursive_Thread_Mutex>;
using ReadGuard = ACE_Read_Guard<ACE_RW_Mutex>;
using WriteGuard = ACE_Write_Guard<ACE_RW_Mutex>;

}  // namespace NS_UTIL
