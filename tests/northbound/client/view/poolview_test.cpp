#include "client/view/poolview.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace northbound {
namespace {

using Texts = std::vector<std::string>;

constexpr std::uint64_t SECOND = 1'000'000'000;

/// One pool of four workers of which none has anything to do.
Northbound::PoolReport Quiet(unsigned int nNumber = 0)
{
    Northbound::PoolReport report;
    report.pools.length(1);
    Northbound::Pool& pool = report.pools[0];
    pool = Northbound::Pool{};
    pool.number = nNumber;
    pool.workers = 4;
    pool.started = 4;
    report.waiting = 0;
    report.waitingLong = 0;
    report.linesLost = 0;
    return report;
}

void RefuseOne(Northbound::Pool& pool)
{
    pool.refused.length(1);
    pool.refused[0].code = 0x4118000A;
    pool.refused[0].count = 1;
}

TEST(DurationTextTest, HasTwoFiguresAtLeastAndTheUnitThatFits)
{
    EXPECT_EQ(DurationText(0), "-");
    EXPECT_EQ(DurationText(999), "999 ns");
    EXPECT_EQ(DurationText(1500), "1.5 us");
    EXPECT_EQ(DurationText(12'345'678), "12 ms");
    EXPECT_EQ(DurationText(3'456'789), "3.4 ms");
    EXPECT_EQ(DurationText(40 * SECOND), "40 s");
    EXPECT_EQ(DurationText(90 * SECOND), "1.5 min");
    EXPECT_EQ(DurationText(5 * 3600 * SECOND), "5.0 h");
    EXPECT_EQ(DurationText(30 * 86400 * SECOND), "30 d");
}

TEST(FindingsTest, QuietServerHasNone)
{
    EXPECT_EQ(Findings(Quiet(), Quiet()), Texts{});
}

TEST(FindingsTest, BusyPoolWhoseBodiesAreShortHasNone)
{
    auto now = Quiet();
    now.pools[0].busy = 4;
    now.pools[0].queued = 1000;
    now.pools[0].longestBody = 9 * SECOND;
    EXPECT_EQ(Findings(Quiet(), now), Texts{});
}

TEST(FindingsTest, QueueBehindLongBodiesTellsTheLongestAndWhetherItGrows)
{
    auto now = Quiet();
    now.pools[0].busy = 4;
    now.pools[0].queued = 3;
    now.pools[0].longestBody = 90 * SECOND;
    now.pools[0].longestOperation = "abc";
    EXPECT_EQ(Findings(now, now),
              Texts{"pool 0: 3 tasks wait while all 4 workers are busy, one for 1.5 min with operation abc"});
    auto before = now;
    before.pools[0].queued = 2;
    EXPECT_EQ(Findings(before, now),
              Texts{"pool 0: its queue grows, now 3, while all 4 workers are busy, one for 1.5 "
                    "min with operation abc"});
}

TEST(FindingsTest, TasksThatWaitBesideFreeWorkersMeanAHungPoolOrALimit)
{
    auto now = Quiet(2);
    now.pools[0].busy = 1;
    now.pools[0].queued = 3;
    now.pools[0].oldestQueued = 4 * SECOND;
    EXPECT_EQ(Findings(now, now), Texts{}) << "a worker may be on its way";
    now.pools[0].oldestQueued = 6 * SECOND;
    EXPECT_EQ(Findings(now, now),
              Texts{"pool 2: 3 tasks wait, the first for 6.0 s, though 3 workers are free: the pool hangs"});
    now.pools[0].bookLimit = 1;
    now.pools[0].inBook = 1;
    EXPECT_EQ(Findings(now, now), Texts{"pool 2: 3 tasks wait, since 1 of 1 huge tasks are running"});
}

TEST(FindingsTest, MissingWorkersAreTold)
{
    auto now = Quiet();
    now.pools[0].started = 3;
    EXPECT_EQ(Findings(now, now), Texts{"pool 0: only 3 of 4 workers have started"});
}

TEST(FindingsTest, FailuresAndRefusalsCountBetweenTheLooks)
{
    auto now = Quiet();
    now.pools[0].failed = 5;
    RefuseOne(now.pools[0]);
    EXPECT_EQ(Findings(now, now), Texts{});
    EXPECT_EQ(Findings(Quiet(), now), (Texts{"pool 0: 5 tasks have failed meanwhile; the log says why",
                                             "pool 0: 1 tasks were refused meanwhile"}));
    EXPECT_EQ(Findings(Quiet(7), now), Texts{}) << "a pool that was not there has no before";
}

TEST(FindingsTest, LongWaitersAndLostLinesAreTold)
{
    auto now = Quiet();
    now.waiting = 9;
    now.waitingLong = 2;
    now.linesLost = 7;
    EXPECT_EQ(Findings(now, now), (Texts{"2 threads have waited for a task's end for more than a minute",
                                         "7 log lines are lost: is the disk full?"}));
}

TEST(PoolsToJsonTest, HasEveryFigure)
{
    auto report = Quiet(2);
    RefuseOne(report.pools[0]);
    report.pools[0].waiting.p99 = 12;
    EXPECT_EQ(
        ToJson(report),
        R"({"pools":[{"number":2,"workers":4,"started":4,"busy":0,"queued":0,"mostQueued":0,"pushed":0,)"
        R"("finished":0,"failed":0,"dropped":0,"deferred":0,"refused":{"0x4118000A":1},)"
        R"("waiting":{"median":0,"p99":12,"longest":0},"running":{"median":0,"p99":0,"longest":0},)"
        R"("oldestQueued":0,"longestBody":0,"longestOperation":"","inBook":0,"bookLimit":0}],)"
        R"("waiting":0,"waitingLong":0,"linesLost":0})");
}

}  // namespace
}  // namespace northbound
