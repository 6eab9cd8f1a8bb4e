#include "task/waiters.h"

#include <thread>

#include "nbiutil/poolsnapshot.h"
#include "support/condwaits.h"
#include "support/tasks.h"
#include "task/adtesting.h"

namespace NS_UTIL {
namespace {

using nbitest::Eventually;
using nbitest::ShortSlices;

class WaitersTest : public nbitest::ADTest {};

TEST_F(WaitersTest, FinishedDescriptorMakesNobodyAWaiter)
{
    AD ad;
    ad.Awake();
    ad.Wait();
    EXPECT_EQ(TakeProcessSnapshot().m_nWaiting, 0U);
    EXPECT_EQ(TakeProcessSnapshot().m_nWaitingLong, 0U);
}

TEST_F(WaitersTest, ThreadsThatSleepOnDescriptorsCountUntilTheyAreWoken)
{
    AD ad;
    std::thread first([mine = ad]() mutable { mine.Wait(); });
    std::thread second([mine = ad]() mutable { mine.WaitToComplete(); });
    EXPECT_TRUE(Eventually([] { return TakeProcessSnapshot().m_nWaiting == 2; }));
    EXPECT_EQ(TakeProcessSnapshot().m_nWaitingLong, 0U);
    ad.Awake();
    first.join();
    second.join();
    EXPECT_EQ(TakeProcessSnapshot().m_nWaiting, 0U);
}

TEST_F(WaitersTest, ThreadThatHasSleptForAMinuteCountsTwice)
{
    AD ad;
    const ShortSlices slices;
    std::thread waiter([mine = ad]() mutable { mine.Wait(); });
    EXPECT_TRUE(Eventually([] { return TakeProcessSnapshot().m_nWaitingLong == 1; }));
    EXPECT_EQ(TakeProcessSnapshot().m_nWaiting, 1U);
    EXPECT_GE(slices.Count(), static_cast<std::size_t>(Waiter::LONG_SLICES));
    ad.Awake();
    waiter.join();
    EXPECT_EQ(TakeProcessSnapshot().m_nWaiting, 0U);
    EXPECT_EQ(TakeProcessSnapshot().m_nWaitingLong, 0U);
}

TEST_F(WaitersTest, MinuteIsSixSlicesAndNoLess)
{
    {
        Waiter waiter;
        for (int i = 0; i < 5; ++i) waiter.SliceEnds();
        EXPECT_EQ(Waiter::CountLong(), 0U);
        waiter.SliceEnds();
        EXPECT_EQ(Waiter::CountLong(), 1U);
        waiter.SliceEnds();
        EXPECT_EQ(Waiter::CountLong(), 1U);
    }
    EXPECT_EQ(Waiter::CountLong(), 0U);
    EXPECT_EQ(Waiter::Count(), 0U);
}

TEST_F(WaitersTest, WaitThatEndsWithAFailureCountsNoMore)
{
    AD ad;
    std::thread waiter([mine = ad]() mutable { EXPECT_THROW(mine.Wait(), ProcessException); });
    EXPECT_TRUE(Eventually([] { return TakeProcessSnapshot().m_nWaiting == 1; }));
    ad.SetErrorCode(5);
    ad.Awake();
    waiter.join();
    EXPECT_EQ(TakeProcessSnapshot().m_nWaiting, 0U);
}

}  // namespace
}  // namespace NS_UTIL
