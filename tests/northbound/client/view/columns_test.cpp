#include "client/view/columns.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

using Lines = std::vector<std::string>;

const std::string ACUTE = "\xCC\x81";  // combines with the letter before it

TEST(ColumnsTest, CharactersTakeWhatTheTerminalGivesThem)
{
    EXPECT_EQ(ColumnsOf(""), 0u);
    EXPECT_EQ(ColumnsOf("abc"), 3u);
    EXPECT_EQ(ColumnsOf("\xC3\xA4"), 1u);
    EXPECT_EQ(ColumnsOf("端口"), 4u);
    EXPECT_EQ(ColumnsOf("ｅ"), 2u);
    EXPECT_EQ(ColumnsOf("e" + ACUTE), 1u);
    EXPECT_EQ(ColumnsOf(ACUTE + "e"), 1u);
}

TEST(ColumnsTest, BytesThatAreNoTextCountOneEach)
{
    EXPECT_EQ(ColumnsOf("a\xFF\xC3"), 3u);
    EXPECT_EQ(ColumnsOf(std::string("a\0b", 3)), 3u);
}

TEST(ColumnsTest, CutTellsThatThereIsMore)
{
    EXPECT_EQ(CutTo(3, "abc"), "abc");
    EXPECT_EQ(CutTo(3, "abcd"), "ab~");
    EXPECT_EQ(CutTo(1, "abcd"), "~");
    EXPECT_EQ(CutTo(0, "abcd"), "");
    EXPECT_EQ(CutTo(0, ""), "");
}

TEST(ColumnsTest, CutSplitsNoCharacterAndLeavesAccentsWhereTheyBelong)
{
    EXPECT_EQ(CutTo(4, "端口号"), "端~");
    EXPECT_EQ(CutTo(5, "端口号"), "端口~");
    EXPECT_EQ(CutTo(2, "端口号"), "~");
    EXPECT_EQ(CutTo(2, "e" + ACUTE + "ab"), "e" + ACUTE + "~");
}

TEST(ColumnsTest, WrappedAtBlanks)
{
    EXPECT_EQ(Wrapped("one two three", 7), (Lines{"one two", "three"}));
    EXPECT_EQ(Wrapped("one", 7), Lines{"one"});
    EXPECT_EQ(Wrapped("", 7), Lines{""});
}

TEST(ColumnsTest, WordThatIsTooLongIsBroken)
{
    EXPECT_EQ(Wrapped("a 0123456789 b", 4), (Lines{"a", "0123", "4567", "89 b"}));
    EXPECT_EQ(Wrapped("端口号码", 5), (Lines{"端口", "号码"}));
}

TEST(ColumnsTest, LongestWordIsWhatBlanksEnclose)
{
    EXPECT_EQ(ColumnsOfLongestWord("one three two"), 5u);
    EXPECT_EQ(ColumnsOfLongestWord("one 端口号"), 6u);
    EXPECT_EQ(ColumnsOfLongestWord(" "), 0u);
}

}  // namespace
}  // namespace northbound
