/// \file
/// Something that is due again and again.
#pragma once

#include <algorithm>
#include <chrono>

namespace northbound {

/// Due every so often, for a thread that waits for other things in between. An interval of zero is never due.
/// Threads: one.
class Alarm {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds LONGEST_WAIT{3'600'000};

    explicit Alarm(std::chrono::microseconds interval) : m_Interval(interval), m_Next(Clock::now() + interval)
    {
    }

    /// How long to wait until it is due, rounded up; at most LONGEST_WAIT.
    std::chrono::milliseconds Left() const
    {
        if (m_Interval.count() == 0) return LONGEST_WAIT;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_Next - Clock::now());
        return std::clamp(left, std::chrono::milliseconds(0), LONGEST_WAIT);
    }

    /// \return whether it is due; then the next interval begins
    bool IsDue()
    {
        const Clock::time_point now = Clock::now();
        if (m_Interval.count() == 0 || now < m_Next) return false;
        m_Next = now + m_Interval;
        return true;
    }

private:
    const std::chrono::microseconds m_Interval;
    Clock::time_point m_Next;
};

}  // namespace northbound
