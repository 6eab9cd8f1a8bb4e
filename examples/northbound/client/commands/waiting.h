/// \file
/// Waiting for something that the server does in its own time.
#pragma once

#include <chrono>
#include <thread>

#include "client/corba/session.h"

namespace northbound {

/// How often a subcommand looks again.
constexpr std::chrono::milliseconds POLL(100);

/// Looks every now and then until \p bDone answers true.
/// \return false when that took longer than the session's timeout
template <class Condition>
bool WaitFor(const Session& session, Condition bDone)
{
    const auto end = std::chrono::steady_clock::now() + session.Timeout();
    while (!bDone()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(POLL);
    }
    return true;
}

}  // namespace northbound
