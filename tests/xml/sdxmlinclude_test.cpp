#include "nbiutil/sdxmlinterpreter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <thread>

#include "xml/interpretertesting.h"

namespace {

struct Identity {
    dev_t m_nDevice;
    ino_t m_nInode;
};
std::map<std::string, Identity> g_Identities;  // of files that say they are others

}  // namespace

extern "C" {
// In front of the system's by --wrap.
int __real_stat(const char* pPath, struct stat* pStatus);
int __wrap_stat(const char* pPath, struct stat* pStatus)
{
    const int nResult = __real_stat(pPath, pStatus);
    const auto found = g_Identities.find(pPath);
    if (found == g_Identities.end()) return nResult;
    pStatus->st_dev = found->second.m_nDevice;
    pStatus->st_ino = found->second.m_nInode;
    return nResult;
}
}

namespace NS_UTIL {
namespace {

using nbitest::CallingInterpreter;
using nbitest::Lines;
using nbitest::Mgr;
using nbitest::NotingInterpreter;
using nbitest::POST_CREATE;

using SDXMLIncludeTest = nbitest::SDXMLInterpreterMgrTest;

TEST_F(SDXMLIncludeTest, IncludedFileIsDispatchedToItsOwnInterpreterAtOnce)
{
    Note("a.xml");
    Note("b.xml");
    const std::string inner = m_Folder.Add("b.xml", "<b><macro_desc M='2'/></b>");
    const std::string outer = m_Folder.Add(
        "a.xml", "<a><macro_desc M='1'/><include any='" + inner + "' file='none'/><macro_desc N='3'/></a>");
    EXPECT_EQ(ParseFile(outer), 0);
    ASSERT_EQ(m_Seen.size(), 2U);
    EXPECT_EQ(m_Seen[1], (Lines{"0 b", "1 macro_desc M=2"}));
    EXPECT_EQ(Mgr().ParseInt("M"), 2);
    EXPECT_EQ(Mgr().ParseInt("N"), 3);
}

TEST_F(SDXMLIncludeTest, StoredNameRemainsThatOfTheIncludedFile)
{
    Note("a.xml");
    Note("b.xml");
    const std::string inner = m_Folder.Add("b.xml", "<b/>");
    EXPECT_EQ(ParseFile(m_Folder.Add("a.xml", "<a><include file='" + inner + "'/></a>")), 0);
    EXPECT_EQ(Mgr().getFileName(), "b.xml");
    m_Seen.clear();
    EXPECT_TRUE(ParseBuffer("<buffer/>"));
    EXPECT_EQ(m_Seen, (std::vector<Lines>{{"0 buffer"}}));
}

TEST_F(SDXMLIncludeTest, FailedIncludePrintsItsMessagesAndDoesNotStopTheIncludingFile)
{
    Note("a.xml");
    const std::string none = m_Folder / "none.xml";
    const std::string bad = m_Folder.Add("bad.xml", "<b></c>");
    EXPECT_EQ(ParseFile(m_Folder.Add("a.xml", "<a><include f='" + none + "'/><include f='" + bad +
                                                  "'/><macro_desc M='1'/></a>")),
              0);
    EXPECT_EQ(m_Output, std::string(POST_CREATE) + POST_CREATE + "[ParseFile] Call fopen file name " + none +
                            " error\n" + POST_CREATE +
                            "in [GetErrorCode]\nin [XML_LChar]\nin [GetCurrentLineNumber]\n"
                            "[PrintParseError] Parse error in file [" +
                            bad + "], at line [1]:\n[mismatched tag]\n");
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
    EXPECT_EQ(Mgr().getFileName(), "a.xml");
}

TEST_F(SDXMLIncludeTest, IncludeWithoutAttributesIsSkipped)
{
    Note("a.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("a.xml", "<a><include/><macro_desc M='1'/></a>")), 0);
    EXPECT_EQ(m_Output, POST_CREATE);
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
}

TEST_F(SDXMLIncludeTest, RelativePathResolvesAgainstTheWorkingDirectory)
{
    Note("a.xml");
    Note("b.xml");
    std::filesystem::create_directory(m_Folder / "sub");
    m_Folder.Add("sub/b.xml", "<wrong/>");
    m_Folder.Add("b.xml", "<right/>");
    const std::string outer = m_Folder.Add("sub/a.xml", "<a><include f='b.xml'/></a>");
    std::filesystem::current_path(m_Folder / "");
    EXPECT_EQ(ParseFile(outer), 0);
    std::filesystem::current_path("/");
    ASSERT_EQ(m_Seen.size(), 2U);
    EXPECT_EQ(m_Seen[1], (Lines{"0 right"}));
}

class SDXMLDeepIncludeTest : public nbitest::SDXMLInterpreterMgrTest {
protected:
    static constexpr int LIMIT = 64;

    /// Files of which each includes the one before, then sets the macro M; f1.xml is the innermost.
    /// \return the outermost
    std::string Chain(int nFiles)
    {
        auto* const pInterpreter = new NotingInterpreter(m_Seen);
        std::string text = "<r/>";
        for (int i = 1;; ++i) {
            const std::string name = "f" + std::to_string(i) + ".xml";
            Mgr().RegisterInterpreter(name, pInterpreter);
            const std::string path = m_Folder.Add(name, text);
            if (i == nFiles) return path;
            text = "<r><include f='" + path + "'/><macro_desc M='" + std::to_string(i + 1) + "'/></r>";
        }
    }

    static std::string TooDeep(const std::string& path)
    {
        return "[ParseXMLFile] includes nested too deep: " + path + "\n";
    }
};

TEST_F(SDXMLDeepIncludeTest, SixtyFourNestedFilesAreParsedOnASmallStack)
{
    const std::string path = Chain(LIMIT);
    nbitest::RunOnSmallStack([&] { EXPECT_EQ(ParseFile(path), 0); });
    EXPECT_EQ(m_Seen.size(), static_cast<std::size_t>(LIMIT));
    EXPECT_EQ(Mgr().getFileName(), "f1.xml");
}

TEST_F(SDXMLDeepIncludeTest, SixtyFifthIsRefusedWithALineAndTheIncludingFileGoesOn)
{
    const std::string path = Chain(LIMIT + 1);
    EXPECT_EQ(ParseFile(path), 0);
    std::string expected;
    for (int i = 0; i < LIMIT; ++i) expected += POST_CREATE;
    EXPECT_EQ(m_Output, expected + TooDeep(m_Folder / "f1.xml"));
    EXPECT_EQ(m_Seen.size(), static_cast<std::size_t>(LIMIT));
    EXPECT_EQ(Mgr().getFileName(), "f2.xml");
    EXPECT_EQ(Mgr().ParseInt("M"), LIMIT + 1);
}

TEST_F(SDXMLDeepIncludeTest, InterpretersOwnCallsCountToo)
{
    constexpr int MORE = 70;
    int nCalls = 0;
    int nFailures = 0;
    Mgr().RegisterInterpreter("doc.xml", nullptr);
    const auto parseNext = [&] {
        const std::string folder = m_Folder / std::to_string(++nCalls);
        if (nCalls > MORE) return;
        std::filesystem::create_directory(folder);
        nbitest::WriteFile(folder + "/doc.xml", "<r/>");
        if (Mgr().ParseXMLFile((folder + "/doc.xml").c_str()) == -1) ++nFailures;
    };
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter(parseNext));
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml", "<r/>")), 0);
    EXPECT_EQ(nCalls, LIMIT);
    EXPECT_EQ(nFailures, 1);
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml", "<r/>")), 0);  // the count went down again
}

TEST_F(SDXMLDeepIncludeTest, FilesOfAnotherThreadDoNotCount)
{
    int nOther = 1;
    const std::string path = Chain(LIMIT);
    Mgr().RegisterInterpreter(
        "f1.xml", new CallingInterpreter([&] {
            std::thread([&] { nOther = Mgr().ParseXMLFile((m_Folder / "f1.txt").c_str()); }).join();
        }));
    m_Folder.Add("f1.txt", "<r/>");
    EXPECT_EQ(ParseFile(path), 0);
    EXPECT_EQ(nOther, 0);
}

TEST_F(SDXMLIncludeTest, FileThatIncludesItselfIsNotParsedAgainAndOneLineSaysSo)
{
    Note("a.xml");
    const std::string path = m_Folder / "a.xml";
    m_Folder.Add("a.xml", "<a><include f='" + path + "'/><macro_desc M='1'/></a>");
    EXPECT_EQ(ParseFile(path), 0);
    EXPECT_EQ(m_Output, POST_CREATE + ("[ParseXMLFile] File " + path + " is being parsed already\n"));
    EXPECT_EQ(m_Seen.size(), 1U);
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
}

TEST_F(SDXMLIncludeTest, CircleIsAFailureForWhoeverParses)
{
    const std::string path = m_Folder.Add("a.xml", "<a/>");
    int nInner = 1;
    Mgr().RegisterInterpreter("a.xml",
                              new CallingInterpreter([&] { nInner = Mgr().ParseXMLFile(path.c_str()); }));
    EXPECT_EQ(ParseFile(path), 0);
    EXPECT_EQ(nInner, -1);
}

TEST_F(SDXMLIncludeTest, CircleOfTwoFilesIsFoundBehindALinkAndAnotherPath)
{
    Note("a.xml");
    Note("b.xml");
    std::string includes;
    std::string expected = std::string(POST_CREATE) + POST_CREATE;
    for (const char* pName : {"soft.xml", "hard.xml", "./a.xml"}) {
        includes += "<include f='" + (m_Folder / pName) + "'/>";
        expected += "[ParseXMLFile] File " + (m_Folder / pName) + " is being parsed already\n";
    }
    const std::string inner = m_Folder.Add("b.xml", "<b>" + includes + "</b>");
    const std::string outer = m_Folder.Add("a.xml", "<a><include f='" + inner + "'/></a>");
    std::filesystem::create_symlink(outer, m_Folder / "soft.xml");
    std::filesystem::create_hard_link(outer, m_Folder / "hard.xml");
    EXPECT_EQ(ParseFile(outer), 0);
    EXPECT_EQ(m_Seen.size(), 2U);
    EXPECT_EQ(m_Output, expected);
}

TEST_F(SDXMLIncludeTest, SameInodeOfAnotherDeviceIsNoCircleNorAnotherInodeOfTheSame)
{
    Note("a.xml");
    std::string includes;
    for (const char* pName : {"device.xml", "inode.xml", "same.xml"}) {
        Note(pName);
        includes += "<include f='" + m_Folder.Add(pName, "<r/>") + "'/>";
    }
    const std::string path = m_Folder.Add("a.xml", "<a>" + includes + "</a>");
    g_Identities = {{path, {1, 5}},
                    {m_Folder / "device.xml", {2, 5}},
                    {m_Folder / "inode.xml", {1, 6}},
                    {m_Folder / "same.xml", {1, 5}}};
    EXPECT_EQ(ParseFile(path), 0);
    g_Identities.clear();
    EXPECT_EQ(m_Seen.size(), 3U);
    EXPECT_EQ(m_Output, std::string(POST_CREATE) + POST_CREATE + POST_CREATE + "[ParseXMLFile] File " +
                            (m_Folder / "same.xml") + " is being parsed already\n");
}

TEST_F(SDXMLIncludeTest, SecondIncludeThatIsNoCircleIsParsedAgain)
{
    Note("a.xml");
    Note("b.xml");
    const std::string inner = m_Folder.Add("b.xml", "<b/>");
    const std::string include = "<include f='" + inner + "'/>";
    EXPECT_EQ(ParseFile(m_Folder.Add("a.xml", "<a>" + include + include + "</a>")), 0);
    EXPECT_EQ(m_Seen.size(), 3U);
    EXPECT_EQ(m_Output, std::string(POST_CREATE) + POST_CREATE + POST_CREATE);
}

TEST_F(SDXMLIncludeTest, CircleThroughABufferEndsToo)
{
    Note("a.xml");
    const std::string path = m_Folder.Add("a.xml", "<a/>");
    EXPECT_EQ(ParseFile(path), 0);
    m_Folder.Add("a.xml", "<a><include f='" + path + "'/></a>");
    EXPECT_TRUE(ParseBuffer("<r><include f='" + path + "'/></r>"));
    EXPECT_EQ(m_Seen.size(), 3U);
}

TEST_F(SDXMLIncludeTest, FileThatAnotherThreadParsesIsNoCircle)
{
    const std::string path = m_Folder.Add("a.xml", "<a/>");
    int nOther = 1;
    bool bOuter = true;
    Mgr().RegisterInterpreter("a.xml", new CallingInterpreter([&] {
                                  if (!std::exchange(bOuter, false)) return;
                                  std::thread([&] { nOther = Mgr().ParseXMLFile(path.c_str()); }).join();
                              }));
    EXPECT_EQ(ParseFile(path), 0);
    EXPECT_EQ(nOther, 0);
}

}  // namespace
}  // namespace NS_UTIL
