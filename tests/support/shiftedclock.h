/// \file
/// A clock of the day that a test sets, as an administrator or a time server does: CLOCK_REALTIME as this process
/// reads it, and as its condition variables wait by it from then on. CLOCK_MONOTONIC goes on.
#pragma once

namespace nbitest {

/// From now on the time of the day is \p nSeconds later than it is, or earlier. Threads: any.
void ShiftClock(long nSeconds);

}  // namespace nbitest
