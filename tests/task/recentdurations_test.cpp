#include "task/recentdurations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace NS_UTIL {
namespace {

constexpr std::int64_t LATER = 1'000'000'000'000;  // any moment: the clock does not begin at 0

TEST(RecentDurationsTest, WithoutAnyAllFiguresAreZero)
{
    RecentDurations durations;
    EXPECT_EQ(durations.Percentile(LATER, 500), 0);
    EXPECT_EQ(durations.Percentile(LATER, 990), 0);
    EXPECT_EQ(durations.Longest(LATER), 0);
    EXPECT_EQ(durations.Measured(), 0U);
    EXPECT_EQ(durations.Sum(), 0);
}

TEST(RecentDurationsTest, NothingIsLongOnASystemThatHasJustBegun)
{
    RecentDurations durations;
    EXPECT_EQ(durations.Longest(10), 0);
}

TEST(RecentDurationsTest, BucketsFollowEachOtherWithoutAGapAndAreAtMostATenthWide)
{
    std::int64_t nFirst = 0;
    for (std::size_t nBucket = 0; nBucket < RecentDurations::BUCKETS; ++nBucket) {
        const std::int64_t nLast = RecentDurations::EndOf(nBucket);
        ASSERT_EQ(RecentDurations::BucketOf(nFirst), nBucket) << nFirst;
        ASSERT_EQ(RecentDurations::BucketOf(nLast), nBucket) << nLast;
        ASSERT_LE((nLast - nFirst) * 10, nFirst) << nBucket;
        nFirst = nLast == std::numeric_limits<std::int64_t>::max() ? 0 : nLast + 1;
    }
    EXPECT_EQ(RecentDurations::EndOf(RecentDurations::BUCKETS - 1), std::numeric_limits<std::int64_t>::max());
}

TEST(RecentDurationsTest, ClockThatStepsBackCountsAsNoTime)
{
    EXPECT_EQ(RecentDurations::BucketOf(-5), 0U);
}

TEST(RecentDurationsTest, PercentilesAreAtMostATenthAboveTheTrueOnes)
{
    std::mt19937_64 random(7);
    std::lognormal_distribution<double> lengths(12, 3);
    RecentDurations durations;
    std::vector<std::int64_t> all;
    for (int i = 0; i < 10000; ++i) {
        all.push_back(static_cast<std::int64_t>(lengths(random)));
        durations.Measure(LATER, all.back());
    }
    std::sort(all.begin(), all.end());
    for (const unsigned int nPerMille : {1U, 100U, 500U, 900U, 990U, 999U, 1000U}) {
        const std::int64_t nTrue = all[all.size() * nPerMille / 1000 - 1];
        const std::int64_t nFigure = durations.Percentile(LATER, nPerMille);
        EXPECT_GE(nFigure, nTrue) << nPerMille;
        EXPECT_LE(nFigure, nTrue + nTrue / 10) << nPerMille;
    }
    EXPECT_EQ(durations.Longest(LATER), all.back());
}

TEST(RecentDurationsTest, PercentileIsNeverAboveTheLongest)
{
    RecentDurations durations;
    durations.Measure(LATER, 1'000'001);
    EXPECT_EQ(durations.Percentile(LATER, 500), 1'000'001);
    EXPECT_EQ(durations.Percentile(LATER, 990), 1'000'001);
}

TEST(RecentDurationsTest, WhatIsKnownRoughlyCountsForTheLongestAlone)
{
    RecentDurations durations;
    durations.Measure(LATER, 10);
    durations.See(LATER, 5000);
    EXPECT_EQ(durations.Percentile(LATER, 1000), 10);
    EXPECT_EQ(durations.Longest(LATER), 5000);
    EXPECT_EQ(durations.Measured(), 1U);
}

TEST(RecentDurationsTest, OneNanosecondKnownRoughlyIsTheLongestOfNone)
{
    RecentDurations durations;
    durations.See(LATER, 1);
    EXPECT_EQ(durations.Longest(LATER), 1);
}

TEST(RecentDurationsTest, TasksThatTakeNoTimeCount)
{
    RecentDurations durations;
    durations.Measure(LATER, 0);
    durations.Measure(LATER, 7);
    EXPECT_EQ(durations.Percentile(LATER, 500), 0);
    EXPECT_EQ(durations.Percentile(LATER, 1000), 7);
}

TEST(RecentDurationsTest, SpanIsAMinute)
{
    EXPECT_EQ(std::chrono::nanoseconds(RecentDurations::SPAN), std::chrono::minutes(1));
}

TEST(RecentDurationsTest, SpanBeforeTheCurrentOneStillCounts)
{
    RecentDurations durations;
    durations.Measure(LATER, 5000);
    const std::int64_t nNextSpan = LATER + RecentDurations::SPAN;
    durations.Measure(nNextSpan, 10);
    EXPECT_EQ(durations.Longest(nNextSpan), 5000);
    EXPECT_EQ(durations.Percentile(nNextSpan, 500), 10);
    EXPECT_EQ(durations.Percentile(nNextSpan, 1000), 5000);
    durations.Measure(nNextSpan, 7000);
    EXPECT_EQ(durations.Percentile(nNextSpan, 1000), 7000) << "longer than what the span before has";
}

TEST(RecentDurationsTest, WhatIsTwoSpansOldIsForgotten)
{
    RecentDurations durations;
    durations.Measure(LATER, 5000);
    durations.Measure(LATER + RecentDurations::SPAN, 10);
    EXPECT_EQ(durations.Longest(LATER + 2 * RecentDurations::SPAN), 10);
}

TEST(RecentDurationsTest, WhatIsTwoSpansOldIsForgottenThoughNothingHappenedMeanwhile)
{
    RecentDurations durations;
    durations.Measure(LATER, 5000);
    RecentDurations sooner = durations;
    EXPECT_EQ(sooner.Longest(LATER + 2 * RecentDurations::SPAN - 1), 5000);
    EXPECT_EQ(durations.Longest(LATER + 2 * RecentDurations::SPAN), 0);
}

TEST(RecentDurationsTest, PercentileForgetsToo)
{
    RecentDurations durations;
    durations.Measure(LATER, 5000);
    durations.Measure(LATER + RecentDurations::SPAN, 10);
    durations.See(LATER + RecentDurations::SPAN, 9000);
    EXPECT_EQ(durations.Percentile(LATER + 2 * RecentDurations::SPAN, 1000), 10);
}

TEST(RecentDurationsTest, AfterALongQuietTimeNothingIsLeft)
{
    RecentDurations durations;
    durations.Measure(LATER, 5000);
    const std::int64_t nMuchLater = LATER + 100 * RecentDurations::SPAN;
    EXPECT_EQ(durations.Longest(nMuchLater), 0);
    EXPECT_EQ(durations.Percentile(nMuchLater, 990), 0);
    EXPECT_EQ(durations.Measured(), 1U) << "since the beginning";
    EXPECT_EQ(durations.Sum(), 5000);
}

}  // namespace
}  // namespace NS_UTIL
