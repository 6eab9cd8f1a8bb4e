#include "xml/staticdescxmlparser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "support/heapwatch.h"
#include "support/inchild.h"
#include "support/testdirectory.h"
#include "xml/expatfailure.h"
#include "xml/madedocument.h"
#include "xml/xmltesting.h"

namespace NS_UTIL {
namespace {

using nbitest::CHARACTERS;
using nbitest::LinesOf;
using nbitest::MadeDocument;
using nbitest::POST_CREATE;
using nbitest::PrintedBy;
using nbitest::RunOnSmallStack;
using nbitest::Silence;
using nbitest::TestDirectory;
using ::testing::HasSubstr;
using Lines = std::vector<std::string>;

constexpr std::size_t PIECE = 256;

std::string Repeated(const std::string& text, int nTimes)
{
    std::string all;
    for (int i = 0; i < nTimes; ++i) all += text;
    return all;
}

/// What a file that expat refuses prints.
std::string ErrorLines(const std::string& path, int nLine, const std::string& error)
{
    return "in [GetErrorCode]\nin [XML_LChar]\nin [GetCurrentLineNumber]\n[PrintParseError] Parse error in "
           "file [" +
           path + "], at line [" + std::to_string(nLine) + "]:\n[" + error + "]\n";
}

class StaticDescXMLParserTest : public ::testing::Test {
protected:
    int ParseFile(const std::string& text)
    {
        m_Path = m_Folder.Add("doc.xml", text);
        int nResult = 1;
        m_Output = PrintedBy([&] { nResult = m_Parser.ParseFile(m_Path.c_str()); });
        return nResult;
    }
    bool ParseText(const std::string& text)
    {
        bool bResult = false;
        m_Output = PrintedBy([&] { bResult = m_Parser.ParseText(text.data(), text.size()); });
        return bResult;
    }

    const TestDirectory m_Folder;
    StaticDescXMLParser m_Parser;
    std::string m_Path;
    std::string m_Output;
};

TEST_F(StaticDescXMLParserTest, TreeHoldsNamesAndAttributesInDocumentOrder)
{
    EXPECT_EQ(ParseFile("<r z='1' a='2'><b/><a k='v'><c/></a><b/></r>"), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r z=1 a=2", "1 b", "1 a k=v", "2 c", "1 b"}));
}

TEST_F(StaticDescXMLParserTest, ValueAndPrintValueAreTwoCopies)
{
    EXPECT_TRUE(ParseText("<r k='v'/>"));
    const XMLItem& item = *m_Parser.Root().m_pItems[0];
    EXPECT_NE(item.m_pValue, item.m_pPrintValue);
    EXPECT_EQ(m_Parser.Root().m_pItems[1], nullptr);
}

TEST_F(StaticDescXMLParserTest, EachTextOfAnItemIsAnArrayThatMayBeReleasedAndReplaced)
{
    EXPECT_TRUE(ParseText("<r k='v' taken='along'/>"));
    XMLItem& item = *m_Parser.Root().m_pItems[0];
    for (char** const ppText : {&item.m_pName, &item.m_pValue, &item.m_pPrintValue}) {
        delete[] * ppText;
        *ppText = nullptr;
    }
    item.m_pValue = new char[4]{"new"};
    XMLItem& other = *m_Parser.Root().m_pItems[1];
    const std::unique_ptr<char[]> pTaken(std::exchange(other.m_pValue, nullptr));
    EXPECT_STREQ(item.m_pValue, "new");
    EXPECT_STREQ(pTaken.get(), "along");
}

TEST_F(StaticDescXMLParserTest, ElementWithoutAttributesHasNoArrayAndALeafNoList)
{
    EXPECT_TRUE(ParseText("<r></r>"));
    EXPECT_EQ(m_Parser.Root().m_pItems, nullptr);
    EXPECT_EQ(m_Parser.Root().m_pChildren, nullptr);
}

TEST_F(StaticDescXMLParserTest, EmptyAttributeValueIsAnEmptyText)
{
    EXPECT_TRUE(ParseText("<r k=''/>"));
    EXPECT_STREQ(m_Parser.Root().m_pItems[0]->m_pValue, "");
}

TEST_F(StaticDescXMLParserTest, DefaultedAttributesOfTheDocumentTypeAreAttributes)
{
    EXPECT_TRUE(ParseText("<!DOCTYPE r [<!ATTLIST r unit CDATA 'bytes'>]><r k='v'/>"));
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r k=v unit=bytes"}));
}

TEST_F(StaticDescXMLParserTest, FileWithoutCharacterDataPrintsThePostCreateLinesAlone)
{
    EXPECT_EQ(ParseFile("<r><a/></r>\n"), 0);
    EXPECT_EQ(m_Output, POST_CREATE);
}

TEST_F(StaticDescXMLParserTest, EveryRunOfCharacterDataPrintsTwoLinesWhiteSpaceToo)
{
    EXPECT_EQ(ParseFile("<r> <a>text</a>\t<b/>&lt;</r>"), 0);
    EXPECT_EQ(m_Output, POST_CREATE + Repeated(CHARACTERS, 4));
    EXPECT_EQ(m_Parser.Root().m_Text, "");
}

TEST_F(StaticDescXMLParserTest, LineBreakIsARunOfItsOwn)
{
    EXPECT_TRUE(ParseText("<r>\n  <a/>\n</r>"));
    EXPECT_EQ(m_Output, POST_CREATE + Repeated(CHARACTERS, 3));
}

TEST_F(StaticDescXMLParserTest, PostCreateLinesComeBeforeTheOpenError)
{
    const std::string path = m_Folder / "none %s.xml";
    EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(m_Parser.ParseFile(path.c_str()), -1); }),
              POST_CREATE + ("[ParseFile] Call fopen file name " + path + " error\n"));
}

