/// \file
/// Log lines about what may happen a thousand times a second.
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <utility>

namespace northbound {

/// Counts events, and says when it is time for a line about them. Threads: any.
class Occasionally {
public:
    using Clock = std::chrono::steady_clock;

    explicit Occasionally(Clock::duration period, std::function<Clock::time_point()> now = Clock::now)
        : m_Period(period), m_Now(std::move(now))
    {
    }

    /// One event more.
    /// \return 0 when the last line is too young; else the events since that, this one included
    unsigned long Count()
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        ++m_nEvents;
        const Clock::time_point now = m_Now();
        if (m_bTold && now - m_Told < m_Period) return 0;
        m_bTold = true;
        m_Told = now;
        return std::exchange(m_nEvents, 0);
    }

private:
    const Clock::duration m_Period;
    const std::function<Clock::time_point()> m_Now;
    std::mutex m_Mutex;
    unsigned long m_nEvents = 0;  // not told yet; guarded by m_Mutex
    bool m_bTold = false;         // guarded by m_Mutex
    Clock::time_point m_Told;     // guarded by m_Mutex
};

}  // namespace northbound
