// What a pool counts by itself; poolsnapshot_test has what a pool with workers shows.
#include "task/poolfigures.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "nbiutil/poolsnapshot.h"
#include "support/tasks.h"

namespace NS_UTIL {
namespace {

using Refused = std::map<unsigned int, std::uint64_t>;

PoolSnapshot SnapshotOf(PoolFigures& figures)
{
    PoolSnapshot snapshot;
    figures.ReadInto(snapshot, nullptr);
    return snapshot;
}

TEST(PoolFiguresTest, PlacesInTheOrderRiseWhateverTheClockTicks)
{
    PoolFigures figures;
    std::uint64_t nLast = 0;
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t nOrder = figures.Push(PoolFigures::Now());
        ASSERT_EQ(nOrder & PoolFigures::QUEUED, 0U);
        ASSERT_GT(nOrder & ~PoolFigures::MARKS, nLast & ~PoolFigures::MARKS);
        nLast = nOrder;
    }
}

TEST(PoolFiguresTest, FirstTasksOfATickAreMeasured)
{
    PoolFigures figures;
    EXPECT_NE(figures.Push(PoolFigures::Now()) & PoolFigures::MEASURED, 0U);
    // A later tick begins anew, so each of a few tasks is measured, however many there were before.
    for (int i = 0; i < 10000; ++i) figures.Push(PoolFigures::Now());
    const auto tickHasPassed = [&figures] {
        const bool bFirst = (figures.Push(PoolFigures::Now()) & PoolFigures::MEASURED) != 0;
        return bFirst && (figures.Push(PoolFigures::Now()) & PoolFigures::MEASURED) != 0;
    };
    EXPECT_TRUE(nbitest::Eventually(tickHasPassed));
}

TEST(PoolFiguresTest, ManyTasksAreMeasuredBySample)
{
    PoolFigures figures;
    constexpr unsigned int TASKS = 1'000'000;
    unsigned int nMeasured = 0;
    for (unsigned int i = 0; i < TASKS; ++i) {
        nMeasured += (figures.Push(PoolFigures::Now()) & PoolFigures::MEASURED) != 0 ? 1 : 0;
    }
    // 16 of each tick beside those of the sample: how many ticks there are depends on the machine.
    EXPECT_GE(nMeasured, TASKS / PoolFigures::MEASURED_ONE_OF);
}

TEST(PoolFiguresTest, MostQueuedStays)
{
    PoolFigures figures;
    figures.EnterQueue();
    figures.EnterQueue();
    figures.LeaveQueue();
    EXPECT_EQ(SnapshotOf(figures).m_nQueued, 1U);
    EXPECT_EQ(SnapshotOf(figures).m_nMostQueued, 2U);
}

TEST(PoolFiguresTest, RefusalsStandUnderTheirCodes)
{
    PoolFigures figures;
    EXPECT_EQ(SnapshotOf(figures).m_Refused, Refused{});
    figures.Refuse(7);
    figures.Refuse(5);
    figures.Refuse(7);
    EXPECT_EQ(SnapshotOf(figures).m_Refused, (Refused{{5, 1}, {7, 2}}));
}

TEST(PoolFiguresTest, MoreCodesThanThereIsRoomForCountTogether)
{
    PoolFigures figures;
    for (unsigned int nCode = 1; nCode <= PoolFigures::CODES + 2; ++nCode) figures.Refuse(nCode);
    const Refused refused = SnapshotOf(figures).m_Refused;
    EXPECT_EQ(refused.size(), PoolFigures::CODES + 1);
    EXPECT_EQ(refused.at(PoolFigures::CODES), 1U);
    EXPECT_EQ(refused.at(0), 2U);
}

TEST(PoolFiguresTest, WorkersComeAndGoInAnyOrder)
{
    PoolFigures figures;
    PoolFigures::Worker first;
    PoolFigures::Worker second;
    PoolFigures::Worker third;
    for (PoolFigures::Worker* const pWorker : {&first, &second, &third}) figures.Enter(*pWorker);
    EXPECT_EQ(third.m_nNumber, 3U);
    EXPECT_EQ(SnapshotOf(figures).m_nStarted, 3U);
    for (PoolFigures::Worker* const pWorker : {&second, &third, &first}) figures.Leave(*pWorker);
    EXPECT_EQ(SnapshotOf(figures).m_nStarted, 0U);
    EXPECT_EQ(figures.Longest(), nullptr);
}

TEST(PoolFiguresTest, TaskThatAWorkerTakesAtOnceBeginsWhenTheOneBeforeEnded)
{
    PoolFigures figures;
    PoolFigures::Worker worker;
    figures.Enter(worker);
    AD ad;
    const nbitest::TestTask task(ad);
    const std::uint64_t nOrder = figures.Push(PoolFigures::Now()) & ~PoolFigures::MARKS;
    figures.Take(task, nOrder, true);
    const std::int64_t nEnd = worker.m_nSince - 5;  // which no clock reads any more
    figures.End(task, false, nEnd);
    figures.Take(task, nOrder, true);
    EXPECT_EQ(worker.m_nSince, nEnd);
    figures.End(task, false, nEnd);
    PoolFigures::ForgetReturn();
    figures.Take(task, nOrder, true);
    EXPECT_GT(worker.m_nSince, nEnd);
    EXPECT_EQ(SnapshotOf(figures).m_nBusy, 1U);
    figures.End(task, false, nEnd);
    figures.Leave(worker);
}

TEST(PoolFiguresTest, TaskThatACallerTakesIsInNoWorkersHands)
{
    PoolFigures figures;
    PoolFigures::Worker worker;
    figures.Enter(worker);
    AD ad;
    const nbitest::TestTask task(ad);
    figures.Take(task, figures.Push(PoolFigures::Now()), false);
    EXPECT_EQ(figures.Longest(), nullptr);
    EXPECT_EQ(SnapshotOf(figures).m_Waiting.m_nMeasured, 1U);
    figures.End(task, false, PoolFigures::Now());
    EXPECT_EQ(SnapshotOf(figures).m_nFinished, 1U);
    EXPECT_EQ(SnapshotOf(figures).m_Running.m_nMeasured, 0U);
    figures.Leave(worker);
}

}  // namespace
}  // namespace NS_UTIL
