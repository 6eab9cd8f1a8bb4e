/// \file
/// How often a benchmark repeats itself.
#pragma once

#include <cstdlib>

namespace nbibench {

/// \p nUsual, or once where NBI_BENCH_ONCE is in the environment: to see that a program still runs.
inline int Rounds(int nUsual)
{
    return std::getenv("NBI_BENCH_ONCE") == nullptr ? nUsual : 1;
}

}  // namespace nbibench
