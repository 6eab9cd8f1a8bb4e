/// \file
/// The names under which debuggers and process viewers show a pool's threads.
#pragma once

#include <string>

namespace NS_UTIL {

/// "nbi-p2-w07" for worker 7 of pool 2, behind the process's prefix. The kernel keeps 15 characters: of a long pool
/// number the last digits remain, which tell the pools apart, and the worker's number is never cut.
std::string WorkerName(unsigned int nPool, unsigned int nWorker);

/// Gives the calling thread a name, and nothing else: a name that the system refuses leaves it the one it has.
void NameThisThread(const std::string& name) noexcept;

/// Puts \p prefix in front of the names of the workers that start from now on; its first four characters count.
void SetWorkerNamePrefix(const std::string& prefix);

}  // namespace NS_UTIL
