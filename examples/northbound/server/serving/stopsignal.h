/// \file
/// Tells long-running work that the server stops.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace northbound {

/// Raised once, never lowered. Threads: any.
class StopSignal {
public:
    void Raise()
    {
        {
            std::lock_guard<std::mutex> guard(m_Mutex);
            m_bRaised = true;
        }
        m_Condition.notify_all();
    }

    bool IsRaised() const
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        return m_bRaised;
    }

    /// Sleeps until \p when or until the signal is raised.
    /// \return whether it is.
    bool WaitUntil(std::chrono::steady_clock::time_point when)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        return m_Condition.wait_until(lock, when, [this] { return m_bRaised; });
    }

private:
    mutable std::mutex m_Mutex;
    std::condition_variable m_Condition;
    bool m_bRaised = false;  // guarded by m_Mutex
};

}  // namespace northbound
