#include "nbiutil/conversions.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <string>
#include <vector>

#include "nbihost/trim.h"

namespace NS_UTIL {
namespace {

using Texts = std::vector<std::string>;

// Paths, trims, case

TEST(PathFormatTest, TurnsEveryBackslashAndNothingElse)
{
    std::string path = "C:\\a\\\\b//c\\";
    PathFormat(path);
    EXPECT_EQ(path, "C:/a//b//c/");
}

TEST(TrimTest, TrimsAreTheHosts)
{
    const std::string text = " \t\r\n a b \t\r\n ";
    EXPECT_EQ(Trim(text), "a b");
    EXPECT_EQ(LTrim(text), "a b \t\r\n ");
    EXPECT_EQ(RTrim(text), " \t\r\n a b");
    for (const std::string& any : {std::string("\v\fa\v"), std::string("\0a\0", 3), std::string(), text}) {
        EXPECT_EQ(Trim(any), NS_BUNDLEMGR1::Trim(any));
        EXPECT_EQ(LTrim(any), NS_BUNDLEMGR1::LTrim(any));
        EXPECT_EQ(RTrim(any), NS_BUNDLEMGR1::RTrim(any));
    }
}

TEST(CaseTest, LettersChangeAndAllOtherBytesStay)
{
    EXPECT_EQ(StrLower("AbZ@[`{09 -"), "abz@[`{09 -");
    EXPECT_EQ(StrUpper("aBz@[`{09 -"), "ABZ@[`{09 -");
    EXPECT_EQ(StrLower(""), "");
}

TEST(CaseTest, BytesAbove127AndZeroBytesStay)
{
    std::string every;
    for (int nByte = 128; nByte < 256; ++nByte) every += static_cast<char>(nByte);
    every += '\0';
    EXPECT_EQ(StrLower(every), every);
    EXPECT_EQ(StrUpper(every), every);
}

// Numbers to text

TEST(Int2StrTest, WritesPlainDecimals)
{
    EXPECT_EQ(Int2Str(0), "0");
    EXPECT_EQ(Int2Str(-5), "-5");
    EXPECT_EQ(Int2Str(INT_MAX), "2147483647");
    EXPECT_EQ(Int2Str(INT_MIN), "-2147483648");
}

TEST(Uint2StrTest, WritesPlainDecimals)
{
    EXPECT_EQ(Uint2Str(0), "0");
    EXPECT_EQ(Uint2Str(UINT_MAX), "4294967295");
}

class Grouping : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(NumberTest, GroupingLocaleChangesNothing)
{
    std::locale::global(std::locale(std::locale::classic(), new Grouping));
    EXPECT_EQ(Int2Str(-1234567), "-1234567");
    EXPECT_EQ(Uint2Str(1234567), "1234567");
    EXPECT_EQ(Str2Int("1234567"), 1234567);
    EXPECT_EQ(Str2Int("1.234"), -1);
    EXPECT_EQ(IpLong2Str(167772161), "10.0.0.1");
}

TEST(IsDigitTest, EveryByteMustBeADigit)
{
    EXPECT_TRUE(IsDigit("0123456789"));
    for (const char* pText : {"12 ", " 12", "-1", "+1", "a", "0x1", "1.0", "/", ":"}) {
        EXPECT_FALSE(IsDigit(pText)) << pText;
    }
    EXPECT_FALSE(IsDigit(std::string("1\0", 2)));
    EXPECT_FALSE(IsDigit("\xB2\xB3"));  // digits to some classifications, not here
}

TEST(IsDigitTest, EmptyTextIsTrue)
{
    EXPECT_TRUE(IsDigit(""));
}

TEST(IsDigitTest, LengthIsASigned32BitCount)
{
    constexpr long NEEDED = 4L << 30;
    if (sysconf(_SC_AVPHYS_PAGES) < NEEDED / sysconf(_SC_PAGESIZE)) GTEST_SKIP() << "not enough memory";
    const std::string text(std::size_t{1} << 31, 'x');
    EXPECT_TRUE(IsDigit(text));
}

// Local time

constexpr long WINTER = 1705320000;  // 2024-01-15 12:00 UTC
constexpr long SUMMER = 1721044800;  // 2024-07-15 12:00 UTC

long DiffIn(const char* pZone, long nTime)
{
    setenv("TZ", pZone, 1);
    return DiffLocalUtcTime(nTime);
}

TEST(DiffLocalUtcTimeTest, IsTheNegatedOffsetOfTheZone)
{
    EXPECT_EQ(DiffIn("UTC0", WINTER), 0);
    EXPECT_EQ(DiffIn("CST-8", WINTER), -28800);
    EXPECT_EQ(DiffIn("EST5", WINTER), 18000);
    EXPECT_EQ(DiffIn("IST-5:30", WINTER), -19800);
    EXPECT_EQ(DiffIn("NST3:30", WINTER), 12600);
    EXPECT_EQ(DiffIn("CST-8", 0), -28800);
    EXPECT_EQ(DiffIn("CST-8", -86400), -28800);
}

TEST(DiffLocalUtcTimeTest, DaylightSavingCounts)
{
    constexpr const char* BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
    EXPECT_EQ(DiffIn(BERLIN, WINTER), -3600);
    EXPECT_EQ(DiffIn(BERLIN, SUMMER), -7200);
    constexpr const char* NEW_YORK = "EST5EDT,M3.2.0,M11.1.0";
    EXPECT_EQ(DiffIn(NEW_YORK, WINTER), 18000);
    EXPECT_EQ(DiffIn(NEW_YORK, SUMMER), 14400);
}

TEST(DiffLocalUtcTimeTest, JustBehindASwitchTheOffsetInFrontOfItStillShows)
{
    constexpr long SPRING = 1711846800;  // 2024-03-31 01:00 UTC: 02:00 becomes 03:00
    constexpr const char* BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
    EXPECT_EQ(DiffIn(BERLIN, SPRING - 1), -3600);
    EXPECT_EQ(DiffIn(BERLIN, SPRING + 1800), -3600);  // 01:30 UTC, read as local, is in front of the switch
    EXPECT_EQ(DiffIn(BERLIN, SPRING + 7200), -7200);
}

TEST(DiffLocalUtcTimeTest, TimeWithoutACalendarYearGivesZero)
{
    EXPECT_EQ(DiffIn("CST-8", LONG_MAX), 0);
    EXPECT_EQ(DiffIn("CST-8", LONG_MIN), 0);
}

TEST(DiffLocalUtcTimeTest, AtTheEndOfTheCalendarMktimesFailureCountsAsATime)
{
    constexpr long LAST_SECOND = 67768036191676799;  // of the year 2147485547
    EXPECT_EQ(DiffIn("EST5", LAST_SECOND), -1 - LAST_SECOND);
    EXPECT_EQ(DiffIn("EST5", LAST_SECOND - 86400), 18000);
}

// Quotes, tags, secrets

std::string Escaped(std::string text)
{
    CheckAndEscapeTranform(text);
    return text;
}

TEST(CheckAndEscapeTranformTest, DoublesEverySingleQuoteOnce)
{
    EXPECT_EQ(Escaped("it's"), "it''s");
    EXPECT_EQ(Escaped("''"), "''''");
    EXPECT_EQ(Escaped("'a'"), "''a''");
    EXPECT_EQ(Escaped(""), "");
    EXPECT_EQ(Escaped(R"(a"b`c\d)"), R"(a"b`c\d)");
    EXPECT_EQ(Escaped(std::string("\0'\0", 3)), std::string("\0''\0", 4));
}

TEST(CheckAndEscapeTranformTest, NothingInFrontOfTheTextIsTouched)
{
    // Such a text has memory of its own from the system, with none in front of it.
    const std::string text(1 << 20, 'x');
    EXPECT_EQ(Escaped(text), text);
}

struct Cut {
    bool m_bFound;
    std::string m_Value;
    bool operator==(const Cut& other) const { return m_bFound == other.m_bFound && m_Value == other.m_Value; }
};
std::ostream& operator<<(std::ostream& out, const Cut& cut)
{
    return out << std::boolalpha << cut.m_bFound << " \"" << cut.m_Value << '"';
}

Cut CutTag(const std::string& source, const std::string& name)
{
    Cut cut{false, "before"};
    cut.m_bFound = SplitStringByXMLTag(source, name, cut.m_Value);
    return cut;
}

Cut CutTags(const std::string& source, const std::string& open, const std::string& close)
{
    Cut cut{false, "before"};
    cut.m_bFound = SplitStringByXMLTag(source, open, close, cut.m_Value);
    return cut;
}

const Cut NOT_FOUND{false, "before"};

TEST(SplitStringByXMLTagTest, CutsBetweenTheFirstOfEachTag)
{
    EXPECT_EQ(CutTag("<a>x</a>", "a"), (Cut{true, "x"}));
    EXPECT_EQ(CutTag("p<a> x y </a>q", "a"), (Cut{true, " x y "}));
    EXPECT_EQ(CutTag("<a>1</a><a>2</a>", "a"), (Cut{true, "1"}));
    EXPECT_EQ(CutTag("<a><a>1</a></a>", "a"), (Cut{true, "<a>1"}));
    EXPECT_EQ(CutTags("[[x]]", "[[", "]]"), (Cut{true, "x"}));
}

TEST(SplitStringByXMLTagTest, EmptyElementGivesAnEmptyText)
{
    EXPECT_EQ(CutTag("<a></a>", "a"), (Cut{true, ""}));
}

TEST(SplitStringByXMLTagTest, MissingTagFailsAndLeavesTheOutput)
{
    EXPECT_EQ(CutTag("x</a>", "a"), NOT_FOUND);
    EXPECT_EQ(CutTag("<a>x", "a"), NOT_FOUND);
    EXPECT_EQ(CutTag("<A>x</A>", "a"), NOT_FOUND);
    EXPECT_EQ(CutTag("", "a"), NOT_FOUND);
}

TEST(SplitStringByXMLTagTest, CloseTagInFrontFailsEvenWithAnotherBehind)
{
    EXPECT_EQ(CutTag("</a><a>x", "a"), NOT_FOUND);
    EXPECT_EQ(CutTag("</a><a>x</a>", "a"), NOT_FOUND);
}

TEST(SplitStringByXMLTagTest, OverlappingTagsGiveAnEmptyText)
{
    EXPECT_EQ(CutTags("<a>x", "<a>", ">"), (Cut{true, ""}));
    EXPECT_EQ(CutTags("||x||", "||", "||"), (Cut{true, ""}));
    EXPECT_EQ(CutTags("x", "x", "x"), (Cut{true, ""}));
}

TEST(SplitStringByXMLTagTest, EmptyTagsStandAtTheStart)
{
    EXPECT_EQ(CutTags("x", "", ""), (Cut{true, ""}));
    EXPECT_EQ(CutTags("xy", "", "y"), (Cut{true, "x"}));
    EXPECT_EQ(CutTags("xy", "x", ""), (Cut{true, ""}));
    EXPECT_EQ(CutTags("xy", "y", ""), NOT_FOUND);
    EXPECT_EQ(CutTags("", "", ""), (Cut{true, ""}));
}

TEST(SplitStringByXMLTagTest, OutputMayBeTheSource)
{
    std::string text = "<a>value</a>";
    EXPECT_TRUE(SplitStringByXMLTag(text, "a", text));
    EXPECT_EQ(text, "value");
}

TEST(ClearDBParaTest, MasksEveryValueAndKeepsKeysAndLengths)
{
    std::map<std::string, std::string> parameters{
        {"user", "sa"}, {"pwd", "a long enough secret"}, {"db", ""}};
    ClearDBPara(parameters);
    EXPECT_EQ(parameters, (std::map<std::string, std::string>{
                              {"user", "**"}, {"pwd", std::string(20, '*')}, {"db", ""}}));
}

// Bytes

TEST(ByteToHexTest, WritesHighNibbleFirstInUpperCase)
{
    const unsigned char bytes[] = {0x0A, 0xFF};
    EXPECT_EQ(ByteToHex(bytes, 2), "0AFF");
    EXPECT_EQ(ByteToHex(bytes, 1), "0A");
    EXPECT_EQ(ByteToHex("\0az", 3), "00617A");
}

TEST(ByteToHexTest, EveryByteHasItsTwoDigits)
{
    for (int nByte = 0; nByte < 256; ++nByte) {
        const auto byte = static_cast<unsigned char>(nByte);
        char expected[3];
        std::snprintf(expected, sizeof expected, "%02X", nByte);
        EXPECT_EQ(ByteToHex(&byte, 1), expected);
    }
}

TEST(ByteToHexTest, EveryLengthIsWrittenWhole)
{
    const std::string hex = "012345678A";
    for (int nLength = 1; nLength <= 5; ++nLength) {
        const std::string text = ByteToHex("\x01\x23\x45\x67\x8A\xBC", nLength);
        const auto nDigits = 2 * static_cast<std::size_t>(nLength);
        EXPECT_EQ(text, hex.substr(0, nDigits));
        EXPECT_EQ(text.c_str()[nDigits], '\0') << "written over: " << nLength;
    }
}

TEST(ByteToHexTest, NullAndLengthsBelowOneGiveNothing)
{
    EXPECT_EQ(ByteToHex(nullptr, 5), "");
    EXPECT_EQ(ByteToHex("x", 0), "");
    EXPECT_EQ(ByteToHex("x", -1), "");
    EXPECT_EQ(ByteToHex("x", INT_MIN), "");
}

// Ranges

std::string RangesOf(std::vector<int> values)
{
    std::string text = "before";
    VecInt2Str(text, values);
    return text;
}

TEST(VecInt2StrTest, RunsBecomeRanges)
{
    EXPECT_EQ(RangesOf({1, 2, 3, 5, 7, 8}), "1-3,5,7-8");
    EXPECT_EQ(RangesOf({4}), "4");
    EXPECT_EQ(RangesOf({1, 2}), "1-2");
    EXPECT_EQ(RangesOf({1, 3}), "1,3");
    EXPECT_EQ(RangesOf({-2, -1, 0, 1}), "-2-1");
    EXPECT_EQ(RangesOf({-3, -1}), "-3,-1");
}

TEST(VecInt2StrTest, DuplicateClosesARun)
{
    EXPECT_EQ(RangesOf({2, 2, 3}), "2,2-3");
    EXPECT_EQ(RangesOf({1, 2, 2, 3}), "1-2,2-3");
    EXPECT_EQ(RangesOf({5, 5}), "5,5");
}

TEST(VecInt2StrTest, NoNumbersLeaveTheOutput)
{
    EXPECT_EQ(RangesOf({}), "before");
}

TEST(VecInt2StrTest, VectorIsSortedOnReturn)
{
    std::vector<int> values{3, 1, 2};
    std::string text;
    VecInt2Str(text, values);
    EXPECT_EQ(text, "1-3");
    EXPECT_EQ(values, (std::vector<int>{1, 2, 3}));
}

TEST(VecInt2StrTest, EndsOfTheRangeOfAnInt)
{
    EXPECT_EQ(RangesOf({INT_MAX, INT_MAX - 1}), "2147483646-2147483647");
    EXPECT_EQ(RangesOf({INT_MAX, INT_MAX}), "2147483647,2147483647");
    EXPECT_EQ(RangesOf({INT_MAX, INT_MIN}), "-2147483648,2147483647");
}

}  // namespace
}  // namespace NS_UTIL
