#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "support/testdirectory.h"
#include "xml/staticdescxmlparser.h"
#include "xml/xmltesting.h"

namespace NS_UTIL {
namespace {

using nbitest::LinesOf;
using nbitest::PrintedBy;
using nbitest::RunOnSmallStack;
using nbitest::Silence;
using nbitest::TestDirectory;
using ::testing::HasSubstr;
using Lines = std::vector<std::string>;

std::string Repeated(const std::string& text, int nTimes)
{
    std::string all;
    for (int i = 0; i < nTimes; ++i) all += text;
    return all;
}

class HostileDocumentTest : public ::testing::Test {
protected:
    int ParseFile(const std::string& text)
    {
        m_Path = m_Folder.Add("doc.xml", text);
        int nResult = 1;
        m_Output = PrintedBy([&] { nResult = m_Parser.ParseFile(m_Path.c_str()); });
        return nResult;
    }

    /// Parses without keeping what is printed: some of these print millions of lines.
    int ParseSilently(const std::string& text)
    {
        const std::string path = m_Folder.Add("doc.xml", text);
        const Silence silence;
        return m_Parser.ParseFile(path.c_str());
    }

    /// Entities that grow tenfold at each of nine levels.
    static std::string Bomb(const std::string& use)
    {
        std::string text = "<!DOCTYPE r [<!ENTITY a 'aaaaaaaaaa'>";
        for (char name = 'b'; name < 'k'; ++name) {
            const std::string inner = std::string("&") + static_cast<char>(name - 1) + ";";
            text += std::string("<!ENTITY ") + name + " '" + Repeated(inner, 10) + "'>";
        }
        return text + "]>" + use;
    }

