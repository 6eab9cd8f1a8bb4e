// A service manager that waits for beats, and pools of several kinds.
#include "server/serving/heartbeat.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "nbihost/recordinghost.h"
#include "northbound/servicesocket.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

using NS_UTIL::PoolSnapshot;
using std::chrono::hours;
using std::chrono::seconds;

constexpr const char* BEAT = "WATCHDOG=1";

class HeartbeatTest : public ::testing::Test {
protected:
    ~HeartbeatTest() override { unsetenv("WATCHDOG_USEC"); }

    /// A minute, so that a beat is due every half.
    static const char* WithWatchdog()
    {
        setenv("WATCHDOG_USEC", "60000000", 1);
        return "manager";
    }

    static PoolSnapshot Idle(unsigned int nNumber)
    {
        PoolSnapshot pool;
        pool.m_nNumber = nNumber;
        pool.m_nWorkers = 4;
        pool.m_nStarted = 4;
        return pool;
    }

    /// \param oldest how long the first of \p nQueued tasks has waited
    static PoolSnapshot Loaded(unsigned int nNumber, unsigned int nBusy, unsigned long long nQueued,
                               std::chrono::nanoseconds oldest)
    {
        PoolSnapshot pool = Idle(nNumber);
        pool.m_nBusy = nBusy;
        pool.m_nQueued = nQueued;
        pool.m_OldestQueued = oldest;
        return pool;
    }

    /// What arrives of one beat, and of a state after it that tells its end.
    std::vector<std::string> BeatOf(const PoolSnapshot& pool)
    {
        m_Heartbeat.Beat({pool});
        m_Manager.Tell("READY=1");
        std::vector<std::string> states;
        for (std::string state = m_Socket.Next(); state != "READY=1" && !state.empty();
             state = m_Socket.Next()) {
            states.push_back(state);
        }
        return states;
    }

    nbitest::RecordingHost m_Host;
    const nbitest::TestDirectory m_Directory;
    const ServiceSocket m_Socket{m_Directory / WithWatchdog()};
    const ServiceManager m_Manager;
    Heartbeat m_Heartbeat{m_Manager};
};

using States = std::vector<std::string>;

TEST_F(HeartbeatTest, StatusIsToldWhenItChanges)
{
    EXPECT_EQ(BeatOf(Idle(0)), (States{"STATUS=pool 0: 0 of 4 busy", BEAT}));
    EXPECT_EQ(BeatOf(Idle(0)), States{BEAT});
}

TEST_F(HeartbeatTest, ServerWithoutPoolsBeatsWithoutAStatus)
{
    m_Heartbeat.Beat({});
    EXPECT_EQ(m_Socket.Next(), BEAT);
}

TEST_F(HeartbeatTest, BodiesOfHoursWithAQueueBehindThemEndNoServer)
{
    PoolSnapshot pool = Loaded(1, 4, 9, hours(5));
    pool.m_LongestBody = hours(6);
    EXPECT_EQ(BeatOf(pool), (States{"STATUS=pool 1: 4 of 4 busy, 9 queued, one for 360 min", BEAT}));
}

TEST_F(HeartbeatTest, TasksThatWaitAtALimitEndNoServer)
{
    PoolSnapshot pool = Loaded(2, 1, 2, hours(5));
    pool.m_bAtLimit = true;
    EXPECT_EQ(BeatOf(pool), (States{"STATUS=pool 2: 1 of 4 busy, 2 queued at a limit", BEAT}));
}

TEST_F(HeartbeatTest, PoolThatLeavesATaskLyingBesideASleepingWorkerGetsNoBeat)
{
    const PoolSnapshot pool = Loaded(0, 3, 1, seconds(31));
    EXPECT_EQ(BeatOf(pool), States{"STATUS=pool 0: 3 of 4 busy, 1 queued, hangs"});
    EXPECT_EQ(BeatOf(pool), States{});
    EXPECT_EQ(BeatOf(Idle(0)), (States{"STATUS=pool 0: 0 of 4 busy", BEAT})) << "it goes on";
}

TEST_F(HeartbeatTest, TaskMayLieForHalfTheTime)
{
    EXPECT_EQ(BeatOf(Loaded(0, 0, 1, seconds(29))), (States{"STATUS=pool 0: 0 of 4 busy, 1 queued", BEAT}));
}

TEST_F(HeartbeatTest, OneHungPoolAmongOthersIsEnough)
{
    EXPECT_TRUE(HealthOf({Idle(1), Loaded(0, 0, 1, seconds(31)), Idle(2)}, seconds(30)).m_bHangs);
    EXPECT_FALSE(HealthOf({Idle(1), Idle(2)}, seconds(30)).m_bHangs);
}

}  // namespace
}  // namespace northbound
