/// \file
/// How a fuzz target says that something is wrong.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace nbitest {

inline void Demand(bool bHolds, const char* pWhat)
{
    if (bHolds) return;
    std::fprintf(stderr, "differs: %s\n", pWhat);
    std::abort();
}

}  // namespace nbitest
