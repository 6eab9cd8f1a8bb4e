/// \file
/// The server's pools as a table and as JSON, and what of them looks wrong.
#pragma once

#include <string>
#include <vector>

#include "northbound.hh"

namespace northbound {

/// {"pools":[...],"waiting":...,"waitingLong":...,"linesLost":...}; times are in nanoseconds.
std::string ToJson(const Northbound::PoolReport& report);
void Print(const Northbound::PoolReport& report);

/// "850 ns", "12 us", "3.5 ms", "40 s", "12 min", "5 h", "3 d": two figures at least, since people compare them.
std::string DurationText(unsigned long long nNanoseconds);

/// What looks wrong, in words; empty when nothing does.
/// \param before the same server's report of some moments ago: what grows is seen between the two
std::vector<std::string> Findings(const Northbound::PoolReport& before, const Northbound::PoolReport& now);

}  // namespace northbound
