// Why files could not be parsed, as values beside the printed lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <new>
#include <ostream>
#include <string>
#include <vector>

#include "nbiutil/sdxmlinterpreter.h"
#include "support/heapwatch.h"
#include "support/testdirectory.h"
#include "xml/interpretertesting.h"

namespace NS_UTIL {

bool operator==(const XMLParseFailure& left, const XMLParseFailure& right)
{
    return left.m_File == right.m_File && left.m_nLine == right.m_nLine && left.m_Reason == right.m_Reason;
}

std::ostream& operator<<(std::ostream& out, const XMLParseFailure& failure)
{
    return out << failure.m_File << ":" << failure.m_nLine << ": " << failure.m_Reason;
}

namespace {

using nbitest::CallingInterpreter;
using nbitest::Mgr;
using Failures = std::vector<XMLParseFailure>;

class ParseFailureTest : public nbitest::SDXMLInterpreterMgrTest {
protected:
    int Parse(const std::string& path)
    {
        int nResult = 1;
        m_Output = nbitest::PrintedBy([&] { nResult = Mgr().ParseXMLFile(path.c_str(), m_Failures); });
        return nResult;
    }

    /// What the same file prints when nobody asks for failures.
    std::string PrintedWithoutList(const std::string& path)
    {
        return nbitest::PrintedBy([&] { Mgr().ParseXMLFile(path.c_str()); });
    }

    Failures m_Failures;
};

TEST_F(ParseFailureTest, FileThatParsesAddsNothing)
{
    m_Failures = {{"before", 1, "kept"}};
    EXPECT_EQ(Parse(m_Folder.Add("a.xml", "<a/>")), 0);
    EXPECT_EQ(m_Failures, (Failures{{"before", 1, "kept"}}));
}

TEST_F(ParseFailureTest, SyntaxErrorHasFileLineAndReason)
{
    const std::string path = m_Folder.Add("a.xml", "<a>\n<b>\n</a>");
    EXPECT_EQ(Parse(path), -1);
    EXPECT_EQ(m_Failures, (Failures{{path, 3, "mismatched tag"}}));
}

TEST_F(ParseFailureTest, FileThatCannotBeOpenedHasTheSystemsReason)
{
    EXPECT_EQ(Parse(m_Folder / "none.xml"), -1);
    EXPECT_EQ(m_Failures,
              (Failures{{m_Folder / "none.xml", 0, "cannot be read: No such file or directory"}}));
}

TEST_F(ParseFailureTest, IncludedFilesAreAmongThemThoughTheIncludingOneParses)
{
    Note("a.xml");
    const std::string bad = m_Folder.Add("bad.xml", "<b>\n</c>");
    const std::string none = m_Folder / "none.xml";
    const std::string path = m_Folder / "a.xml";
    m_Folder.Add("a.xml",
                 "<a><include f='" + bad + "'/><include f='" + none + "'/><include f='" + path + "'/></a>");
    EXPECT_EQ(Parse(path), 0);
    EXPECT_EQ(m_Failures, (Failures{{bad, 2, "mismatched tag"},
                                    {none, 0, "cannot be read: No such file or directory"},
                                    {path, 0, "includes itself, which is left out"}}));
}

TEST_F(ParseFailureTest, IncludeThatIsTooDeepIsNamed)
{
    constexpr int LIMIT = 64;
    for (int i = 0; i <= LIMIT; ++i) {
        const std::string name = "f" + std::to_string(i) + ".xml";
        Note(name);
        m_Folder.Add(name,
                     "<a><include f='" + (m_Folder / ("f" + std::to_string(i + 1) + ".xml")) + "'/></a>");
    }
    EXPECT_EQ(Parse(m_Folder / "f0.xml"), 0);
    EXPECT_EQ(m_Failures, (Failures{{m_Folder / "f64.xml", 0, "is included too deep, which is left out"}}));
}

TEST_F(ParseFailureTest, ListOfAnInterpretersOwnCallGetsItsFailures)
{
    const std::string bad = m_Folder.Add("bad.xml", "<b></c>");
    Failures inner;
    Mgr().RegisterInterpreter("a.xml", new CallingInterpreter([&] {
                                  Mgr().ParseXMLFile(bad.c_str(), inner);
                                  Mgr().ParseXMLFile(bad.c_str());
                              }));
    EXPECT_EQ(Parse(m_Folder.Add("a.xml", "<a/>")), 0);
    EXPECT_EQ(inner, (Failures{{bad, 1, "mismatched tag"}}));
    EXPECT_EQ(m_Failures, (Failures{{bad, 1, "mismatched tag"}}));
}

TEST_F(ParseFailureTest, LineIsPrintedThoughThereIsNoMemoryForTheEntry)
{
    constexpr int LIMIT = 64;
    constexpr std::size_t MOST = 16;  // less than an entry's texts take
    const std::string path = m_Folder.Add("a.xml", "<a/>");
    const std::string other = m_Folder.Add("another.xml", "<a/>");
    int nDepth = 1;
    const auto Refuse = [&](const std::string& what) {
        const nbitest::AllocationLimit limit(MOST);
        EXPECT_THROW(Mgr().ParseXMLFile(what.c_str(), m_Failures), std::bad_alloc);
    };
    Mgr().RegisterInterpreter("a.xml", new CallingInterpreter([&] { Refuse(path); }));
    EXPECT_EQ(PrintedWithoutList(path),
              nbitest::POST_CREATE + ("[ParseXMLFile] File " + path + " is being parsed already\n"));
    Mgr().Clear();
    Mgr().RegisterInterpreter("a.xml", new CallingInterpreter([&] {
                                  if (nDepth == LIMIT) return Refuse(other);
                                  const std::string folder = m_Folder / std::to_string(++nDepth);
                                  std::filesystem::create_directory(folder);
                                  nbitest::WriteFile(folder + "/a.xml", "<a/>");
                                  Mgr().ParseXMLFile((folder + "/a.xml").c_str());
                              }));
    EXPECT_THAT(PrintedWithoutList(path),
                ::testing::EndsWith("[ParseXMLFile] includes nested too deep: " + other + "\n"));
    EXPECT_TRUE(m_Failures.empty());
}

TEST_F(ParseFailureTest, PrintsWhatItPrintsWithoutAList)
{
    const std::string none = m_Folder / "none.xml";
    for (const std::string& path :
         {m_Folder.Add("good.xml", "<a>text</a>"), m_Folder.Add("bad.xml", "<a></b>"), none}) {
        Parse(path);
        EXPECT_EQ(m_Output, PrintedWithoutList(path)) << path;
    }
}

TEST_F(ParseFailureTest, NobodyCollectsAfterTheCall)
{
    Parse(m_Folder.Add("a.xml", "<a/>"));
    PrintedWithoutList(m_Folder / "none.xml");
    EXPECT_TRUE(m_Failures.empty());
}

}  // namespace
}  // namespace NS_UTIL
