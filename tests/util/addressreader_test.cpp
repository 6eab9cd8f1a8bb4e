// IpStr2Long() and IpLong2Str(): dotted addresses.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "nbiutil/conversions.h"

namespace NS_UTIL {
namespace {

constexpr int NO_ADDRESS = 4711;

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
        std::string text = std::to_string(nByte);
        const std::string further = '.' + text;
        for (int i = 0; i < 3; ++i) text += further;
        EXPECT_EQ(IpLong2Str(nByte * 0x01010101), text);
    }
}

long AddressOf(const std::string& text)
{
    long nAddress = NO_ADDRESS;
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
    for (const char* pText :
         {"", ".", "10.0.0", "10", "10..0.1", "10.0.0. ", " .0.0.1", "1.2.3.", ".2.3.4", "0000", "999.9.9"}) {
        long nAddress = NO_ADDRESS;
        EXPECT_FALSE(IpStr2Long(pText, nAddress)) << pText;
        EXPECT_EQ(nAddress, NO_ADDRESS) << pText;
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
    EXPECT_EQ(AddressOf("026.0.0.0"), 0x16000000);
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
    EXPECT_EQ(AddressOf("1.2.3.a"), -1);
}

TEST(IpStr2LongTest, FifthPartIsAppendedToo)
{
    EXPECT_EQ(AddressOf("1.2.3.4.5"), 0x02030405);
    EXPECT_EQ(AddressOf("1.1.1.1.1.1.1.1"), 0x01010101);
}

TEST(IpStr2LongTest, SixtyFourBitsDoNotSaturate)
{
    EXPECT_EQ(AddressOf("255.x.1.1.1"), -16711423);  // ffffffffff010101
}

TEST(IpStr2LongTest, MoreThan64BitsSaturate)
{
    EXPECT_EQ(AddressOf("0.1.1.1.1.1.1.1.1"), 0x01010101);  // leading zeros do not count
    EXPECT_EQ(AddressOf("1.1.1.1.1.1.1.1.1"), -1);
    EXPECT_EQ(AddressOf("x.x.0.0.0.0"), -1);
    EXPECT_EQ(AddressOf("1.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0"), -1);
}

}  // namespace
}  // namespace NS_UTIL
