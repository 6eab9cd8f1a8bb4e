/// \file
/// The pool of the huge tasks, and the question whether one more may run.
#pragma once

#include <cstdint>

namespace NS_UTIL {

constexpr int HUGE_POOL = 2;

struct PoolSnapshot;

/// Which limit keeps one more huge task from starting.
enum class HugeLimit { NONE, OVERALL, OF_KIND };

/// Asked for the calling thread's request. No book (its lock cannot be taken), or no memory to ask it, means
/// no limit: whoever asks holds a task that must not be lost.
HugeLimit ReachedHugeLimit() noexcept;

/// A push was refused at \p limit, which is not NONE.
void CountRefusalAt(HugeLimit limit) noexcept;

/// Fills in the book and the refusals.
void ReadBook(PoolSnapshot& snapshot);

}  // namespace NS_UTIL