    const TestDirectory m_Folder;
    StaticDescXMLParser m_Parser;
    std::string m_Path;
    std::string m_Output;
};

TEST_F(HostileDocumentTest, MillionLevelsAreBuiltAndDestroyedOnASmallStack)
{
    constexpr int LEVELS = 1000000;
    const std::string path = m_Folder.Add("deep.xml", Repeated("<a>", LEVELS) + Repeated("</a>", LEVELS));
    int nResult = 1;
    int nLevels = 0;
    RunOnSmallStack([&] {
        const Silence silence;
        StaticDescXMLParser parser;
        nResult = parser.ParseFile(path.c_str());
        const XMLTag* pTag = &parser.Root();
        for (nLevels = 1; pTag->m_pChildren != nullptr; ++nLevels) pTag = pTag->m_pChildren->front();
        parser.Root().print(100);
    });
    EXPECT_EQ(nResult, 0);
    EXPECT_EQ(nLevels, LEVELS);
}

TEST_F(HostileDocumentTest, MillionOpenElementsOfACutFileAreKept)
{
    EXPECT_EQ(ParseSilently(Repeated("<a>", 1000001)), 0);
    std::size_t nLevels = 1;
    for (const XMLTag* pTag = &m_Parser.Root(); pTag->m_pChildren != nullptr; ++nLevels) {
        pTag = pTag->m_pChildren->front();
    }
    EXPECT_EQ(nLevels, 1000001U);
}

TEST_F(HostileDocumentTest, EntityBombInTextIsRefused)
{
    const std::string bomb = Bomb("<r>&j;</r>");
    EXPECT_LT(bomb.size(), 700U);
    EXPECT_EQ(ParseSilently(bomb), -1);
}

TEST_F(HostileDocumentTest, EntityBombInAnAttributeIsRefused)
{
    EXPECT_EQ(ParseSilently(Bomb("<r k='&j;'/>")), -1);
    EXPECT_EQ(m_Parser.Root().m_pItems, nullptr);
}

/// 353 bytes of which millions of line breaks become, each a run of its own.
std::string BreakingBomb()
{
    std::string text = "<!DOCTYPE r [<!ENTITY a '" + std::string(77, '\n') + "'>";
    for (char name = 'b'; name < 'h'; ++name) {
        const std::string inner = std::string("&") + static_cast<char>(name - 1) + ";";
        text += std::string("<!ENTITY ") + name + " '" + Repeated(inner, name == 'b' ? 6 : 9) + "'>";
    }
    return text + "]><r>&g;</r>";
}

TEST_F(HostileDocumentTest, EntitiesOfSomeHundredBytesDoNotPrintMegabytes)
{
    const std::string bomb = BreakingBomb();
    EXPECT_EQ(bomb.size(), 353U);
    EXPECT_EQ(ParseFile(bomb), -1);
    EXPECT_LT(m_Output.size(), 8U * 1000 * 1000);
    EXPECT_THAT(m_Output, HasSubstr("[PrintParseError] Parse error in file [" + m_Path +
                                    "], at line [78]:\n[limit on input amplification factor (from DTD and "
                                    "entities) breached]\n"));
}

TEST_F(HostileDocumentTest, EntitiesInABufferAreLimitedToo)
{
    const std::string bomb = BreakingBomb();
    m_Output = PrintedBy([&] { EXPECT_FALSE(m_Parser.ParseText(bomb.data(), bomb.size())); });
    EXPECT_LT(m_Output.size(), 8U * 1000 * 1000);
}

TEST_F(HostileDocumentTest, EntitiesBelowTheThresholdMayMakeHundredsOfTimesTheDocument)
{
    const std::string entities = "<!DOCTYPE r [<!ENTITY a '0123456789'><!ENTITY b '" + Repeated("&a;", 50) +
                                 "'><!ENTITY c '" + Repeated("&b;", 50) + "'>]><r k='&c;'/>";
    EXPECT_EQ(ParseFile(entities), 0);
    EXPECT_EQ(std::strlen(m_Parser.Root().m_pItems[0]->m_pValue), 50U * 50 * 10);
}

TEST_F(HostileDocumentTest, AttributeOf20MillionBytesArrivesWhole)
{
    constexpr std::size_t LONG = 20000000;
    EXPECT_EQ(ParseSilently("<r k='" + std::string(LONG, 'v') + "'/>"), 0);
    ASSERT_NE(m_Parser.Root().m_pItems, nullptr);
    EXPECT_EQ(std::strlen(m_Parser.Root().m_pItems[0]->m_pValue), LONG);
}

TEST_F(HostileDocumentTest, InvalidUtf8IsRefused)
{
    EXPECT_EQ(ParseFile("<r k='\xC3('/>"), -1);
    EXPECT_THAT(m_Output, HasSubstr("at line [1]:\n[not well-formed (invalid token)]\n"));
}

TEST_F(HostileDocumentTest, ZeroByteInTheTextIsRefused)
{
    EXPECT_EQ(ParseSilently(std::string("<r k='a\0b'/>", 12)), -1);
}

TEST_F(HostileDocumentTest, Latin1ArrivesAsUtf8)
{
    EXPECT_EQ(ParseFile("<?xml version='1.0' encoding='ISO-8859-1'?><r k='\xE4'/>"), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r k=\xC3\xA4"}));
}

TEST_F(HostileDocumentTest, Utf16ArrivesAsUtf8)
{
    std::string text = "\xFF\xFE";
    for (const char character : std::string("<r k='v'/>")) text += std::string{character, '\0'};
    EXPECT_EQ(ParseFile(text), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r k=v"}));
}

TEST_F(HostileDocumentTest, Utf8WithAByteOrderMarkIsRead)
{
    EXPECT_EQ(ParseFile("\xEF\xBB\xBF<r k='v'/>"), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r k=v"}));
}

TEST_F(HostileDocumentTest, UnknownEncodingIsRefused)
{
    EXPECT_EQ(ParseFile("<?xml version='1.0' encoding='no-such'?><r/>"), -1);
    EXPECT_THAT(m_Output, HasSubstr("unknown encoding"));
}

TEST_F(HostileDocumentTest, ExternalEntityIsNotFetched)
{
    const std::string other = m_Folder.Add("other.xml", "<secret/>");
    EXPECT_EQ(ParseFile("<!DOCTYPE r [<!ENTITY x SYSTEM '" + other + "'>]><r>&x;</r>"), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r"}));
}

}  // namespace
}  // namespace NS_UTIL
