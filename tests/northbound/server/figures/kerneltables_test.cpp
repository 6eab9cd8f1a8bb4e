#include "server/figures/kerneltables.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace northbound {
namespace {

using Clock = KernelTables::Clock;

class KernelTablesTest : public ::testing::Test {
protected:
    /// The number of the reading that the answer comes from.
    std::string Ask(const std::string& path, Clock::time_point instant)
    {
        return *m_Tables.At(path, instant).m_pTable->Cell("lo", 1);
    }

    std::atomic<int> m_nReadings{0};
    KernelTables m_Tables{[this](const std::string& /*path*/) {
        return TableReading{std::make_shared<const KernelTable>("lo: " + std::to_string(++m_nReadings)), 0};
    }};
};

TEST_F(KernelTablesTest, ReadingOfAnEarlierInstantIsNobodysAndOneOfALaterIsEverybodys)
{
    const Clock::time_point before = Clock::now();
    EXPECT_EQ(Ask("dev", before), "1");
    EXPECT_EQ(Ask("dev", before), "1");
    EXPECT_EQ(Ask("dev", Clock::now()), "2");
    EXPECT_EQ(Ask("dev", before), "2");
}

TEST_F(KernelTablesTest, EachPathHasReadingsOfItsOwn)
{
    const Clock::time_point before = Clock::now();
    EXPECT_EQ(Ask("one", before), "1");
    EXPECT_EQ(Ask("two", before), "2");
    EXPECT_EQ(Ask("one", before), "1");
}

TEST_F(KernelTablesTest, ThreadsThatWantOneInstantCauseOneReading)
{
    const Clock::time_point instant = Clock::now();
    std::vector<std::thread> threads;
    threads.reserve(16);
    for (int i = 0; i < 16; ++i) {
        threads.emplace_back([&] { EXPECT_EQ(Ask("dev", instant), "1"); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(m_nReadings, 1);
}

TEST_F(KernelTablesTest, FailureIsSharedLikeATable)
{
    int nReadings = 0;
    KernelTables tables([&nReadings](const std::string& /*path*/) {
        ++nReadings;
        return TableReading{nullptr, 7};
    });
    const Clock::time_point instant = Clock::now();
    EXPECT_EQ(tables.At("dev", instant).m_nError, 7);
    EXPECT_EQ(tables.At("dev", instant).m_nError, 7);
    EXPECT_EQ(nReadings, 1);
}

}  // namespace
}  // namespace northbound
