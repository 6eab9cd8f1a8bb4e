#include "security/autoreleasestrex.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "nbihost/recordinghost.h"
#include "support/heapwatch.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::RecordingHost;
using Lines = std::vector<LogLine>;

// The heap of this program hands out blocks that hold something.

std::string Payload(const AutoReleaseStrEx& bytes)
{
    return std::string(bytes.getBuffer(), static_cast<std::size_t>(bytes.length()));
}

class AutoReleaseStrExTest : public ::testing::Test {
protected:
    void Hold(const std::string& bytes) { m_Bytes.setBuffer(bytes.data(), static_cast<long>(bytes.size())); }

    RecordingHost m_Host;
    AutoReleaseStrEx m_Bytes;
};

TEST_F(AutoReleaseStrExTest, NewAndClearedObjectsAreEmpty)
{
    EXPECT_EQ(m_Bytes.getBuffer(), nullptr);
    EXPECT_EQ(m_Bytes.length(), 0);
    Hold("abc");
    m_Bytes.Clear();
    EXPECT_EQ(m_Bytes.getBuffer(), nullptr);
    EXPECT_EQ(m_Bytes.length(), 0);
}

TEST_F(AutoReleaseStrExTest, BytesAreCopiedAndZeroTerminated)
{
    const std::string bytes("a\0b", 3);
    Hold(bytes);
    EXPECT_EQ(Payload(m_Bytes), bytes);
    EXPECT_EQ(m_Bytes.getBuffer()[3], '\0');
}

TEST_F(AutoReleaseStrExTest, NullSourceChangesNothing)
{
    Hold("abc");
    m_Bytes.setBuffer(nullptr, 7);
    EXPECT_EQ(Payload(m_Bytes), "abc");
}

TEST_F(AutoReleaseStrExTest, LengthBelowOneEmptiesTheObject)
{
    for (const long nLength : {0L, -1L, LONG_MIN}) {
        SCOPED_TRACE(nLength);
        Hold("abc");
        m_Bytes.setBuffer("xyz", nLength);
        EXPECT_EQ(m_Bytes.getBuffer(), nullptr);
        EXPECT_EQ(m_Bytes.length(), 0);
        EXPECT_TRUE(m_Host.Logs().empty());
    }
}

TEST_F(AutoReleaseStrExTest, OwnContentIsAValidSource)
{
    Hold("0123456789");
    m_Bytes.setBuffer(m_Bytes.getBuffer() + 4, 3);
    EXPECT_EQ(Payload(m_Bytes), "456");
}

TEST_F(AutoReleaseStrExTest, FailedCopyIsLoggedAndKeepsArrayAndLength)
{
    m_Host.FailMemcpy(1);
    Hold("abc");
    EXPECT_EQ(m_Host.Logs(), (Lines{{"nbirsa", "unknown", 89, 1, "memcpy_s failed."}}));
    EXPECT_EQ(Payload(m_Bytes), std::string(3, '\0'));
}

TEST_F(AutoReleaseStrExTest, AdoptTakesTheArrayOver)
{
    m_Bytes.Adopt(new char[2]{'h', 'i'}, 2);
    EXPECT_EQ(Payload(m_Bytes), "hi");
    m_Bytes.Adopt(nullptr, 5);
    EXPECT_EQ(m_Bytes.length(), 0);
}

TEST_F(AutoReleaseStrExTest, ArraysAreNoLongerThanPayloadAndZeroByteOrTheRoomForTwoDigits)
{
    const std::string bytes(100, 'x');
    {
        const nbitest::AllocationLimit limit(101);
        Hold(bytes);
    }
    EXPECT_EQ(Payload(m_Bytes), bytes);
    {
        const nbitest::AllocationLimit limit(201);
        m_Bytes.toHex();
    }
    EXPECT_EQ(m_Bytes.length(), 200);
    Hold("x");
    {
        const nbitest::AllocationLimit limit(8);
        m_Bytes.toHex();
    }
    EXPECT_EQ(m_Bytes.length(), 2);
}

// toHex

