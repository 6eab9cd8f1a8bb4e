#include "client/view/progressview.h"

#include <gtest/gtest.h>

#include "client/view/columns.h"

namespace northbound {
namespace {

TEST(ProgressBarTest, BarIsFullOnlyAtTheEnd)
{
    EXPECT_EQ(ProgressBar(0, 10), "[....................] 0/10");
    EXPECT_EQ(ProgressBar(5, 10), "[##########..........] 5/10");
    EXPECT_EQ(ProgressBar(99, 100), "[###################.] 99/100");
    EXPECT_EQ(ProgressBar(10, 10), "[####################] 10/10");
}

TEST(ProgressBarTest, FiguresThatCannotBeStayInTheBar)
{
    EXPECT_EQ(ProgressBar(0, 0), "[....................] 0/0");
    EXPECT_EQ(ProgressBar(11, 10), "[####################] 11/10");
}

Northbound::HugeTask Task(const char* pUser)
{
    Northbound::HugeTask task;
    task.dn = "ne=host,port=eth0";
    task.user = pUser;
    task.samplesTaken = 5;
    task.samplesPlanned = 10;
    return task;
}

TEST(ProgressLineTest, BarGetsShorterWithTheScreen)
{
    EXPECT_EQ(ProgressLine(Task("anna"), 80), "  eth0 for anna  [##########..........] 5/10");
    EXPECT_EQ(ProgressLine(Task("anna"), 30), "  eth0 for anna  [###...] 5/10");
    EXPECT_EQ(ProgressLine(Task("anna"), 28), "  eth0 for anna  [##..] 5/10");
}

TEST(ProgressLineTest, CountIsTheLastToGo)
{
    EXPECT_EQ(ProgressLine(Task("anna"), 27), "  eth0 for anna 5/10");
    EXPECT_EQ(ProgressLine(Task("anna"), 12), "  eth0~ 5/10");
    EXPECT_EQ(ProgressLine(Task("anna"), 3), " 5/10");  // the view cuts it
}

TEST(ProgressLineTest, NeverTakesMoreColumnsThanThereAre)
{
    for (std::size_t nColumns = 6; nColumns < 60; ++nColumns) {
        EXPECT_LE(ColumnsOf(ProgressLine(Task("测试用户"), nColumns)), nColumns);
    }
}

}  // namespace
}  // namespace northbound
