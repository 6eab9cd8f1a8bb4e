// Collections while somebody sets the clock.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <variant>

#include "northbound/server/operations/inprocess.h"
#include "server/figures/machine.h"
#include "server/serving/timetext.h"
#include "support/eventually.h"
#include "support/shiftedclock.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long HOUR = 3600;             // seconds
constexpr unsigned int INTERVAL = 200;  // milliseconds
constexpr unsigned int DURATION = 5 * INTERVAL;

class CollectionClockTest : public ::testing::Test {
protected:
    ~CollectionClockTest() override { nbitest::ShiftClock(0); }

    unsigned int Taken()
    {
        const auto tasks = std::get<HugeTasks::Result>(m_Server.Ask<HugeTasks>({})).m_Items;
        return tasks.empty() ? 0 : tasks[0].m_nTaken;
    }

    /// A collection with the clock set after its second sample.
    void ExpectUndisturbedBy(long nSeconds)
    {
        const Clock::time_point start = Clock::now();
        auto outcome = std::async(std::launch::async, [this] {
            return m_Server.Ask<Collect>({Machine().DistinguishedName("lo"), INTERVAL, DURATION});
        });
        ASSERT_TRUE(nbitest::Eventually([this] { return Taken() >= 2; }));
        const std::string before = TimeText();
        nbitest::ShiftClock(nSeconds);
        EXPECT_NE(TimeText().substr(0, 13), before.substr(0, 13)) << "the clock is not shifted";
        ASSERT_EQ(outcome.wait_for(std::chrono::minutes(1)), std::future_status::ready);
        EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(DURATION)) << "samples came too early";
        EXPECT_EQ(std::get<Collect::Result>(outcome.get()).m_nSamples, DURATION / INTERVAL + 1);
    }

    InProcessServer m_Server;
};

TEST_F(CollectionClockTest, ClockThatIsSetForwardLeavesTheSamplesInTheirPlaces)
{
    ExpectUndisturbedBy(HOUR);
}

TEST_F(CollectionClockTest, ClockThatIsSetBackDoesNotHoldUpACollection)
{
    ExpectUndisturbedBy(-HOUR);
}

}  // namespace
}  // namespace northbound
