#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cstring>
#include <random>

#include "xml/expatkind.h"
#include "xml/literalreader.h"
#include "xml/madedocument.h"
#include "xml/staticdescxmlparser.h"
#include "xml/xmltesting.h"

namespace {

int g_nHandOvers = 0;
int g_nMostHandOvers = INT_MAX;
int g_nEnds = 0;           // how often expat heard that the document ends
std::vector<int> g_Rooms;  // that expat was asked for, in bytes

}  // namespace

extern "C" {
XML_Status __real_XML_ParseBuffer(XML_Parser parser, int nLength, int nFinal);
XML_Status __wrap_XML_ParseBuffer(XML_Parser parser, int nLength, int nFinal)
{
    if (nFinal != 0) ++g_nEnds;
    if (++g_nHandOvers > g_nMostHandOvers) XML_StopParser(parser, XML_FALSE);
    return __real_XML_ParseBuffer(parser, nLength, nFinal);
}

void* __real_XML_GetBuffer(XML_Parser parser, int nLength);
void* __wrap_XML_GetBuffer(XML_Parser parser, int nLength)
{
    g_Rooms.push_back(nLength);
    return __real_XML_GetBuffer(parser, nLength);
}
}

namespace NS_UTIL {
namespace {

using nbitest::LinesOf;
using nbitest::LiteralReader;
using nbitest::MadeDocument;
using nbitest::Reading;
using nbitest::RUNS_ARE_EXACT;
using Lines = std::vector<std::string>;

/// A file in memory.
class MemoryFile {
public:
    MemoryFile() : m_nFile(memfd_create("document", MFD_CLOEXEC)) {}
    ~MemoryFile() { close(m_nFile); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int Handle() const { return m_nFile; }
    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_nFile); }

