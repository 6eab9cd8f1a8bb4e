#include "server/serving/recurring.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "support/eventually.h"

namespace northbound {
namespace {

using namespace std::chrono_literals;

TEST(RecurringTest, WorkIsDoneAtOnceAndAgainWhenItIsDue)
{
    std::atomic<int> nDone{0};
    const Recurring work([&nDone] {
        ++nDone;
        return 1ms;
    });
    EXPECT_TRUE(nbitest::Eventually([&nDone] { return nDone >= 3; }));
}

TEST(RecurringTest, WorkThatIsWokenIsDoneBeforeItIsDue)
{
    std::atomic<int> nDone{0};
    Recurring work([&nDone] {
        ++nDone;
        return 1h;
    });
    for (int i = 1; i <= 3; ++i) {
        EXPECT_TRUE(nbitest::Eventually([&] { return nDone >= i; }));
        work.Wake();
    }
    EXPECT_TRUE(nbitest::Eventually([&nDone] { return nDone == 4; }));
}

/// Whoever wakes while the work is under way has come too late for it to see why.
TEST(RecurringTest, WorkThatIsWokenWhileItIsUnderWayIsDoneOnceMore)
{
    std::atomic<int> nBegun{0};
    std::atomic<bool> bGo{false};
    Recurring work([&] {
        ++nBegun;
        while (!bGo) std::this_thread::yield();
        return 1h;
    });
    ASSERT_TRUE(nbitest::Eventually([&nBegun] { return nBegun == 1; }));
    work.Wake();
    bGo = true;
    EXPECT_TRUE(nbitest::Eventually([&nBegun] { return nBegun == 2; }));
}

TEST(RecurringTest, EndDoesNotWaitForThePause)
{
    std::atomic<int> nDone{0};
    {
        const Recurring work([&nDone] {
            ++nDone;
            return 1h;
        });
        EXPECT_TRUE(nbitest::Eventually([&nDone] { return nDone == 1; }));
    }
    EXPECT_EQ(nDone, 1);
}

}  // namespace
}  // namespace northbound
