#include "server/serving/occasionally.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

TEST(OccasionallyTest, FirstEventIsToldAndTheRestOfThePeriodIsCounted)
{
    Occasionally::Clock::time_point now;
    Occasionally events(std::chrono::minutes(1), [&now] { return now; });
    EXPECT_EQ(events.Count(), 1u);
    EXPECT_EQ(events.Count(), 0u);
    now += std::chrono::seconds(59);
    EXPECT_EQ(events.Count(), 0u);
    now += std::chrono::seconds(1);
    EXPECT_EQ(events.Count(), 3u);
    EXPECT_EQ(events.Count(), 0u);
    now += std::chrono::hours(1);
    EXPECT_EQ(events.Count(), 2u);
}

}  // namespace
}  // namespace northbound
