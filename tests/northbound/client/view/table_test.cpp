#include "client/view/table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "client/view/progressview.h"

namespace northbound {
namespace {

TEST(TableTest, ColumnsAreAsWideAsTheirWidestCell)
{
    Table table({{"NAME", Table::Align::LEFT}, {"N", Table::Align::RIGHT}, {"END", Table::Align::LEFT}});
    table.Add({"a", "1", "x"});
    table.Add({"longer", "100", ""});
    std::ostringstream out;
    table.Print(out);
    EXPECT_EQ(out.str(),
              "NAME      N  END\n"
              "a         1  x\n"
              "longer  100\n");
}

TEST(TableTest, MissingCellsAreEmpty)
{
    Table table({{"A", Table::Align::LEFT}, {"B", Table::Align::LEFT}});
    table.Add({"1"});
    std::ostringstream out;
    table.Print(out);
    EXPECT_EQ(out.str(), "A  B\n1\n");
}

TEST(TableTest, ControlCharactersDoNotReachTheTerminal)
{
    EXPECT_EQ(Printable("a\033[2Jb\nc\x7F"), "a?[2Jb?c?");
}

TEST(TableTest, BytesThatAreNoUtf8DoNotReachTheTerminal)
{
    EXPECT_EQ(Printable("\xC3\xA4\xC3"), "\xC3\xA4\\xC3");
}

TEST(TableTest, BytesHaveTheUnitThatKeepsThemShort)
{
    EXPECT_EQ(BytesText(0), "0 B");
    EXPECT_EQ(BytesText(1023), "1023 B");
    EXPECT_EQ(BytesText(1536), "1.5 KiB");
    EXPECT_EQ(BytesText(45709182), "43.6 MiB");
    EXPECT_EQ(BytesText(18446744073709551615u), "16.0 EiB");
}

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

}  // namespace
}  // namespace northbound
