/// \file
/// How long a worker may keep a core before others get their turn.
#pragma once

#include <cstdint>

namespace NS_UTIL {

constexpr std::uint64_t SHORTEST_TIME_SLICE = 100'000;  // nanoseconds; the system gives no shorter ones

/// Asks for the shortest time slices for the calling thread, whose share of the cores stays what it is. Systems that can
/// (Linux from 6.12) let it take a core at once from a program that computes; else one wake-up in a hundred waits until that
/// program's slice is over, some milliseconds. Threads and programs that the thread starts inherit it.
///
/// Left alone: threads of another policy than the ordinary one, which an administrator has chosen; and a process with a
/// filter on system calls (containers, hardened services), since a filter may end the process that makes a call it does not
/// know.
void AskForShortTimeSlices() noexcept;

}  // namespace NS_UTIL
