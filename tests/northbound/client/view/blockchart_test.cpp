#include "client/view/blockchart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "client/view/columns.h"

namespace northbound {
namespace {

using ::testing::ElementsAre;

/// One value a second, from noon on.
Curve Of(const std::vector<std::optional<double>>& values)
{
    Curve curve{"rxBytes", "bytes/s", {}};
    double time = 1'000'000'000 - 6400;  // 2001-09-09 00:00:00
    for (const std::optional<double>& value : values) {
        curve.m_Spans.push_back({time, time + 1, value});
        time += 1;
    }
    return curve;
}

TEST(BlockChartTest, HasTwoAxesAndBlanksWhereNothingWasRead)
{
    EXPECT_THAT(BlockChart(Of({0.0, 256.0, 512.0, std::nullopt}), 29),
                ElementsAre("rxBytes: 256 B/s on average,~",
                            "512 B/s │          █████     ",  //
                            "        │          █████     ",  //
                            "        │          █████     ",  //
                            "        │     ██████████     ",  //
                            "        │     ██████████     ",  //
                            "      0 │▁▁▁▁▁██████████     ",  //
                            "        └────────────────────",  //
                            "         00:00:00 00:00:04 U~"));
}

TEST(BlockChartTest, NoLineIsWiderThanTheTerminal)
{
    const Curve curve = Of({1.0, 2.0, 3.0, 1e12});
    for (const std::size_t nColumns : {5U, 20U, 80U, 200U}) {
        for (const std::string& line : BlockChart(curve, nColumns)) {
            EXPECT_LE(ColumnsOf(line), nColumns) << line;
        }
    }
}

TEST(BlockChartTest, NothingButZeroIsALine)
{
    const std::vector<std::string> lines = BlockChart(Of({0.0, 0.0}), 30);
    EXPECT_EQ(lines[5], "      │" + std::string(23, ' '));
    EXPECT_EQ(lines[6].find("    0 │▁▁▁▁"), 0U) << lines[6];
}

TEST(BlockChartTest, FigureThatWasNeverReadSaysSo)
{
    EXPECT_EQ(BlockChart(Of({std::nullopt}), 80)[0], "rxBytes: nothing was read");
}

}  // namespace
}  // namespace northbound
