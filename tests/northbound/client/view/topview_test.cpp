#include "client/view/topview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/view/columns.h"

namespace northbound {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

Northbound::PoolReport Report(std::vector<Northbound::Pool> pools)
{
    Northbound::PoolReport report{};
    report.pools.length(static_cast<CORBA::ULong>(pools.size()));
    for (std::size_t i = 0; i < pools.size(); ++i) report.pools[static_cast<CORBA::ULong>(i)] = pools[i];
    return report;
}

Northbound::Pool Pool(unsigned int nNumber, unsigned int nBusy, unsigned long long nQueued)
{
    Northbound::Pool pool{};
    pool.number = nNumber;
    pool.workers = 4;
    pool.started = 4;
    pool.busy = nBusy;
    pool.queued = nQueued;
    pool.mostQueued = nQueued;
    return pool;
}

TEST(SparklineTest, HighestValueIsAFullBlockAndNothingIsABlank)
{
    EXPECT_EQ(Sparkline({0, 1, 70}, 10), " ▁█");
    EXPECT_EQ(Sparkline({}, 10), "");
    EXPECT_EQ(Sparkline({0, 0}, 10), "  ");
}

TEST(SparklineTest, OldestValuesAreLeftOut)
{
    EXPECT_EQ(Sparkline({100, 1, 1}, 2), "██");
    EXPECT_EQ(Sparkline({100, 1, 1}, 0), "");
}

TEST(TopViewTest, WithoutPoolsSaysSo)
{
    TopView view;
    view.Note(Report({}));
    EXPECT_THAT(view.Lines({}, 80), ElementsAre("no pool has worked yet"));
}

TEST(TopViewTest, PoolsWithTheMostToDoComeFirst)
{
    TopView view;
    view.Note(Report({Pool(0, 1, 0), Pool(1, 4, 2), Pool(2, 4, 9), Pool(3, 1, 0)}));
    EXPECT_THAT(
        view.Lines({}, 80),
        ElementsAre(StartsWith("pool 2  [####################] 4/4 busy  9 queued"), StartsWith("pool 1  "),
                    StartsWith("pool 0  [#####..............."), StartsWith("pool 3  ")));
}

TEST(TopViewTest, LineOfWaitingFitsTheScreenAndRemembersTheHighest)
{
    TopView view;
    Northbound::Pool pool = Pool(0, 0, 0);
    for (int i = 0; i < 400; ++i) {
        pool.waiting.p99 = i == 390 ? 20'000'000 : 5'000'000;
        view.Note(Report({pool}));
    }
    const std::vector<std::string> lines = view.Lines({}, 60);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[1], StartsWith("  waited 5.0 ms, at most 20 ms "));
    EXPECT_EQ(ColumnsOf(lines[1]), 60U);
    EXPECT_NE(lines[1].find("█"), std::string::npos);
}

TEST(TopViewTest, WaitersAndCollectionsStandBelowThePools)
{
    TopView view;
    Northbound::PoolReport report = Report({Pool(2, 1, 0)});
    report.waiting = 3;
    report.waitingLong = 1;
    view.Note(report);
    Northbound::HugeTaskList tasks;
    tasks.length(1);
    tasks[0].dn = "ne=host,port=eth0";
    tasks[0].user = "anna";
    tasks[0].samplesTaken = 1;
    tasks[0].samplesPlanned = 2;
    const std::vector<std::string> lines = view.Lines(tasks, 80);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1], "3 threads wait for a task's end, 1 of them for more than a minute");
    EXPECT_THAT(lines[2], StartsWith("  eth0 for anna"));
}

}  // namespace
}  // namespace northbound
