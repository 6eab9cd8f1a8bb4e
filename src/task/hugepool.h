/// \file
/// The pool of the huge tasks, and the question whether one more may run.
#pragma once

namespace NS_UTIL {

constexpr int HUGE_POOL = 2;

/// Asked for the calling thread's request. No book (its lock cannot be taken), or no memory to ask it, means
/// no limit: whoever asks holds a task that must not be lost.
bool IsHugeTaskLimitReached() noexcept;

}  // namespace NS_UTIL
