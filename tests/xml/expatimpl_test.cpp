#include "xml/expatimpl.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "xml/expatfailure.h"
#include "xml/xmltesting.h"

namespace NSTE_util {
namespace {

using nbitest::NoExpatParser;
using nbitest::ParsersAlive;
using nbitest::PrintedBy;

/// Notes every event, and throws at the one it is told to.
class NotingHandler : public CExpatImpl<NotingHandler> {
public:
    void OnPostCreate()
    {
        m_Events.emplace_back("created");
        EnableStartElementHandler();
        PrintedBy([this] { EnableCharacterDataHandler(); });
        EnableEndElementHandler();
    }
    void OnStartElement(const XML_Char* pName, const XML_Char** /*ppAttributes*/)
    {
        Note(std::string("<") + pName);
    }
    void OnEndElement(const XML_Char* pName) { Note(std::string(">") + pName); }
    void OnCharacterData(const XML_Char* pText, int nLength)
    {
        Note(std::string(pText, static_cast<std::size_t>(nLength)));
    }

    bool ParseAll(const std::string& text) { return Parse(text.data(), static_cast<int>(text.size()), true); }

    std::vector<std::string> m_Events;
    std::string m_ThrowAt;

private:
    void Note(const std::string& event)
    {
        m_Events.push_back(event);
        if (event == m_ThrowAt) throw std::runtime_error(event);
    }
};

using Events = std::vector<std::string>;

TEST(CExpatImplTest, EventsReachTheHandlerInOrder)
{
    NotingHandler handler;
    ASSERT_TRUE(handler.Create());
    EXPECT_TRUE(handler.ParseAll("<a><b>text</b></a>"));
    EXPECT_EQ(handler.m_Events, (Events{"created", "<a", "<b", "text", ">b", ">a"}));
}

TEST(CExpatImplTest, PiecesThroughTheBufferGiveTheSameEvents)
{
    NotingHandler handler;
    ASSERT_TRUE(handler.Create());
    for (const std::string piece : {"<a><", "b/></", "a>"}) {
        void* const pBuffer = handler.GetBuffer(8);
        ASSERT_NE(pBuffer, nullptr);
        std::memcpy(pBuffer, piece.data(), piece.size());
        EXPECT_TRUE(handler.ParseBuffer(static_cast<int>(piece.size()), false));
    }
    EXPECT_TRUE(handler.ParsePutOff());
    EXPECT_EQ(handler.m_Events, (Events{"created", "<a", "<b", ">b", ">a"}));
}

TEST(CExpatImplTest, CreatingAgainFreesTheEarlierParserAndStartsAfresh)
{
    NotingHandler handler;
    ASSERT_TRUE(handler.Create());
    EXPECT_FALSE(handler.ParseAll("<a"));
    const int nAlive = ParsersAlive();
    ASSERT_TRUE(handler.Create());
    EXPECT_EQ(ParsersAlive(), nAlive);
    EXPECT_TRUE(handler.ParseAll("<b/>"));
    EXPECT_EQ(handler.m_Events, (Events{"created", "created", "<b", ">b"}));
}

TEST(CExpatImplTest, DestroyedParserCanBeDestroyedAgainAndMadeAnew)
{
    NotingHandler handler;
    handler.Destroy();
    ASSERT_TRUE(handler.Create());
    const int nAlive = ParsersAlive();
    handler.Destroy();
    handler.Destroy();
    EXPECT_EQ(ParsersAlive(), nAlive - 1);
    ASSERT_TRUE(handler.Create());
    EXPECT_TRUE(handler.ParseAll("<b/>"));
}

TEST(CExpatImplTest, ParserIsFreedWithItsHandler)
{
    const int nAlive = ParsersAlive();
    {
        NotingHandler handler;
        ASSERT_TRUE(handler.Create());
        EXPECT_EQ(ParsersAlive(), nAlive + 1);
    }
    EXPECT_EQ(ParsersAlive(), nAlive);
}

TEST(CExpatImplTest, WithoutAParserNothingIsCreated)
{
    const NoExpatParser none;
    NotingHandler handler;
    EXPECT_FALSE(handler.Create());
    EXPECT_TRUE(handler.m_Events.empty());
}

TEST(CExpatImplTest, CallbackWithoutUserDataDoesNothing)
{
    const XML_Char* attributes[] = {nullptr};
    EXPECT_NO_THROW(NotingHandler::StartElement(nullptr, "a", attributes));
    EXPECT_NO_THROW(NotingHandler::EndElement(nullptr, "a"));
    EXPECT_NO_THROW(NotingHandler::CharacterData(nullptr, "text", 4));
}

TEST(CExpatImplTest, ErrorQueriesPrintTheirLineFirst)
{
    NotingHandler handler;
    ASSERT_TRUE(handler.Create());
    EXPECT_FALSE(handler.ParseAll("\n\n&"));
    EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(handler.GetErrorCode(), XML_ERROR_INVALID_TOKEN); }),
              "in [GetErrorCode]\n");
    EXPECT_EQ(PrintedBy([&] { EXPECT_STREQ(handler.GetErrorText(XML_ERROR_SYNTAX), "syntax error"); }),
              "in [XML_LChar]\n");
    EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(handler.GetCurrentLineNumber(), 3U); }),
              "in [GetCurrentLineNumber]\n");
}

class ThrowingHandlerTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ThrowingHandlerTest, ExceptionLeavesTheParseCallAndNoHandlerIsCalledAnyMore)
{
    NotingHandler handler;
    handler.m_ThrowAt = GetParam();
    ASSERT_TRUE(handler.Create());
    EXPECT_THROW(handler.ParseAll("<a><b/>text<c/></a>"), std::runtime_error);
    EXPECT_EQ(handler.m_Events.back(), GetParam());
}

TEST_P(ThrowingHandlerTest, ExceptionLeavesTheBufferCallToo)
{
    const std::string text = "<a><b/>text<c/></a>";
    NotingHandler handler;
    handler.m_ThrowAt = GetParam();
    ASSERT_TRUE(handler.Create());
    void* const pBuffer = handler.GetBuffer(static_cast<int>(text.size()));
    ASSERT_NE(pBuffer, nullptr);
    std::memcpy(pBuffer, text.data(), text.size());
    EXPECT_THROW(handler.ParseBuffer(static_cast<int>(text.size()), true), std::runtime_error);
    EXPECT_EQ(handler.m_Events.back(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(AtEachEvent, ThrowingHandlerTest,
                         ::testing::Values("<a", "<b", ">b", "text", "<c", ">a"));

TEST(CExpatImplTest, NoFurtherPieceIsParsedAfterAnException)
{
    NotingHandler handler;
    handler.m_ThrowAt = "<b";
    ASSERT_TRUE(handler.Create());
    EXPECT_THROW(handler.Parse("<a><b/>", 7, false), std::runtime_error);
    EXPECT_FALSE(handler.Parse("</a>", 4, true));
}

TEST(CExpatImplTest, ParseAfterAnExceptionFailsAndANewParserWorks)
{
    NotingHandler handler;
    handler.m_ThrowAt = "<b";
    ASSERT_TRUE(handler.Create());
    EXPECT_THROW(handler.ParseAll("<a><b/></a>"), std::runtime_error);
    EXPECT_FALSE(handler.ParseAll("<a/>"));
    ASSERT_TRUE(handler.Create());
    EXPECT_TRUE(handler.ParseAll("<a/>"));
}

}  // namespace
}  // namespace NSTE_util
