/// \file
/// A short busy wait before a thread goes to sleep.
#pragma once

#include <ace/OS_NS_Thread.h>

namespace NS_UTIL {

/// How often to give up the processor before sleeping. A wake-up through the kernel costs several
/// microseconds, a yield on an idle core a few hundred nanoseconds; so this bounds the wait to some ten
/// microseconds, the time in which a short task's answer arrives. 0 when the machine has one core: whoever is
/// waited for needs it.
int YieldsBeforeSleep();

/// Yields until \p done() or until the bound is reached.
/// \return the last answer of done()
template <class Done>
bool YieldUntil(Done done)
{
    if (done()) return true;
    for (int nLeft = YieldsBeforeSleep(); nLeft > 0; --nLeft) {
        ACE_OS::thr_yield();
        if (done()) return true;
    }
    return false;
}

}  // namespace NS_UTIL
