#include "task/recentdurations.h"

#include <algorithm>

namespace NS_UTIL {
namespace {

constexpr unsigned int STEPS = 16;  // buckets to a power of two
constexpr unsigned int STEP_BITS = 4;

}  // namespace

/// The first 16 buckets are one nanosecond wide each; then the highest bit chooses the sixteen, and the four bits
/// below it the bucket.
std::size_t RecentDurations::BucketOf(std::int64_t nDuration)
{
    const auto nValue = static_cast<std::uint64_t>(std::max<std::int64_t>(nDuration, 0));
    if (nValue < STEPS) return nValue;
    const auto nHighest = 63U - static_cast<unsigned int>(__builtin_clzll(nValue));
    const unsigned int nShift = nHighest - STEP_BITS;
    return std::size_t{nShift + 1} * STEPS + ((nValue >> nShift) & (STEPS - 1));
}

std::int64_t RecentDurations::EndOf(std::size_t nBucket)
{
    if (nBucket < STEPS) return static_cast<std::int64_t>(nBucket);
    const std::size_t nShift = nBucket / STEPS - 1;
    const std::uint64_t nFirst = std::uint64_t{STEPS + nBucket % STEPS} << nShift;
    return static_cast<std::int64_t>(nFirst + ((std::uint64_t{1} << nShift) - 1));
}

/// What is older than two spans is forgotten, however long nothing happened.
void RecentDurations::BeginSpan(std::int64_t nNow)
{
    const bool bAllOld = nNow - m_nEnd >= SPAN;
    m_Before = bAllOld ? Counts{} : m_Current;
    m_nLongestBefore = bAllOld ? 0 : m_nLongest;
    m_Current = Counts{};
    m_nLongest = 0;
    m_nEnd = nNow + SPAN;
}

void RecentDurations::Measure(std::int64_t nNow, std::int64_t nDuration)
{
    LookAtClock(nNow);
    m_nLongest = std::max(m_nLongest, nDuration);
    ++m_Current.m_Buckets[BucketOf(nDuration)];
    ++m_Current.m_nCount;
    ++m_nMeasured;
    m_nSum += nDuration;
}

std::int64_t RecentDurations::Percentile(std::int64_t nNow, unsigned int nPerMille)
{
    LookAtClock(nNow);
    const std::uint64_t nCount = m_Current.m_nCount + m_Before.m_nCount;
    std::uint64_t nLeft = (nCount * nPerMille + 999) / 1000;
    if (nLeft == 0) return 0;
    std::size_t nBucket = 0;
    for (;; ++nBucket) {
        const std::uint64_t nHere = std::uint64_t{m_Current.m_Buckets[nBucket]} + m_Before.m_Buckets[nBucket];
        if (nHere >= nLeft) break;
        nLeft -= nHere;
    }
    return std::min(EndOf(nBucket), Longest(nNow));
}

std::int64_t RecentDurations::Longest(std::int64_t nNow)
{
    LookAtClock(nNow);
    return std::max(m_nLongest, m_nLongestBefore);
}

}  // namespace NS_UTIL
