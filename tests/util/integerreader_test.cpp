// Str2Int(): strict integers.
#include <gtest/gtest.h>
#include <regex.h>

#include <climits>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "nbihost/trim.h"
#include "nbiutil/conversions.h"

namespace NS_UTIL {
namespace {

using Texts = std::vector<std::string>;

constexpr int UNTOUCHED = 4711;

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

}  // namespace
}  // namespace NS_UTIL
