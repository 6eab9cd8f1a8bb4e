#include "nbiutil/conversions.h"

#include <gtest/gtest.h>
#include <regex.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <locale>
#include <random>
#include <string>
#include <vector>

#include "nbihost/trim.h"

namespace NS_UTIL {
namespace {

using Texts = std::vector<std::string>;

constexpr int UNTOUCHED = 4711;

// ------------------------------------------------------------------ paths, trims, case

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

// ------------------------------------------------------------------ Str2Int

struct Reading {
    const char* m_pText;
    int m_nValue;
};

void ExpectReadings(const std::vector<Reading>& readings)
{
    for (const Reading& reading : readings) {
        SCOPED_TRACE(reading.m_pText);
        int value = UNTOUCHED;
        EXPECT_TRUE(Str2Int(std::string(reading.m_pText), value));
        EXPECT_EQ(value, reading.m_nValue);
        value = UNTOUCHED;
        EXPECT_TRUE(Str2Int(reading.m_pText, value));
        EXPECT_EQ(value, reading.m_nValue);
        EXPECT_EQ(Str2Int(std::string(reading.m_pText)), reading.m_nValue);
    }
}

void ExpectRejected(const Texts& texts)
{
    for (const std::string& text : texts) {
        SCOPED_TRACE('"' + text + '"');
        int value = UNTOUCHED;
        EXPECT_FALSE(Str2Int(text, value));
        EXPECT_EQ(value, UNTOUCHED);
        EXPECT_EQ(Str2Int(text), -1);
    }
}

TEST(Str2IntTest, DecimalsAreRead)
{
    ExpectReadings({{"42", 42}, {"0", 0}, {"-0", 0}, {"-1", -1}, {"2147483647", INT_MAX}});
    ExpectReadings({{"-2147483648", INT_MIN}, {"1000000000", 1000000000}});
}

TEST(Str2IntTest, BlanksAroundAreTrimmed)
{
    ExpectReadings({{"  42\t\r\n", 42}, {" -7 ", -7}, {"0x1F ", 31}, {" 017", 15}});
}

TEST(Str2IntTest, LowerCasePrefixMeansHexadecimal)
{
    ExpectReadings({{"0x1F", 31}, {"-0x10", -16}, {"0x0", 0}, {"-0x0", 0}, {"0xffffffff", -1}});
    ExpectReadings({{"0xabcdef", 0xabcdef}, {"0xABCDEF", 0xabcdef}});
}

TEST(Str2IntTest, LeadingZeroMeansOctal)
{
    ExpectReadings({{"017", 15}, {"-017", -15}, {"00", 0}, {"-00", 0}, {"0777", 511}});
}

TEST(Str2IntTest, Low32BitsAreKeptWithoutAnOverflowCheck)
{
    ExpectReadings({{"4294967295", -1}, {"4294967296", 0}, {"2147483648", INT_MIN}});
    ExpectReadings({{"-2147483649", INT_MAX}, {"0x123456789", 0x23456789}});
    ExpectReadings({{"18446744073709551614", -2}, {"-18446744073709551614", 2}});
}

TEST(Str2IntTest, MoreThan64BitsSaturateWhateverTheSign)
{
    ExpectReadings({{"18446744073709551615", -1}, {"18446744073709551616", -1}});
    ExpectReadings({{"-18446744073709551616", -1}, {"0x10000000000000000", -1}});
    ExpectReadings({{"02000000000000000000000", -1}, {"100000000000000000000000000", -1}});
}

TEST(Str2IntTest, LargestNumberOf64BitsIsStillNegated)
{
    ExpectReadings({{"-18446744073709551615", 1}, {"-0xffffffffffffffff", 1}});
}

TEST(Str2IntTest, LeadingZerosDoNotSaturate)
{
    ExpectReadings({{"0x00000000000000000000000012", 18}, {"000000000000000000000000000012", 10}});
}

TEST(Str2IntTest, TextWithoutCharactersIsRejected)
{
    ExpectRejected({"", "   ", "\t\r\n"});
}

TEST(Str2IntTest, SignOtherThanOneLeadingMinusIsRejected)
{
    ExpectRejected({"-", "+5", "1-2", "--1", "-1-", "0-", "0x-1", "- 1", "+"});
}

TEST(Str2IntTest, PrefixElsewhereOrInUpperCaseOrBareIsRejected)
{
    ExpectRejected({"0X1F", "-0X1F", "0x", "-0x", "1x2", "x1", "10x1", "-1x2", "0x1x2", "x"});
}

TEST(Str2IntTest, DigitOfAnotherBaseIsRejected)
{
    ExpectRejected({"08", "-08", "-012a", "12a", "0xg", "a", "-a", "1e3"});
}

TEST(Str2IntTest, InnerBlanksAndGroupingAreRejected)
{
    ExpectRejected({"1 2", "0x 1", "1.5", "1,000"});
}

TEST(Str2IntTest, ZeroAndHighBytesAreRejected)
{
    ExpectRejected({std::string("1\0", 2), std::string("\0", 1), std::string("1\0002", 3)});
    ExpectRejected({"1\xB2", "\xB2", "\xC2\xA0", "\xFF"});
}

TEST(Str2IntTest, NullIsRejectedAndLeavesTheOutput)
{
    int value = UNTOUCHED;
    EXPECT_FALSE(Str2Int(static_cast<const char*>(nullptr), value));
    EXPECT_EQ(value, UNTOUCHED);
}

TEST(Str2IntTest, CharactersBehindTheTerminatingZeroDoNotCount)
{
    int value = UNTOUCHED;
    EXPECT_TRUE(Str2Int("12\0garbage", value));
    EXPECT_EQ(value, 12);
}

/// What the accepted shapes are, told by a regular expression, and what they stand for, told by strtoul.
class ReferenceReader {
public:
    ReferenceReader() { regcomp(&m_Shapes, SHAPES, REG_EXTENDED | REG_NOSUB); }
    ~ReferenceReader() { regfree(&m_Shapes); }
    ReferenceReader(const ReferenceReader&) = delete;
    ReferenceReader& operator=(const ReferenceReader&) = delete;

