/// \file
/// How long things took in the last minutes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace NS_UTIL {

/// Durations of the last one to two minutes, counted in buckets of a fixed relative width: 16 to each power of two,
/// so that a percentile is at most 1/16 above the true one, whether it is of nanoseconds or of days. Times are
/// nanoseconds of one clock. Needs no memory beyond itself. Threads: its owner's lock.
class RecentDurations {
public:
    static constexpr std::int64_t SPAN = 60'000'000'000;

    /// A duration that is known roughly: the longest looks at it. Most are shorter than a tick of the clock, and nothing
    /// of this object need be touched for them.
    void See(std::int64_t nNow, std::int64_t nDuration)
    {
        if (nDuration <= 0) return;
        LookAtClock(nNow);
        if (nDuration > m_nLongest) m_nLongest = nDuration;
    }
    /// One that is known exactly: the percentiles look at it too.
    void Measure(std::int64_t nNow, std::int64_t nDuration);

    /// The duration that \p nPerMille thousandths of the measured ones do not exceed; 0 when there are none.
    std::int64_t Percentile(std::int64_t nNow, unsigned int nPerMille);
    std::int64_t Longest(std::int64_t nNow);

    // of all that were ever measured
    std::uint64_t Measured() const { return m_nMeasured; }
    std::int64_t Sum() const { return m_nSum; }

    static constexpr std::size_t BUCKETS = 60 * 16;
    static std::size_t BucketOf(std::int64_t nDuration);
    /// The longest duration that belongs to a bucket.
    static std::int64_t EndOf(std::size_t nBucket);

private:
    struct Counts {
        std::array<std::uint32_t, BUCKETS> m_Buckets{};
        std::uint64_t m_nCount = 0;
    };

    void LookAtClock(std::int64_t nNow)
    {
        if (nNow >= m_nEnd) BeginSpan(nNow);
    }
    void BeginSpan(std::int64_t nNow);

    std::int64_t m_nEnd = 0;  // of the current span
    std::int64_t m_nLongest = 0;
    std::int64_t m_nLongestBefore = 0;  // of the span before
    std::uint64_t m_nMeasured = 0;
    std::int64_t m_nSum = 0;
    Counts m_Current;
    Counts m_Before;
};

}  // namespace NS_UTIL
