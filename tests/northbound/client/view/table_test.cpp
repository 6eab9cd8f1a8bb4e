#include "client/view/table.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/pairs.h"

namespace northbound {
namespace {

std::string Printed(const Table& table, const Screen& screen = {})
{
    std::ostringstream out;
    table.Print(out, screen);
    return out.str();
}

TEST(TableTest, ColumnsAreAsWideAsTheirWidestCell)
{
    Table table({{"NAME", Table::Align::LEFT}, {"N", Table::Align::RIGHT}, {"END", Table::Align::LEFT}});
    table.Add({"a", "1", "x"});
    table.Add({"longer", "100", ""});
    EXPECT_EQ(Printed(table),
              "NAME      N  END\n"
              "a         1  x\n"
              "longer  100\n");
}

TEST(TableTest, MissingCellsAreEmpty)
{
    Table table({{"A", Table::Align::LEFT}, {"B", Table::Align::LEFT}});
    table.Add({"1"});
    EXPECT_EQ(Printed(table), "A  B\n1\n");
}

/// A table with a text that may be wrapped, as lines on a screen of this width.
std::string OnScreen(std::size_t nColumns)
{
    Table table(
        {{"NAME", Table::Align::LEFT}, {"N", Table::Align::RIGHT}, {"ALL THE REST", Table::Align::LEFT}});
    table.Add({"first", "1", "some words here"});
    table.Add({"second", "22", ""});
    return Printed(table, Screen{nColumns, 24, false});
}

TEST(TableTest, ThatFitsStaysAsItIs)
{
    EXPECT_EQ(OnScreen(27),
              "NAME     N  ALL THE REST\n"
              "first    1  some words here\n"
              "second  22\n");
}

TEST(TableTest, TextsAreWrappedAtBlanksWhereTheScreenIsTooNarrow)
{
    EXPECT_EQ(OnScreen(22),
              "NAME     N  ALL THE\n"
              "            REST\n"
              "first    1  some words\n"
              "            here\n"
              "second  22\n");
}

TEST(TableTest, RowsAreBlocksWhereWrappingDoesNotHelp)
{
    EXPECT_EQ(OnScreen(16),
              "NAME\n  first\nN\n  1\nALL THE REST\n  some words\n  here\n"
              "\n"
              "NAME\n  second\nN\n  22\n");
    Table table({{"DN"}, {"ID"}});
    table.Add({"0123456789", "0123456789abcdef"});
    EXPECT_EQ(Printed(table, Screen{20, 5, false}),
              "DN  0123456789\n"
              "ID  0123456789abcdef\n");
}

TEST(TableTest, ChineseTextTakesTwoColumnsACharacter)
{
    Table table({{"名称"}, {"N", Table::Align::RIGHT}});
    table.Add({"a", "1"});
    table.Add({"e\xCC\x81t\xC3\xA9", "2"});
    EXPECT_EQ(Printed(table),
              "名称  N\n"
              "a     1\n"
              "e\xCC\x81t\xC3\xA9   2\n");
}

TEST(TableTest, HeadIsBoldOnAScreenThatLikesIt)
{
    Table table({{"A"}});
    table.Add({"1"});
    EXPECT_EQ(Printed(table, Screen{80, 24, true}), "\033[1mA\033[0m\n1\n");
}

TEST(TableTest, ControlCharactersAndBytesThatAreNoUtf8DoNotReachTheTerminal)
{
    nbitest::ExpectEach<std::string>({{"a\033[2Jb\nc\x7F", "a?[2Jb?c?"}, {"\xC3\xA4\xC3", "\xC3\xA4\\xC3"}},
                                     Printable);
}

TEST(TableTest, BytesHaveTheUnitThatKeepsThemShort)
{
    EXPECT_EQ(BytesText(0), "0 B");
    EXPECT_EQ(BytesText(1023), "1023 B");
    EXPECT_EQ(BytesText(1536), "1.5 KiB");
    EXPECT_EQ(BytesText(45709182), "43.6 MiB");
    EXPECT_EQ(BytesText(18446744073709551615u), "16.0 EiB");
}

}  // namespace
}  // namespace northbound