    bool Read(const std::string& text, int& value) const
    {
        const std::string trimmed = NS_BUNDLEMGR1::Trim(text);
        if (regexec(&m_Shapes, trimmed.c_str(), 0, nullptr, 0) != 0) return false;
        value = static_cast<int>(std::strtoul(trimmed.c_str(), nullptr, 0));
        return true;
    }

private:
    static constexpr const char* SHAPES = "^-?(0x[0-9a-fA-F]+|0[0-7]*|[1-9][0-9]*)$";
    regex_t m_Shapes{};
};

TEST(Str2IntTest, AgreesWithARegularExpressionOnAHundredThousandTexts)
{
    const std::string heads[] = {"", "", "-", "0x", "-0x", "0", "-0", " ", "\t-"};
    const std::string alphabets[] = {"0123456789", "01234567", "0123456789abcdefABCDEF", "0189afxX-+ \t\n."};
    const ReferenceReader reference;
    std::mt19937 random(20240115);
    const auto below = [&random](std::size_t nLimit) { return random() % nLimit; };
    int nAccepted = 0;
    for (int i = 0; i < 100000; ++i) {
        std::string text = heads[below(std::size(heads))];
        const std::string& alphabet = alphabets[below(std::size(alphabets))];
        for (std::size_t nLeft = below(i % 4 == 0 ? 24 : 6); nLeft > 0; --nLeft) {
            text += alphabet[below(alphabet.size())];
        }
        int value = UNTOUCHED;
        int expected = UNTOUCHED;
        const bool bExpected = reference.Read(text, expected);
        ASSERT_EQ(Str2Int(text, value), bExpected) << '"' << text << '"';
        ASSERT_EQ(value, expected) << '"' << text << '"';
        nAccepted += bExpected ? 1 : 0;
    }
    EXPECT_GT(nAccepted, 20000);  // else the texts show only one side
    EXPECT_LT(nAccepted, 80000);
}

// ------------------------------------------------------------------ numbers to text

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

// ------------------------------------------------------------------ local time

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

// ------------------------------------------------------------------ quotes, tags, secrets

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

// ------------------------------------------------------------------ bytes and addresses

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

TEST(ByteToHexTest, NullAndLengthsBelowOneGiveNothing)
{
    EXPECT_EQ(ByteToHex(nullptr, 5), "");
    EXPECT_EQ(ByteToHex("x", 0), "");
    EXPECT_EQ(ByteToHex("x", -1), "");
    EXPECT_EQ(ByteToHex("x", INT_MIN), "");
}

TEST(IpLong2StrTest, WritesTheLow32Bits)
{
    EXPECT_EQ(IpLong2Str(167772161), "10.0.0.1");
    EXPECT_EQ(IpLong2Str(0), "0.0.0.0");
    EXPECT_EQ(IpLong2Str(0xFFFFFFFFL), "255.255.255.255");
    EXPECT_EQ(IpLong2Str(-1), "255.255.255.255");
    EXPECT_EQ(IpLong2Str(-1062731519), "192.168.1.1");
    EXPECT_EQ(IpLong2Str(0x7F00000163626101L), "99.98.97.1");
    EXPECT_EQ(IpLong2Str(LONG_MIN), "0.0.0.0");
}

TEST(IpLong2StrTest, EveryByteValueHasItsDecimals)
{
    for (long nByte = 0; nByte < 256; ++nByte) {
        char expected[16];
        std::snprintf(expected, sizeof expected, "%ld.%ld.%ld.%ld", nByte, nByte, nByte, nByte);
        EXPECT_EQ(IpLong2Str(nByte * 0x01010101), expected);
    }
}

long AddressOf(const std::string& text)
{
    long nAddress = UNTOUCHED;
    EXPECT_TRUE(IpStr2Long(text, nAddress)) << text;
    return nAddress;
}

TEST(IpStr2LongTest, ReadsADottedAddress)
{
    EXPECT_EQ(AddressOf("10.0.0.1"), 167772161);
    EXPECT_EQ(AddressOf("0.0.0.0"), 0);
    EXPECT_EQ(AddressOf("127.255.255.255"), 0x7FFFFFFF);
    EXPECT_EQ(AddressOf(" 10 . 0.0 .1 "), 167772161);
}

TEST(IpStr2LongTest, AddressFrom128OnIsNegativeAndTurnsBack)
{
    EXPECT_EQ(AddressOf("192.168.1.1"), -1062731519);
    EXPECT_EQ(AddressOf("128.0.0.0"), INT_MIN);
    EXPECT_EQ(AddressOf("255.255.255.255"), -1);
    EXPECT_EQ(IpLong2Str(AddressOf("192.168.1.1")), "192.168.1.1");
}

TEST(IpStr2LongTest, FewerThanFourPartsOrAnEmptyOneFailAndLeaveTheOutput)
{
    for (const char* pText : {"", ".", "10.0.0", "10", "10..0.1", "10.0.0. ", " .0.0.1", "1.2.3."}) {
        long nAddress = UNTOUCHED;
        EXPECT_FALSE(IpStr2Long(pText, nAddress)) << pText;
        EXPECT_EQ(nAddress, UNTOUCHED) << pText;
    }
}

TEST(IpStr2LongTest, OneDotAtEitherEndIsSkipped)
{
    EXPECT_EQ(AddressOf(".10.0.0.1"), 167772161);
    EXPECT_EQ(AddressOf("10.0.0.1."), 167772161);
}

TEST(IpStr2LongTest, PartsAreReadInEveryBase)
{
    EXPECT_EQ(AddressOf("0x0a.010.0.1"), 0x0A080001);
}

TEST(IpStr2LongTest, PartBeyondAByteTakesMoreDigits)
{
    EXPECT_EQ(AddressOf("1.2.3.256"), 0x10203100);
    EXPECT_EQ(AddressOf("256.2.3.4"), 0x00020304);  // 100020304, cut to 32 bits
    EXPECT_EQ(AddressOf("0.0.0.65536"), 0x10000);
}

TEST(IpStr2LongTest, PartThatIsNoNumberCountsAsAllOnes)
{
    EXPECT_EQ(AddressOf("1.2.3.x"), -1);         // 010203ffffffff
    EXPECT_EQ(AddressOf("x.2.3.4"), -16645372);  // ffffffff020304
}

TEST(IpStr2LongTest, FifthPartIsAppendedToo)
{
    EXPECT_EQ(AddressOf("1.2.3.4.5"), 0x02030405);
    EXPECT_EQ(AddressOf("1.1.1.1.1.1.1.1"), 0x01010101);
}

TEST(IpStr2LongTest, MoreThan64BitsSaturate)
{
    EXPECT_EQ(AddressOf("0.1.1.1.1.1.1.1.1"), 0x01010101);  // leading zeros do not count
    EXPECT_EQ(AddressOf("1.1.1.1.1.1.1.1.1"), -1);
    EXPECT_EQ(AddressOf("x.x.0.0.0.0"), -1);
    EXPECT_EQ(AddressOf("1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0"), -1);
}

// ------------------------------------------------------------------ SplitStringByTag

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

// ------------------------------------------------------------------ VecInt2Str

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