TEST_F(AutoReleaseStrExTest, ToHexOfNothingStaysNothing)
{
    m_Bytes.toHex();
    EXPECT_EQ(m_Bytes.getBuffer(), nullptr);
    EXPECT_EQ(m_Bytes.length(), 0);
}

TEST_F(AutoReleaseStrExTest, ToHexShowsTheLastByteAtPositionsFourAndFive)
{
    Hold("\x01\x02\x03\xAB");
    m_Bytes.toHex();
    EXPECT_EQ(m_Bytes.length(), 8);
    EXPECT_EQ(std::string(m_Bytes.getBuffer() + 4, 3), std::string("ab\0", 3));
}

TEST_F(AutoReleaseStrExTest, ToHexLeavesZerosEverywhereElse)
{
    Hold(std::string(100, 'x') + '\x0f');
    m_Bytes.toHex();
    std::string expected(202, '\0');
    expected[4] = '0';
    expected[5] = 'f';
    EXPECT_EQ(Payload(m_Bytes), expected);
    EXPECT_EQ(m_Bytes.getBuffer()[202], '\0');
}

TEST_F(AutoReleaseStrExTest, ToHexOfShortPayloadsHasRoomForTheDigits)
{
    for (std::size_t nBytes = 1; nBytes <= 3; ++nBytes) {
        SCOPED_TRACE(nBytes);
        Hold(std::string(nBytes, '\x7e'));
        m_Bytes.toHex();
        EXPECT_EQ(m_Bytes.length(), static_cast<long>(2 * nBytes));
        EXPECT_EQ(std::string(m_Bytes.getBuffer(), 8), std::string("\0\0\0\0007e\0\0", 8));
    }
}

TEST_F(AutoReleaseStrExTest, EachFailedFormattingIsLoggedAndTheNextByteFollows)
{
    Hold("\x11\x22\x33");
    m_Host.FailSnprintf(2);
    m_Bytes.toHex();
    const LogLine line{"nbirsa", "unknown", 144, 1, "snprintf_s failed."};
    EXPECT_EQ(m_Host.Logs(), (Lines{line, line}));
    EXPECT_EQ(std::string(m_Bytes.getBuffer() + 4), "33");
}

// fromHex

