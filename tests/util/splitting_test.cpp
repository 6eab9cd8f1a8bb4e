// SplitStringByTag().
#include <gtest/gtest.h>
#include <malloc.h>

#include <ostream>
#include <string>
#include <vector>

#include "nbiutil/conversions.h"

namespace NS_UTIL {
namespace {

using Texts = std::vector<std::string>;

struct Split {
    bool m_bResult;
    Texts m_Pieces;
    bool operator==(const Split& other) const
    {
        return m_bResult == other.m_bResult && m_Pieces == other.m_Pieces;
    }
};
std::ostream& operator<<(std::ostream& out, const Split& split)
{
    out << std::boolalpha << split.m_bResult;
    for (const std::string& piece : split.m_Pieces) out << " \"" << piece << '"';
    return out;
}

Split SplitBy(const std::string& text, unsigned int nFlags, char separator = ',')
{
    Split split{};
    split.m_bResult = SplitStringByTag(text, split.m_Pieces, separator, static_cast<unsigned short>(nFlags));
    return split;
}

constexpr unsigned int KEEP = SPLIT_KEEP_EMPTY;
constexpr unsigned int LEADING = SPLIT_LEADING_TAG;
constexpr unsigned int TRAILING = SPLIT_TRAILING_TAG;

TEST(SplitStringByTagTest, FlagsHaveTheirBits)
{
    EXPECT_EQ(KEEP, 1u);
    EXPECT_EQ(LEADING, 2u);
    EXPECT_EQ(TRAILING, 4u);
}

TEST(SplitStringByTagTest, PiecesAreTrimmed)
{
    EXPECT_EQ(SplitBy("a, b ,c", 0), (Split{true, {"a", "b", "c"}}));
    EXPECT_EQ(SplitBy("\ta b\r\n", 0), (Split{true, {"a b"}}));
    EXPECT_EQ(SplitBy("[a],{b}", 0), (Split{true, {"[a]", "{b}"}}));
}

TEST(SplitStringByTagTest, EmptyTextFailsWhateverTheFlags)
{
    for (unsigned int nFlags = 0; nFlags < 8; ++nFlags) EXPECT_EQ(SplitBy("", nFlags), (Split{false, {}}));
}

TEST(SplitStringByTagTest, TextWithoutSeparatorIsOnePiece)
{
    EXPECT_EQ(SplitBy("abc", 0), (Split{true, {"abc"}}));
    EXPECT_EQ(SplitBy("abc", KEEP), (Split{true, {"abc"}}));
}

TEST(SplitStringByTagTest, EmptyPieceFailsWithoutBit0AndEarlierPiecesStay)
{
    EXPECT_EQ(SplitBy("a,,b", 0), (Split{false, {"a"}}));
    EXPECT_EQ(SplitBy("a, \t,b", 0), (Split{false, {"a"}}));
    EXPECT_EQ(SplitBy(" ", 0), (Split{false, {}}));
    EXPECT_EQ(SplitBy(",,a", 0), (Split{false, {}}));
    EXPECT_EQ(SplitBy("a,,", 0), (Split{false, {"a"}}));
}

TEST(SplitStringByTagTest, EmptyPieceIsKeptWithBit0)
{
    EXPECT_EQ(SplitBy("a,,b", KEEP), (Split{true, {"a", "", "b"}}));
    EXPECT_EQ(SplitBy("a, ,b", KEEP), (Split{true, {"a", "", "b"}}));
    EXPECT_EQ(SplitBy(" ", KEEP), (Split{true, {""}}));
}

TEST(SplitStringByTagTest, LeadingSeparatorIsSkippedWithoutBit0)
{
    EXPECT_EQ(SplitBy(",a", 0), (Split{true, {"a"}}));
    EXPECT_EQ(SplitBy(" ,a", 0), (Split{false, {}}));  // not at position 0: an empty piece
}

TEST(SplitStringByTagTest, LeadingSeparatorMakesAnEmptyFirstPieceWithBit0Alone)
{
    EXPECT_EQ(SplitBy(",a", KEEP), (Split{true, {"", "a"}}));
    EXPECT_EQ(SplitBy(",a,", KEEP | TRAILING), (Split{true, {"", "a"}}));
}

TEST(SplitStringByTagTest, TrailingSeparatorIsSkippedWithoutBit0)
{
    EXPECT_EQ(SplitBy("a,", 0), (Split{true, {"a"}}));
    EXPECT_EQ(SplitBy("a, ", 0), (Split{false, {"a"}}));
}

TEST(SplitStringByTagTest, TrailingSeparatorMakesAnEmptyLastPieceWithBit0Alone)
{
    EXPECT_EQ(SplitBy("a,", KEEP), (Split{true, {"a", ""}}));
    EXPECT_EQ(SplitBy(",a,", KEEP | LEADING), (Split{true, {"a", ""}}));
}

TEST(SplitStringByTagTest, Bit1DemandsALeadingSeparatorAndSkipsIt)
{
    EXPECT_EQ(SplitBy(",a", KEEP | LEADING), (Split{true, {"a"}}));
    EXPECT_EQ(SplitBy(",,a", KEEP | LEADING), (Split{true, {"", "a"}}));
    EXPECT_EQ(SplitBy("a,b", KEEP | LEADING), (Split{false, {}}));
}

TEST(SplitStringByTagTest, Bit2DemandsATrailingSeparatorAndSkipsIt)
{
    EXPECT_EQ(SplitBy("a,", KEEP | TRAILING), (Split{true, {"a"}}));
    EXPECT_EQ(SplitBy("a,,", KEEP | TRAILING), (Split{true, {"a", ""}}));
    EXPECT_EQ(SplitBy("a,b", KEEP | TRAILING), (Split{false, {}}));
}

TEST(SplitStringByTagTest, Bits1And2CountOnlyTogetherWithBit0)
{
    for (const unsigned int nFlags : {LEADING, TRAILING, LEADING | TRAILING}) {
        EXPECT_EQ(SplitBy("a,b", nFlags), (Split{true, {"a", "b"}}));
        EXPECT_EQ(SplitBy(",a,", nFlags), (Split{true, {"a"}}));
        EXPECT_EQ(SplitBy("a,,b", nFlags), (Split{false, {"a"}}));
    }
}

TEST(SplitStringByTagTest, BitsAbove2HaveNoMeaning)
{
    EXPECT_EQ(SplitBy("a,,b", 0xFFF8), (Split{false, {"a"}}));
    EXPECT_EQ(SplitBy("a,,b", 0xFFF8 | KEEP), (Split{true, {"a", "", "b"}}));
}

TEST(SplitStringByTagTest, LoneSeparator)
{
    EXPECT_EQ(SplitBy(",", 0), (Split{true, {}}));
    EXPECT_EQ(SplitBy(",", KEEP), (Split{true, {"", ""}}));
    EXPECT_EQ(SplitBy(",", KEEP | LEADING), (Split{true, {""}}));
    EXPECT_EQ(SplitBy(",", KEEP | TRAILING), (Split{true, {""}}));
    EXPECT_EQ(SplitBy(",", KEEP | LEADING | TRAILING), (Split{true, {}}));
}

TEST(SplitStringByTagTest, SeparatorMayBeABlankOrAnyByte)
{
    EXPECT_EQ(SplitBy(" a b ", 0, ' '), (Split{true, {"a", "b"}}));
    EXPECT_EQ(SplitBy(std::string("a\0b", 3), 0, '\0'), (Split{true, {"a", "b"}}));
    EXPECT_EQ(SplitBy("a\xFF"
                      "b",
                      0, '\xFF'),
              (Split{true, {"a", "b"}}));
}

TEST(SplitStringByTagTest, PiecesAreAppended)
{
    Texts pieces{"here"};
    EXPECT_TRUE(SplitStringByTag("a,b", pieces, ',', 0));
    EXPECT_EQ(pieces, (Texts{"here", "a", "b"}));
}

TEST(SplitStringByTagTest, TextMayBeAnElementOfTheOutput)
{
    Texts pieces{"a,b,c,d,e,f,g,h, a long piece that fits no short text"};
    pieces.shrink_to_fit();
    EXPECT_TRUE(SplitStringByTag(pieces[0], pieces, ',', 0));
    EXPECT_EQ(pieces.size(), 10u);
    EXPECT_EQ(pieces.back(), "a long piece that fits no short text");
}

TEST(SplitStringByTagTest, ShortTextMayBeAnElementOfTheOutput)
{
    Texts pieces(100, "a,b,c");  // their characters lie in the vector itself, which has to grow
    pieces.shrink_to_fit();
    mallopt(M_PERTURB, 0xA5);  // what is freed is written over
    EXPECT_TRUE(SplitStringByTag(pieces[0], pieces, ',', 0));
    mallopt(M_PERTURB, 0);
    EXPECT_EQ(Texts(pieces.begin() + 100, pieces.end()), (Texts{"a", "b", "c"}));
}

}  // namespace
}  // namespace NS_UTIL
