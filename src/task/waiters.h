/// \file
/// How many threads sleep until a descriptor is finished.
#pragma once

#include <atomic>

namespace NS_UTIL {

/// A thread that is about to sleep on a descriptor, while it lives. One that finds its descriptor finished makes
/// none. Threads: any.
class Waiter {
public:
    static constexpr int LONG_SLICES = 6;  // a minute

    Waiter() { m_nAll.fetch_add(1, std::memory_order_relaxed); }
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    ~Waiter()
    {
        if (m_nSlices >= LONG_SLICES) m_nLong.fetch_sub(1, std::memory_order_relaxed);
        m_nAll.fetch_sub(1, std::memory_order_relaxed);
    }

    /// One slice of the wait is over, and the descriptor is not finished.
    void SliceEnds()
    {
        if (++m_nSlices == LONG_SLICES) m_nLong.fetch_add(1, std::memory_order_relaxed);
    }

    static unsigned int Count() { return m_nAll.load(std::memory_order_relaxed); }
    static unsigned int CountLong() { return m_nLong.load(std::memory_order_relaxed); }

private:
    inline static std::atomic<unsigned int> m_nAll{0};
    inline static std::atomic<unsigned int> m_nLong{0};
    int m_nSlices = 0;
};

}  // namespace NS_UTIL
