/// \file
/// Waiting for what another thread or process does.
#pragma once

#include <chrono>
#include <thread>

namespace nbitest {

/// Asks every millisecond until \p holds answers true, for at most a minute.
/// \return its last answer
template <class Condition>
bool Eventually(Condition holds)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end) return holds();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace nbitest