TEST_F(AutoReleaseStrExTest, FromHexTakesBothLetterCasesAndMeasuresTheText)
{
    m_Bytes.fromHex("0A1b", 0);
    EXPECT_EQ(Payload(m_Bytes), "\x0A\x1B");
    EXPECT_EQ(m_Bytes.getBuffer()[2], '\0');
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(AutoReleaseStrExTest, FromHexKnowsEveryDigit)
{
    m_Bytes.fromHex("0123456789abcdefABCDEF", 22);
    EXPECT_EQ(Payload(m_Bytes), "\x01\x23\x45\x67\x89\xab\xcd\xef\xAB\xCD\xEF");
}

TEST_F(AutoReleaseStrExTest, FromHexRefusesTheNeighboursOfEveryDigit)
{
    for (const char character : {'/', ':', '@', 'G', '`', 'g', ' ', '\0', '\xff'}) {
        for (const std::string& text : {std::string{'0', character}, std::string{character, '0'}}) {
            AutoReleaseStrEx bytes;
            bytes.fromHex(text.data(), 2);
            EXPECT_EQ(Payload(bytes), text);
        }
    }
}

TEST_F(AutoReleaseStrExTest, OddLengthIsLoggedAndTheLastCharacterIgnored)
{
    m_Bytes.fromHex("abc", 3);
    EXPECT_EQ(m_Host.Logs(),
              (Lines{{"nbirsa", "unknown", 175, 1, "[AutoReleaseStrEx::fromHex] 0 != len % 2, len = 3"}}));
    EXPECT_EQ(Payload(m_Bytes), "\xAB");
}

TEST_F(AutoReleaseStrExTest, InvalidTextIsHeldVerbatimWithoutALogLine)
{
    m_Bytes.fromHex("zz", 2);
    EXPECT_EQ(Payload(m_Bytes), "zz");
    m_Bytes.fromHex("abcdefgh", 8);
    EXPECT_EQ(Payload(m_Bytes), "abcdefgh");
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(AutoReleaseStrExTest, InvalidTextOfOddLengthIsHeldWithItsLastCharacter)
{
    m_Bytes.fromHex("zzz", 3);
    EXPECT_EQ(Payload(m_Bytes), "zzz");
}

TEST_F(AutoReleaseStrExTest, LongerContentKeepsItsLengthWithZerosBehind)
{
    Hold("0123456789");
    const char* const pBefore = m_Bytes.getBuffer();
    m_Bytes.fromHex("4142", 4);
    EXPECT_EQ(m_Bytes.getBuffer(), pBefore);
    EXPECT_EQ(Payload(m_Bytes), std::string("AB\0\0\0\0\0\0\0\0", 10));
}

TEST_F(AutoReleaseStrExTest, ShorterContentGivesWay)
{
    Hold("x");
    m_Bytes.fromHex("414243", 6);
    EXPECT_EQ(Payload(m_Bytes), "ABC");
}

TEST_F(AutoReleaseStrExTest, LengthBelowTwoZeroesTheContent)
{
    Hold("abc");
    m_Bytes.fromHex("4", 1);
    EXPECT_EQ(Payload(m_Bytes), std::string(3, '\0'));
    EXPECT_EQ(m_Host.LogsAt("nbirsa", 175).size(), 1u);
    Hold("abc");
    m_Bytes.fromHex("", 0);
    EXPECT_EQ(Payload(m_Bytes), std::string(3, '\0'));
}

TEST_F(AutoReleaseStrExTest, NegativeLengthDecodesNothing)
{
    Hold("abc");
    m_Bytes.fromHex("4142", -4);
    EXPECT_EQ(Payload(m_Bytes), std::string(3, '\0'));
    EXPECT_TRUE(m_Host.Logs().empty()) << "-4 is even";
    m_Bytes.fromHex("4142", -3);
    EXPECT_EQ(m_Host.Logs(),
              (Lines{{"nbirsa", "unknown", 175, 1, "[AutoReleaseStrEx::fromHex] 0 != len % 2, len = -3"}}));
}

TEST_F(AutoReleaseStrExTest, EmptyObjectStaysEmptyWhenNothingIsDecoded)
{
    m_Bytes.fromHex("", 0);
    m_Bytes.fromHex("41", -2);
    EXPECT_EQ(m_Bytes.getBuffer(), nullptr);
    EXPECT_EQ(m_Bytes.length(), 0);
}

TEST_F(AutoReleaseStrExTest, NullTextOfAnEmptyObjectIsLogged)
{
    m_Bytes.fromHex(nullptr, 4);
    EXPECT_EQ(m_Host.Logs(),
              (Lines{{"nbirsa", "unknown", 166, 1, "[AutoReleaseStrEx::fromHex] NULL == szHexStr"}}));
    EXPECT_EQ(m_Bytes.getBuffer(), nullptr);
}

TEST_F(AutoReleaseStrExTest, NullTextDecodesTheWholeContentInPlace)
{
    Hold("41424344");
    const char* const pBefore = m_Bytes.getBuffer();
    m_Bytes.fromHex(nullptr, 2);
    EXPECT_EQ(m_Bytes.getBuffer(), pBefore);
    EXPECT_EQ(Payload(m_Bytes), std::string("ABCD\0\0\0\0", 8));
}

TEST_F(AutoReleaseStrExTest, OwnBufferAsTextIsAnInPlaceDecodeToo)
{
    Hold("4142zz44");
    m_Bytes.fromHex(m_Bytes.getBuffer(), 8);
    EXPECT_EQ(Payload(m_Bytes), "AB42zz44") << "partly decoded content must stand";
}

TEST_F(AutoReleaseStrExTest, PartOfTheOwnContentIsAValidText)
{
    Hold("xx4142");
    m_Bytes.fromHex(m_Bytes.getBuffer() + 2, 4);
    EXPECT_EQ(Payload(m_Bytes), std::string("AB\0\0\0\0", 6));
    Hold("xx41zz");
    m_Bytes.fromHex(m_Bytes.getBuffer() + 2, 4);
    EXPECT_EQ(Payload(m_Bytes), "41zz");
}

}  // namespace
}  // namespace NS_UTIL