TEST_F(StaticDescXMLParserTest, EmptyFileFailsAtItsFirstLine)
{
    EXPECT_EQ(ParseFile(""), -1);
    EXPECT_EQ(m_Output, POST_CREATE + ErrorLines(m_Path, 1, "no element found"));
}

TEST_F(StaticDescXMLParserTest, ErrorTellsFileLineAndReason)
{
    EXPECT_EQ(ParseFile("<r>\n<a>\n</b></r>"), -1);
    EXPECT_EQ(m_Output, POST_CREATE + Repeated(CHARACTERS, 2) + ErrorLines(m_Path, 3, "mismatched tag"));
}

TEST_F(StaticDescXMLParserTest, ErrorIsFoundInTheDeferredEndOfTheFile)
{
    // Long enough to be held back, and cut so that no final flag is raised.
    EXPECT_EQ(ParseFile("<r k='" + std::string(1000, 'v') + "' &>"), -1);
    EXPECT_EQ(m_Output, POST_CREATE + ErrorLines(m_Path, 1, "not well-formed (invalid token)"));
}

TEST_F(StaticDescXMLParserTest, PercentSignsOfAFileNameArePrintedAsTheyAre)
{
    const std::string path = m_Folder.Add("a%s%n.xml", "&");
    EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(m_Parser.ParseFile(path.c_str()), -1); }),
              POST_CREATE + ErrorLines(path, 1, "not well-formed (invalid token)"));
}

TEST_F(StaticDescXMLParserTest, FolderCannotBeReadAndFails)
{
    const std::string path = m_Folder / "";
    EXPECT_EQ(PrintedBy([&] { EXPECT_EQ(m_Parser.ParseFile(path.c_str()), -1); }),
              POST_CREATE + ErrorLines(path, 1, "no element found"));
}

TEST_F(StaticDescXMLParserTest, CutFileOfNoMultipleOf256BytesIsASuccessWithItsPartialTree)
{
    EXPECT_EQ(ParseFile("<r><a/><b k='v'><c"), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), (Lines{"0 r", "1 a", "1 b k=v"}));
    EXPECT_EQ(m_Output, POST_CREATE);
}

TEST_F(StaticDescXMLParserTest, CutFileOf512BytesFails)
{
    const std::string begun = "<r><a/>";
    EXPECT_EQ(ParseFile(begun + "<!--" + std::string(512 - begun.size() - 4, '-')), -1);
    EXPECT_EQ(ParseFile(begun + std::string(512 - begun.size(), '\n')), -1);
    EXPECT_THAT(m_Output, HasSubstr("[no element found]\n"));
}

TEST_F(StaticDescXMLParserTest, CompleteFileOf256BytesNeedsTheReadOfZeroBytesAndSucceeds)
{
    const MadeDocument document(PIECE, 1);
    EXPECT_EQ(ParseFile(document.Text()), 0);
    EXPECT_EQ(LinesOf(m_Parser.Root()), document.LinesBefore(PIECE));
}

TEST_F(StaticDescXMLParserTest, BufferIsParsedToItsEndAndACutOneIsRefused)
{
    EXPECT_FALSE(ParseText("<r><a/>"));
    EXPECT_EQ(m_Output, POST_CREATE);
}

TEST_F(StaticDescXMLParserTest, RefusedBufferPrintsNoErrorText)
{
    EXPECT_FALSE(ParseText("<r>text</q>"));
    EXPECT_EQ(m_Output, std::string(POST_CREATE) + CHARACTERS);
}

