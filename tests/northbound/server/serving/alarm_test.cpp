#include "server/serving/alarm.h"

#include <gtest/gtest.h>

#include "support/eventually.h"

namespace northbound {
namespace {

TEST(AlarmTest, WithoutAnIntervalIsNeverDue)
{
    Alarm alarm(std::chrono::microseconds(0));
    EXPECT_FALSE(alarm.IsDue());
    EXPECT_EQ(alarm.Left(), Alarm::LONGEST_WAIT);
}

TEST(AlarmTest, IsDueOnceAnInterval)
{
    Alarm alarm(std::chrono::hours(1));
    EXPECT_FALSE(alarm.IsDue());
    EXPECT_GT(alarm.Left(), std::chrono::minutes(58));
    EXPECT_LE(alarm.Left(), Alarm::LONGEST_WAIT);
}

TEST(AlarmTest, BeginsAnewWhenItWasDue)
{
    Alarm alarm(std::chrono::microseconds(1));
    EXPECT_TRUE(nbitest::Eventually([&alarm] { return alarm.IsDue(); }));
    EXPECT_TRUE(nbitest::Eventually([&alarm] { return alarm.IsDue(); }));
    EXPECT_LE(alarm.Left(), std::chrono::milliseconds(1)) << "rounded up, so that nobody waits in circles";
}

}  // namespace
}  // namespace northbound
