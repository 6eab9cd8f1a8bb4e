/// \file
/// The calling thread's context record, also for the case that there is no registry: Instance() is null when
/// its lock cannot be taken.
#pragma once

#include "nbiutil/threadcontextmgr.h"

namespace NS_UTIL {

inline ThreadContextInfo CurrentContext()
{
    ThreadContextMgr* const pRegistry = ThreadContextMgr::Instance();
    return pRegistry != nullptr ? pRegistry->GetThreadContext() : ThreadContextInfo();
}

}  // namespace NS_UTIL