TEST_F(StaticDescXMLParserTest, NegativeLengthMeansAZeroTerminatedText)
{
    const char text[] = "<r k='v'/>";
    for (const unsigned long nLength : {0xFFFFFFFFUL, ULONG_MAX, 0x80000000UL, 0x1FFFFFFFFUL}) {
        StaticDescXMLParser parser;
        PrintedBy([&] { EXPECT_TRUE(parser.ParseText(text, nLength)); });
        EXPECT_EQ(LinesOf(parser.Root()), (Lines{"0 r k=v"}));
    }
}

TEST_F(StaticDescXMLParserTest, ZeroTerminatedTextIsParsedToItsEndToo)
{
    PrintedBy([&] { EXPECT_FALSE(m_Parser.ParseText("<r><a/>", ULONG_MAX)); });
}

TEST_F(StaticDescXMLParserTest, OnlyTheLow32BitsOfALengthCount)
{
    const char text[] = "<r/><";
    PrintedBy([&] { EXPECT_TRUE(m_Parser.ParseText(text, 0x100000004UL)); });
    StaticDescXMLParser other;
    PrintedBy([&] { EXPECT_FALSE(other.ParseText("<r/>", 0x100000000UL)); });
}

TEST_F(StaticDescXMLParserTest, ErrorIsPrintedWithoutAPlaceWhenNoFileIsKnown)
{
    EXPECT_FALSE(ParseText("<r"));
    EXPECT_EQ(PrintedBy([&] { m_Parser.PrintParseError(); }),
              "in [GetErrorCode]\nin [XML_LChar]\nParse error:\n[unclosed token]\n");
}

TEST_F(StaticDescXMLParserTest, FileNameIsForgottenAfterTheParse)
{
    EXPECT_EQ(ParseFile("&"), -1);
    EXPECT_EQ(PrintedBy([&] { m_Parser.PrintParseError(); }),
              "in [GetErrorCode]\nin [XML_LChar]\nParse error:\n[not well-formed (invalid token)]\n");
}

TEST_F(StaticDescXMLParserTest, NothingIsReadWithoutAnExpatParser)
{
    const nbitest::NoExpatParser noParser;
    EXPECT_EQ(ParseFile("<r/>"), -1);
    EXPECT_EQ(m_Output, "");
    EXPECT_FALSE(ParseText("<r/>"));
    EXPECT_EQ(m_Output, "");
}

TEST_F(StaticDescXMLParserTest, FileFailsWhenExpatGivesNoRoomForTheNextPiece)
{
    const nbitest::NoExpatBuffer noBuffer(1);
    EXPECT_EQ(ParseFile("<r>" + std::string(PIECE, '\n') + "</r>"), -1);
    EXPECT_EQ(m_Output, POST_CREATE + Repeated(CHARACTERS, static_cast<int>(PIECE) - 3));
}

/// The number under which this process has that file open, or -1.
int HandleOf(const std::string& path)
{
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the directory's own
        if (std::filesystem::read_symlink(entry, gone) == path) return std::stoi(entry.path().filename());
    }
    return -1;
}

TEST_F(StaticDescXMLParserTest, FileIsOpenAboveTheStandardStreamsAndNotForChildren)
{
    const std::string path = m_Folder.Add("doc.xml", "<r/>");
    EXPECT_TRUE(nbitest::PassesInChild([&] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        int nHandle = -1;
        const nbitest::WheneverExpatGivesABuffer look([&] { nHandle = HandleOf(path); });
        EXPECT_EQ(m_Parser.ParseFile(path.c_str()), 0);
        EXPECT_GT(nHandle, STDERR_FILENO);
    }));
    int nFlags = 0;
    const nbitest::WheneverExpatGivesABuffer look([&] { nFlags = fcntl(HandleOf(path), F_GETFD); });
    EXPECT_EQ(m_Parser.ParseFile(path.c_str()), 0);
    EXPECT_EQ(nFlags, FD_CLOEXEC);
}

/// True when the parse needed no more than \p nBefore allocations; nothing is left of it either way.
bool ParsesWith(long nBefore, const std::string& text)
{
    const Silence silence;
    const long nLive = nbitest::LiveAllocations();
    bool bParsed = false;
    {
        StaticDescXMLParser parser;
        const nbitest::FailingAllocation failing(nBefore);
        try {
            bParsed = parser.ParseText(text.data(), text.size());
        } catch (const std::bad_alloc&) {
        }
    }
    EXPECT_EQ(nbitest::LiveAllocations(), nLive) << nBefore;
    return bParsed;
}