    void Set(const std::string& text) const
    {
        Clear();
        ASSERT_EQ(write(m_nFile, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    std::string Text() const
    {
        std::string text(static_cast<std::size_t>(lseek(m_nFile, 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(m_nFile, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
        return text;
    }
    void Clear() const
    {
        ASSERT_EQ(ftruncate(m_nFile, 0), 0);
        ASSERT_EQ(lseek(m_nFile, 0, SEEK_SET), 0);
    }

private:
    const int m_nFile;
};

/// Standard output goes into a file for as long as the object lives.
class OutputInto {
public:
    explicit OutputInto(const MemoryFile& file) { Redirect(file.Handle()); }
    ~OutputInto()
    {
        Redirect(m_nBefore);
        close(m_nBefore);
    }
    OutputInto(const OutputInto&) = delete;
    OutputInto& operator=(const OutputInto&) = delete;

private:
    static void Redirect(int nTarget)
    {
        std::fflush(stdout);
        dup2(nTarget, STDOUT_FILENO);
    }
    const int m_nBefore = dup(STDOUT_FILENO);
};

class ExpatKindTest : public ::testing::Test {
protected:
    ~ExpatKindTest() override { g_nMostHandOvers = INT_MAX; }

    /// What the library makes of a file with that text.
    Reading Read(const std::string& text)
    {
        m_File.Set(text);
        m_Output.Clear();
        StaticDescXMLParser parser;
        Reading reading;
        reading.m_nResult = Parse(parser);
        reading.m_Printed = m_Output.Text();
        reading.m_Lines = LinesOf(parser.Root());
        return reading;
    }

    int Parse(StaticDescXMLParser& parser)
    {
        const OutputInto output(m_Output);
        g_nHandOvers = g_nEnds = 0;
        g_Rooms.clear();
        return parser.ParseFile(m_File.Path().c_str());
    }

    void ExpectAsLiterally(const std::string& text)
    {
        const Reading expected = LiteralReader::Read(text, m_File.Path(), &nbitest::NeverPutOff);
        const Reading reading = Read(text);
        ASSERT_EQ(reading.m_nResult, expected.m_nResult) << text;
        ASSERT_EQ(reading.m_Lines, expected.m_Lines) << text;
        if (RUNS_ARE_EXACT) {
            ASSERT_EQ(reading.m_Printed, expected.m_Printed) << text;
        }
    }

    const MemoryFile m_Output;
    const MemoryFile m_File;
};

TEST_F(ExpatKindTest, LongAttributeAtTheEndIsNotLost)
{
    const std::string value(600, 'k');
    const Reading reading = Read("<root><a/><b/><c k=\"" + value + "\"/></root>");
    EXPECT_EQ(reading.m_nResult, 0);
    EXPECT_EQ(reading.m_Lines, (Lines{"0 root", "1 a", "1 b", "1 c k=" + value}));
    EXPECT_EQ(reading.m_Printed, nbitest::POST_CREATE);
}

TEST_F(ExpatKindTest, ErrorInALongTagAtTheEndIsNotLostEither)
{
    const std::string text = "<r k='" + std::string(1000, 'v') + "' &>";
    EXPECT_EQ(Read(text).m_nResult, -1);
    ExpectAsLiterally(text);
}

TEST_F(ExpatKindTest, FailureAtTheEndThatIsNoCutIsAFailure)
{
    m_File.Set("<r/>");
    g_nMostHandOvers = 1;  // the end is one more
    StaticDescXMLParser parser;
    // Only an expat that puts tokens off must hear of the end.
    EXPECT_EQ(Parse(parser), nbitest::RUNS_ARE_EXACT ? 0 : -1);
}

TEST_F(ExpatKindTest, DocumentBehindACommentOfMoreThanAPieceIsNotLost)
{
    const std::string comment = "<!--" + std::string(250, '-').replace(0, 250, 250, 'c') + "-->";
    ASSERT_EQ(comment.size(), 257U);
    const Reading reading = Read(comment + "<root interpreter=\"x\">");
    EXPECT_EQ(reading.m_nResult, 0);
    EXPECT_EQ(reading.m_Lines, (Lines{"0 root interpreter=x"}));
}

TEST_F(ExpatKindTest, WholeDocumentsOfEveryLengthAreReadAsLiterally)
{
    for (std::size_t nLength = 9; nLength <= 1200; ++nLength) {
        const MadeDocument document(nLength, static_cast<unsigned int>(nLength));
        ASSERT_NO_FATAL_FAILURE(ExpectAsLiterally(document.Text()));
    }
}

TEST_F(ExpatKindTest, CutDocumentsOfEveryLengthAreReadAsLiterally)
{
    const std::string value(2 * 1200, 'v');
    const std::string comment = "<!--" + std::string(1200, 'c');
    for (const std::string& text : {MadeDocument(1300, 1).Text(), MadeDocument(1300, 2).Text(),
                                    "<root><a/>text<c k='" + value, comment}) {
        for (std::size_t nLength = 1; nLength <= 1200; ++nLength) {
            ASSERT_NO_FATAL_FAILURE(ExpectAsLiterally(text.substr(0, nLength)));
        }
    }
}

/// All that a piece may end in the middle of, behind an attribute of \p nPadding characters.
std::string Everything(std::size_t nPadding)
{
    const std::string constructs =
        "<l\xC3\xA4ngerer-name attribut=\"\xE2\x82\xAC&#xE4; &amp; &e; >\n'\" zweites='x'/>"
        "]]text]]\r\n\xC3\xA4\xE2\x82\xAC\xF0\x9D\x84\x9E]\xC3\xA4]]\xE2\x82\xAC]\xF0\x9D\x84\x9E]]]]end"
        "&lt;&e;&#228;<!-- a <comment/> - of its own -->\r\r"
        "<?target some <data/> ?><![CDATA[a]b]]c]]\r\n]\xE2\x82\xAC]]x>]]><n></n>";
    std::string runs;
    for (int i = 0; i < 40; ++i) runs += "a long run of \xC3\xA4\xE2\x82\xAC\xF0\x9D\x84\x9E]] text ";
    return "<?xml version='1.0'?><!DOCTYPE r [<!ENTITY e 'text'> ]><r p='" + std::string(nPadding, 'p') +
           "'>" + constructs + runs + constructs + "<c>" + runs + "</c>" + constructs + "</r>\n";
}

class PaddedDocumentTest : public ExpatKindTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(PaddedDocumentTest, PiecesMayEndInsideEverything)
{
    ASSERT_EQ(Read(Everything(GetParam())).m_nResult, 0) << "nobody reads what stands behind an error";
    for (std::size_t nShift = 0; nShift < 256; ++nShift) {
        ASSERT_NO_FATAL_FAILURE(ExpectAsLiterally(Everything(GetParam() + nShift)));
    }
}

TEST_P(PaddedDocumentTest, ErrorsAreFoundWhereTheyStand)
{
    constexpr char WRONG[] = "<&;/'\0!\xC3?= ";
    std::minstd_rand random(static_cast<unsigned int>(GetParam()) + 1);
    for (int i = 0; i < 300; ++i) {
        std::string text = Everything(GetParam() + random() % 256);
        text[random() % text.size()] = WRONG[random() % (sizeof(WRONG) - 1)];
        ASSERT_NO_FATAL_FAILURE(ExpectAsLiterally(text));
    }
}

INSTANTIATE_TEST_SUITE_P(ByPadding, PaddedDocumentTest, ::testing::Values(0, 700, 1500, 6000, 20000));

TEST_F(ExpatKindTest, OtherEncodingsGiveTheSameTree)
{
    const std::string value(3000, 'v');
    std::string text = "<r k='" + value + "'><n a='b'/>text</r>";
    const Lines expected{"0 r k=" + value, "1 n a=b"};
    EXPECT_EQ(Read("<?xml version='1.0' encoding='ISO-8859-1'?>" + text).m_Lines, expected);
    std::string wide = "\xFF\xFE";
    for (const char character : text) wide += std::string{character, '\0'};
    EXPECT_EQ(Read(wide).m_Lines, expected);
}

TEST_F(ExpatKindTest, AttributeOf20MillionBytesTakesFewHandOvers)
{
    constexpr std::size_t LONG = 20000000;
    m_File.Set("<r><a/><b k='" + std::string(LONG, 'v') + "'/>text</r>");
    g_nMostHandOvers = 40;
    StaticDescXMLParser parser;
    ASSERT_EQ(Parse(parser), 0);
    ASSERT_NE(parser.Root().m_pChildren, nullptr);
    EXPECT_EQ(std::strlen(parser.Root().m_pChildren->back()->m_pItems[0]->m_pValue), LONG);
}

TEST_F(ExpatKindTest, CommentOf20MillionBytesTakesFewHandOvers)
{
    constexpr std::size_t LONG = 20000000;
    m_File.Set("<!--" + std::string(LONG, 'c') + "--><r/>");
    g_nMostHandOvers = 40;
    StaticDescXMLParser parser;
    ASSERT_EQ(Parse(parser), 0);
    EXPECT_EQ(parser.Root().m_Name, "r");
}

TEST_F(ExpatKindTest, TextIsHandedOverPieceByPiece)
{
    constexpr int PIECES = 100;
    Read("<r>" + std::string(PIECES * 256, 't') + "</r>");
    // Only an expat that puts tokens off must hear of the end.
    EXPECT_EQ(g_nEnds, nbitest::RUNS_ARE_EXACT ? 0 : 1);
    EXPECT_EQ(g_nHandOvers, PIECES + 1 + g_nEnds);
}

TEST_F(ExpatKindTest, FileOfWholePiecesIsHandedOverOnceEachAndThenItsEnd)
{
    constexpr int PIECES = 2;
    Read("<r>" + std::string(PIECES * 256 - 7, 't') + "</r>");
    EXPECT_EQ(g_nEnds, 1);
    EXPECT_EQ(g_nHandOvers, PIECES + 1);
}

TEST_F(ExpatKindTest, TokenOfFourPiecesAndMoreIsGivenAsMuchAgainAsThereIsOfIt)
{
    const std::string comment = "<!--" + std::string(5000, 'c') + "--><r/>";
    Read(comment);
    EXPECT_EQ(g_Rooms, (std::vector<int>{256, 256, 256, 256, 1024, 2048, 4096}));
    Read("\n" + comment);
    EXPECT_EQ(g_Rooms, (std::vector<int>{256, 256, 256, 256, 256, 1024, 2048, 4096}));
}

}  // namespace
}  // namespace NS_UTIL
