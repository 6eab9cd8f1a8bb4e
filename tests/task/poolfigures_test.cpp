// What a pool counts by itself; poolsnapshot_test has what a pool with workers shows.
#include "task/poolfigures.h"

#include <gtest/gtest.h>

#include <chrono>
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

std::int64_t SteadyNow()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

TEST(PoolFiguresTest, ClockIsTheSteadyOneButForATick)
{
    const std::int64_t nBefore = SteadyNow();
    const std::int64_t nNow = PoolFigures::Now();
    EXPECT_LE(nNow, SteadyNow());
    EXPECT_GE(nNow, nBefore - 1'000'000'000);  // late where the core that keeps the time is held up
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

TEST(PoolFiguresTest, SixteenOfATickAndEvery64thAreMeasured)
{
    PoolFigures figures;
    const std::int64_t nNow = PoolFigures::Now();
    std::uint64_t nOrder = 0;
    for (unsigned int i = 0; i < 1000; ++i) {
        nOrder = figures.Push(nNow);
        ASSERT_EQ((nOrder & PoolFigures::MEASURED) != 0, i < 16 || i % 64 == 0) << i;
    }
    const auto nLast = static_cast<std::int64_t>(nOrder & ~PoolFigures::MARKS);
    EXPECT_EQ(figures.Push(nLast) & PoolFigures::MEASURED, 0U) << "no later than the last one";
    EXPECT_NE(figures.Push(nLast + 5) & PoolFigures::MEASURED, 0U);
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
    EXPECT_EQ(SnapshotOf(figures).m_nMostQueued, 0U);
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
    const std::int64_t nBegin = PoolFigures::Now();
    const std::uint64_t nOrder = figures.Push(nBegin) & ~PoolFigures::MARKS;
    figures.Take(task, nOrder, true);
    EXPECT_GE(worker.m_nSince, nBegin);
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

TEST(PoolFiguresTest, LongestIsSeenOfTasksThatAreNotMeasuredToo)
{
    constexpr std::int64_t HOUR = 3600 * std::int64_t{1'000'000'000};
    PoolFigures figures;
    PoolFigures::Worker worker;
    figures.Enter(worker);
    AD ad;
    const nbitest::TestTask task(ad);
    figures.Take(task, static_cast<std::uint64_t>(PoolFigures::Now() - HOUR) & ~PoolFigures::MARKS, true);
    EXPECT_GE(SnapshotOf(figures).m_Waiting.m_Longest, std::chrono::nanoseconds(HOUR));
    figures.End(task, false, worker.m_nSince + 2 * HOUR);
    EXPECT_EQ(SnapshotOf(figures).m_Running.m_Longest, std::chrono::nanoseconds(2 * HOUR));
    EXPECT_EQ(SnapshotOf(figures).m_Waiting.m_nMeasured + SnapshotOf(figures).m_Running.m_nMeasured, 0U);
    figures.Leave(worker);
}

TEST(PoolFiguresTest, PercentilesAreTheMedianAndThatOf99InAHundred)
{
    PoolFigures figures;
    AD ad;
    const nbitest::TestTask task(ad);
    const auto wait = [&](int nTasks, std::int64_t nSeconds) {
        for (int i = 0; i < nTasks; ++i) {
            const std::int64_t nPushed = SteadyNow() - nSeconds * 1'000'000'000;
            figures.Take(task,
                         (static_cast<std::uint64_t>(nPushed) & ~PoolFigures::MARKS) | PoolFigures::MEASURED,
                         false);
        }
    };
    wait(499, 1);
    wait(491, 100);
    wait(10, 10000);
    const TaskTimes waiting = SnapshotOf(figures).m_Waiting;
    EXPECT_EQ(waiting.m_nMeasured, 1000U);
    EXPECT_GE(waiting.m_Median, std::chrono::seconds(100));
    EXPECT_LT(waiting.m_P99, std::chrono::seconds(10000));
    wait(1, 1);
    wait(1, 10000);
    EXPECT_GE(SnapshotOf(figures).m_Waiting.m_P99, std::chrono::seconds(10000));
}

TEST(PoolFiguresTest, TaskThatCameLaterThanNowHasNotWaited)
{
    PoolFigures figures;
    const auto nLater = static_cast<std::uint64_t>(SteadyNow() + 3600 * std::int64_t{1'000'000'000});
    PoolSnapshot snapshot;
    figures.ReadInto(snapshot, &nLater);
    EXPECT_EQ(snapshot.m_OldestQueued.count(), 0);
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