TEST_F(StaticDescXMLParserTest, EveryAllocationThatFailsThrowsBadAllocAndLeaksNothing)
{
    const std::string text = "<root><element_with_a_long_name a='1' b='" + std::string(150, 'v') +
                             "'><inner/><inner k='20 characters of it'/></element_with_a_long_name></root>";
    long nAllocations = 0;
    while (!ParsesWith(nAllocations, text)) ++nAllocations;
    // Arrays of items (2), items (3), their texts (9), elements (3), nodes (3), lists (2), a long name, open elements (3).
    EXPECT_EQ(nAllocations, 26);
}

TEST_F(StaticDescXMLParserTest, ArraysOfTheTreeAreNoLongerThanWhatTheyHold)
{
    const Silence silence;
    const std::string value(5000, 'v');
    const std::string oneLongValue = "<r k='" + value + "'/>";
    {
        const nbitest::AllocationLimit limit(value.size() + 1);
        EXPECT_TRUE(m_Parser.ParseText(oneLongValue.data(), oneLongValue.size()));
    }
    constexpr std::size_t ITEMS = 1000;
    std::string manyItems = "<r";
    for (std::size_t i = 0; i < ITEMS; ++i) manyItems += " a" + std::to_string(i) + "=''";
    manyItems += "/>";
    StaticDescXMLParser other;
    const nbitest::AllocationLimit limit((ITEMS + 1) * sizeof(void*));  // a pointer each
    EXPECT_TRUE(other.ParseText(manyItems.data(), manyItems.size()));
}

class StaticDescXMLParserLengthTest : public ::testing::Test {
protected:
    /// Parses the first \p nLength bytes of \p document as a file.
    void ExpectTree(const MadeDocument& document, std::size_t nLength, bool bSuccess)
    {
        const std::string path = m_Folder.Add("doc.xml", document.Text().substr(0, nLength));
        StaticDescXMLParser parser;
        int nResult = 1;
        {
            const Silence silence;
            nResult = parser.ParseFile(path.c_str());
        }
        SCOPED_TRACE(document.Text().substr(0, nLength));
        ASSERT_EQ(nResult, bSuccess ? 0 : -1) << nLength;
        if (!bSuccess) return;
        ASSERT_EQ(LinesOf(parser.Root()), document.LinesBefore(nLength)) << nLength;
    }

    const TestDirectory m_Folder;
};

TEST_F(StaticDescXMLParserLengthTest, WholeDocumentsOfEveryLengthGiveTheirTree)
{
    for (unsigned int nSeed = 1; nSeed <= 2; ++nSeed) {
        for (std::size_t nLength = 9; nLength <= 1100; ++nLength) {
            const MadeDocument document(nLength, nSeed + 10 * static_cast<unsigned int>(nLength));
            ASSERT_EQ(document.Text().size(), nLength);
            ASSERT_NO_FATAL_FAILURE(ExpectTree(document, nLength, true));
        }
    }
}

TEST_F(StaticDescXMLParserLengthTest, WhiteSpaceBehindTheDocumentMayEndAnywhere)
{
    for (std::size_t nLength = 4; nLength <= 1100; ++nLength) {
        const std::string path = m_Folder.Add("doc.xml", "<r/>" + std::string(nLength - 4, '\n'));
        StaticDescXMLParser parser;
        const Silence silence;
        ASSERT_EQ(parser.ParseFile(path.c_str()), 0) << nLength;
        ASSERT_EQ(LinesOf(parser.Root()), (Lines{"0 r"})) << nLength;
    }
}

TEST_F(StaticDescXMLParserLengthTest, CutDocumentsOfEveryLengthGiveWhatWasBegunBeforeTheCut)
{
    for (unsigned int nSeed = 1; nSeed <= 3; ++nSeed) {
        const MadeDocument document(1300 + nSeed, nSeed);
        for (std::size_t nLength = 0; nLength <= 1100; ++nLength) {
            ASSERT_NO_FATAL_FAILURE(ExpectTree(document, nLength, nLength % PIECE != 0));
        }
    }
}

TEST_F(StaticDescXMLParserLengthTest, CutsInsideALongTagLoseNothingThatWasComplete)
{
    for (std::size_t nLength = 9; nLength <= 1100; nLength += 7) {
        const MadeDocument document(nLength, 5);
        for (std::size_t nCut = nLength - 9; nCut < nLength; ++nCut) {
            ASSERT_NO_FATAL_FAILURE(ExpectTree(document, nCut, nCut % PIECE != 0));
        }
    }
}

}  // namespace
}  // namespace NS_UTIL
