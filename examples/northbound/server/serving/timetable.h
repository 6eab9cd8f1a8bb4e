/// \file
/// Work that is due again and again.
#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

namespace northbound {

/// For a thread that waits for other things in between. Threads: one.
class Timetable {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::chrono::milliseconds LONGEST_WAIT{3'600'000};

    explicit Timetable(std::function<Clock::time_point()> now = Clock::now) : m_Now(std::move(now)) {}

    /// \p work is due every \p interval, for the first time after one; never, where that is zero.
    void Add(std::chrono::microseconds interval, std::function<void()> work)
    {
        if (interval.count() > 0) m_Entries.push_back({interval, m_Now() + interval, std::move(work)});
    }

    /// How long to wait until something is due, rounded up; at most LONGEST_WAIT.
    std::chrono::milliseconds Left() const
    {
        std::chrono::milliseconds left = LONGEST_WAIT;
        for (const Entry& entry : m_Entries) {
            left = std::min(left, std::chrono::ceil<std::chrono::milliseconds>(entry.m_Next - m_Now()));
        }
        return std::max(left, std::chrono::milliseconds(0));
    }

    /// Does what is due, in the order of Add(); then its next interval begins.
    void Run()
    {
        for (Entry& entry : m_Entries) {
            const Clock::time_point now = m_Now();
            if (now < entry.m_Next) continue;
            entry.m_Next = now + entry.m_Interval;
            entry.m_Work();
        }
    }

private:
    struct Entry {
        std::chrono::microseconds m_Interval;
        Clock::time_point m_Next;
        std::function<void()> m_Work;
    };

    const std::function<Clock::time_point()> m_Now;
    std::vector<Entry> m_Entries;
};

}  // namespace northbound
