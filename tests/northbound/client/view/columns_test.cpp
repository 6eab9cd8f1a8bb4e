#include "client/view/columns.h"

#include <gtest/gtest.h>

#include "support/pairs.h"

namespace northbound {
namespace {

using Lines = std::vector<std::string>;

const std::string ACUTE = "\xCC\x81";  // combines with the letter before it

TEST(ColumnsTest, CharactersTakeWhatTheTerminalGivesThem)
{
    nbitest::ExpectEach<std::size_t>(
        {{"", 0}, {"abc", 3}, {"\xC3\xA4", 1}, {"端口", 4}, {"ｅ", 2}, {"e" + ACUTE, 1}, {ACUTE + "e", 1}},
        ColumnsOf);
}

TEST(ColumnsTest, BytesThatAreNoTextCountOneEach)
{
    nbitest::ExpectEach<std::size_t>({{"a\xFF\xC3", 3}, {std::string("a\0b", 3), 3}}, ColumnsOf);
}

/// What is left of "abcd" and "端口号" in so many columns.
TEST(ColumnsTest, CutTellsThatThereIsMoreAndSplitsNoCharacter)
{
    const Lines latin{"", "~", "a~", "ab~", "abcd"};
    const Lines chinese{"", "~", "~", "端~", "端~", "端口~", "端口号"};
    for (std::size_t n = 0; n < latin.size(); ++n) EXPECT_EQ(CutTo(n, "abcd"), latin[n]);
    for (std::size_t n = 0; n < chinese.size(); ++n) EXPECT_EQ(CutTo(n, "端口号"), chinese[n]);
    EXPECT_EQ(CutTo(0, ""), "");
    EXPECT_EQ(CutTo(2, "e" + ACUTE + "ab"), "e" + ACUTE + "~") << "accents stay where they belong";
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
    nbitest::ExpectEach<std::size_t>({{"one three two", 5}, {"one 端口号", 6}, {" ", 0}},
                                     ColumnsOfLongestWord);
}

}  // namespace
}  // namespace northbound
