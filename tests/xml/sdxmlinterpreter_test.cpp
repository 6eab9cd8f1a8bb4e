#include "nbiutil/sdxmlinterpreter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "support/lockfailure.h"
#include "support/tempdir.h"
#include "xml/staticdescxmlparser.h"
#include "xml/xmltesting.h"

namespace NS_UTIL {

/// The application's own type: the library only passes pointers to it through.
class TEParserPara {
public:
    int m_nValue = 0;
};

namespace {

using nbitest::CanFailLocks;
using nbitest::FailingLocks;
using nbitest::LinesOf;
using nbitest::LockKind;
using nbitest::NO_FAILING_LOCKS;
using nbitest::POST_CREATE;
using nbitest::PrintedBy;
using nbitest::Silence;
using nbitest::TempDir;
using Lines = std::vector<std::string>;

SDXMLInterpreterMgr& Mgr()
{
    return *SDXMLInterpreterMgr::Instance();
}

/// Notes what it is given, then does what the base does.
class NotingInterpreter : public SDXMLInterpreter {
public:
    explicit NotingInterpreter(std::vector<Lines>& seen, int nResult = 0) : m_Seen(seen), m_nResult(nResult)
    {
    }
    int InterpretXMLTag(const XMLTag& tag) override
    {
        m_Seen.push_back(LinesOf(tag));
        SDXMLInterpreter::InterpretXMLTag(tag);
        return m_nResult;
    }

private:
    std::vector<Lines>& m_Seen;
    const int m_nResult;
};

/// Calls back when it interprets and when it is deleted.
class CallingInterpreter : public SDXMLInterpreter {
public:
    explicit CallingInterpreter(
        std::function<void()> interpret, std::function<void()> destroyed = [] {})
        : m_Interpret(std::move(interpret)), m_Destroyed(std::move(destroyed))
    {
    }
    ~CallingInterpreter() override { m_Destroyed(); }
    int InterpretXMLTag(const XMLTag& /*tag*/) override
    {
        m_Interpret();
        return 0;
    }

private:
    const std::function<void()> m_Interpret;
    const std::function<void()> m_Destroyed;
};

class SDXMLInterpreterMgrTest : public ::testing::Test {
protected:
    ~SDXMLInterpreterMgrTest() override { SDXMLInterpreterMgr::Destroy(); }

    void Note(const std::string& name, int nResult = 0)
    {
        Mgr().RegisterInterpreter(name, new NotingInterpreter(m_Seen, nResult));
    }
    /// An interpreter that adds one to \p nCount when it is deleted.
    static SDXMLInterpreter* Counted(int& nCount)
    {
        return new CallingInterpreter([] {}, [&nCount] { ++nCount; });
    }
    int ParseFile(const std::string& path)
    {
        int nResult = 1;
        m_Output = PrintedBy([&] { nResult = Mgr().ParseXMLFile(path.c_str()); });
        return nResult;
    }
    bool ParseBuffer(const std::string& text)
    {
        const Silence silence;
        return Mgr().ParseXMLBuffer(text.data(), text.size());
    }

    const TempDir m_Folder;
    std::vector<Lines> m_Seen;
    std::string m_Output;
};

using SDXMLDispatchTest = SDXMLInterpreterMgrTest;
using SDXMLReservedElementsTest = SDXMLInterpreterMgrTest;
using SDXMLIncludeTest = SDXMLInterpreterMgrTest;

TEST_F(SDXMLInterpreterMgrTest, DestroyForgetsTheMacros)
{
    Mgr().AddMacorValue("M", 1);
    SDXMLInterpreterMgr::Destroy();
    EXPECT_EQ(Mgr().ParseInt("M"), 0);
}

TEST_F(SDXMLInterpreterMgrTest, InitialDoesNothing)
{
    Note("doc.xml");
    Mgr().AddMacorValue("M", 1);
    Mgr().Initial();
    EXPECT_NE(Mgr().GetInterpreter("doc.xml"), nullptr);
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
}

TEST_F(SDXMLInterpreterMgrTest, InterpreterIsFoundUnderItsName)
{
    int nDeleted = 0;
    SDXMLInterpreter* const pInterpreter = Counted(nDeleted);
    Mgr().RegisterInterpreter("doc.xml", pInterpreter);
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), pInterpreter);
    EXPECT_EQ(Mgr().GetInterpreter("doc"), nullptr);
    EXPECT_EQ(Mgr().GetInterpreter(""), nullptr);
    Mgr().Clear();
    EXPECT_EQ(nDeleted, 1);
}

TEST_F(SDXMLInterpreterMgrTest, ReplacedInterpreterIsNotDeletedAndClearDeletesOnlyTheSecond)
{
    int nFirst = 0;
    int nSecond = 0;
    const std::unique_ptr<SDXMLInterpreter> first(Counted(nFirst));
    SDXMLInterpreter* const pSecond = Counted(nSecond);
    Mgr().RegisterInterpreter("doc.xml", first.get());
    Mgr().RegisterInterpreter("doc.xml", pSecond);
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), pSecond);
    Mgr().Clear();
    EXPECT_EQ(nFirst, 0);
    EXPECT_EQ(nSecond, 1);
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), nullptr);
}

TEST_F(SDXMLInterpreterMgrTest, ClearKeepsMacrosAndFileName)
{
    Mgr().AddMacorValue("M", 3);
    Mgr().setFileName("a/b.xml");
    Mgr().Clear();
    EXPECT_EQ(Mgr().ParseInt("M"), 3);
    EXPECT_EQ(Mgr().getFileName(), "b.xml");
}

TEST_F(SDXMLInterpreterMgrTest, DestroyDeletesTheInterpreters)
{
    int nDeleted = 0;
    Mgr().RegisterInterpreter("a", Counted(nDeleted));
    Mgr().RegisterInterpreter("b", Counted(nDeleted));
    SDXMLInterpreterMgr::Destroy();
    EXPECT_EQ(nDeleted, 2);
}

TEST_F(SDXMLInterpreterMgrTest, InterpreterUnderTwoKeysIsDeletedOnce)
{
    int nDeleted = 0;
    SDXMLInterpreter* const pInterpreter = Counted(nDeleted);
    Mgr().RegisterInterpreter("a", pInterpreter);
    Mgr().RegisterInterpreter("b", pInterpreter);
    Mgr().Clear();
    EXPECT_EQ(nDeleted, 1);
}

TEST_F(SDXMLInterpreterMgrTest, NullInterpreterIsNoInterpreter)
{
    Mgr().RegisterInterpreter("doc.xml", nullptr);
    Mgr().setFileName("doc.xml");
    EXPECT_FALSE(ParseBuffer("<r/>"));
    Mgr().Clear();
}

TEST_F(SDXMLInterpreterMgrTest, DestructorOfAnInterpreterMayCallTheManager)
{
    const auto useManager = [] {
        Mgr().AddMacorValue("M", 1);
        Mgr().RegisterInterpreter("gone", nullptr);
        EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), nullptr);
        Mgr().Clear();
    };
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([] {}, useManager));
    Mgr().Clear();
    EXPECT_EQ(Mgr().ParseInt("M"), 1);
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([] {}, useManager));
    SDXMLInterpreterMgr::Destroy();
}

TEST_F(SDXMLInterpreterMgrTest, FileNameIsWhatFollowsTheLastSlash)
{
    EXPECT_EQ(Mgr().getFileName(), "");
    Mgr().setFileName("/a/b.c/tables.xml");
    EXPECT_EQ(Mgr().getFileName(), "tables.xml");
    Mgr().setFileName("plain.xml");
    EXPECT_EQ(Mgr().getFileName(), "plain.xml");
    Mgr().setFileName("folder/");
    EXPECT_EQ(Mgr().getFileName(), "");
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntGivesAMacrosValue)
{
    Mgr().AddMacorValue("MAX", 64);
    EXPECT_EQ(Mgr().ParseInt("MAX"), 64);
    Mgr().AddMacorValue("MAX", -1);
    EXPECT_EQ(Mgr().ParseInt("MAX"), -1);
    EXPECT_EQ(Mgr().ParseInt("max"), 0);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntGivesTheNumberAtTheBeginning)
{
    EXPECT_EQ(Mgr().ParseInt("12abc"), 12);
    EXPECT_EQ(Mgr().ParseInt("abc"), 0);
    EXPECT_EQ(Mgr().ParseInt(" \t-7 8"), -7);
    EXPECT_EQ(Mgr().ParseInt("+5"), 5);
    EXPECT_EQ(Mgr().ParseInt("0x10"), 0);
    EXPECT_EQ(Mgr().ParseInt("010"), 10);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntCutsTo32Bits)
{
    EXPECT_EQ(Mgr().ParseInt("2147483647"), INT_MAX);
    EXPECT_EQ(Mgr().ParseInt("2147483648"), INT_MIN);
    EXPECT_EQ(Mgr().ParseInt("4294967296"), 0);
    EXPECT_EQ(Mgr().ParseInt("99999999999999999999"), -1);
    EXPECT_EQ(Mgr().ParseInt("-99999999999999999999"), 0);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntAsksMacrosFirstAlsoForNamesOfDigits)
{
    Mgr().AddMacorValue("12", 7);
    Mgr().AddMacorValue("-1", 8);
    EXPECT_EQ(Mgr().ParseInt("12"), 7);
    EXPECT_EQ(Mgr().ParseInt("-1"), 8);
    EXPECT_EQ(Mgr().ParseInt("12 "), 12);
}

TEST_F(SDXMLInterpreterMgrTest, ParseIntOfNothingIsZeroEvenWithAMacroWithoutAName)
{
    Mgr().AddMacorValue("", 9);
    EXPECT_EQ(Mgr().ParseInt(""), 0);
    EXPECT_EQ(Mgr().ParseInt(nullptr), 0);
}

TEST_F(SDXMLDispatchTest, FileWithFoldersIsDispatchedUnderItsLastComponent)
{
    Note("tables.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("tables.xml", "<tables><t n='1'/></tables>")), 0);
    EXPECT_EQ(m_Seen, (std::vector<Lines>{{"0 tables", "1 t n=1"}}));
    EXPECT_EQ(Mgr().getFileName(), "tables.xml");
}

TEST_F(SDXMLDispatchTest, RootWithAnInterpreterAttributeIsDispatchedUnderBothNames)
{
    Note("tables.xml/alarm");
    EXPECT_EQ(ParseFile(m_Folder.Add("tables.xml", "<root a='b' interpreter='alarm'/>")), 0);
    EXPECT_EQ(m_Seen, (std::vector<Lines>{{"0 root a=b interpreter=alarm"}}));
}

TEST_F(SDXMLDispatchTest, RootWithoutAnInterpreterAttributeIsDispatchedUnderTheFileName)
{
    Note("tables.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("tables.xml", "<root/>")), 0);
    EXPECT_EQ(ParseFile(m_Folder.Add("tables.xml", "<root Interpreter='alarm' interpreters='x'/>")), 0);
    EXPECT_EQ(m_Seen.size(), 2U);
}

TEST_F(SDXMLDispatchTest, InterpreterAttributeOfAnotherElementDoesNotCount)
{
    Note("tables.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("tables.xml", "<Root interpreter='alarm'/>")), 0);
    EXPECT_EQ(m_Seen.size(), 1U);
}

TEST_F(SDXMLDispatchTest, EmptyInterpreterNameLeavesTheSlash)
{
    Note("tables.xml/");
    EXPECT_EQ(ParseFile(m_Folder.Add("tables.xml", "<root interpreter=''/>")), 0);
    EXPECT_EQ(m_Seen.size(), 1U);
}

TEST_F(SDXMLDispatchTest, FileIsASuccessWithoutAnInterpreterOrWithOneThatFails)
{
    EXPECT_EQ(ParseFile(m_Folder.Add("none.xml", "<r/>")), 0);
    Note("bad.xml", 5);
    EXPECT_EQ(ParseFile(m_Folder.Add("bad.xml", "<r/>")), 0);
    EXPECT_EQ(m_Seen.size(), 1U);
}

TEST_F(SDXMLDispatchTest, FailedFileIsNotDispatchedAndKeepsTheStoredName)
{
    Note("bad.xml");
    Mgr().setFileName("before.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("bad.xml", "<r>")), 0);  // cut off, which is no failure
    m_Seen.clear();
    Mgr().setFileName("before.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("bad.xml", "<r></q>")), -1);
    EXPECT_EQ(ParseFile(m_Folder / "none/bad.xml"), -1);
    EXPECT_TRUE(m_Seen.empty());
    EXPECT_EQ(Mgr().getFileName(), "before.xml");
}

TEST_F(SDXMLDispatchTest, NullPathFailsLikeAnEmptyOne)
{
    const std::string expected = POST_CREATE + std::string("[ParseFile] Call fopen file name  error\n");
    EXPECT_EQ(PrintedBy([] { EXPECT_EQ(Mgr().ParseXMLFile(nullptr), -1); }), expected);
    EXPECT_EQ(PrintedBy([] { EXPECT_EQ(Mgr().ParseXMLFile(""), -1); }), expected);
}

TEST_F(SDXMLDispatchTest, CutFileIsInterpretedWithItsPartialTree)
{
    Note("cut.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("cut.xml", "<r><a/><b")), 0);
    EXPECT_EQ(ParseFile(m_Folder.Add("cut.xml", "<")), 0);
    EXPECT_EQ(m_Seen, (std::vector<Lines>{{"0 r", "1 a"}, {"0 "}}));
}

TEST_F(SDXMLDispatchTest, FileNameIsStoredBeforeTheInterpreterRuns)
{
    std::string name;
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([&name] { name = Mgr().getFileName(); }));
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml", "<r/>")), 0);
    EXPECT_EQ(name, "doc.xml");
}

TEST_F(SDXMLDispatchTest, InterpreterMayCallTheManagersWriters)
{
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([] {
                                  Mgr().AddMacorValue("M", 4);
                                  Mgr().RegisterInterpreter("other", nullptr);
                                  Mgr().setFileName("other");
                              }));
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml", "<r/>")), 0);
    EXPECT_EQ(Mgr().ParseInt("M"), 4);
    EXPECT_EQ(Mgr().getFileName(), "other");
}

TEST_F(SDXMLDispatchTest, ExceptionOfAnInterpreterReachesTheCallerAndTheFileCanBeParsedAgain)
{
    const std::string path = m_Folder.Add("doc.xml", "<r/>");
    bool bThrow = true;
    Mgr().RegisterInterpreter("doc.xml", new CallingInterpreter([&bThrow] {
                                  if (bThrow) throw std::runtime_error("interpreter");
                              }));
    {
        const Silence silence;
        EXPECT_THROW(Mgr().ParseXMLFile(path.c_str()), std::runtime_error);
    }
    bThrow = false;
    EXPECT_EQ(ParseFile(path), 0);
}

TEST_F(SDXMLDispatchTest, BufferIsDispatchedUnderTheNameOfTheLastFile)
{
    Note("doc.xml");
    Note("doc.xml/x");
    EXPECT_FALSE(ParseBuffer("<r/>"));
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml", "<r/>")), 0);
    EXPECT_TRUE(ParseBuffer("<b/>"));
    EXPECT_TRUE(ParseBuffer("<root interpreter='x'/>"));
    EXPECT_EQ(m_Seen, (std::vector<Lines>{{"0 r"}, {"0 b"}, {"0 root interpreter=x"}}));
    EXPECT_EQ(Mgr().getFileName(), "doc.xml");
}

TEST_F(SDXMLDispatchTest, BufferIsTrueExactlyWhenTheInterpreterAnswersZero)
{
    Note("zero");
    Note("one", 1);
    Note("minus", -1);
    Mgr().setFileName("zero");
    EXPECT_TRUE(ParseBuffer("<r/>"));
    Mgr().setFileName("one");
    EXPECT_FALSE(ParseBuffer("<r/>"));
    Mgr().setFileName("minus");
    EXPECT_FALSE(ParseBuffer("<r/>"));
    Mgr().setFileName("none");
    EXPECT_FALSE(ParseBuffer("<r/>"));
    EXPECT_EQ(m_Seen.size(), 3U);
}

TEST_F(SDXMLDispatchTest, NullOrEmptyBufferIsRefusedAndPrintsNothing)
{
    Note("");
    EXPECT_EQ(PrintedBy([] {
                  EXPECT_FALSE(Mgr().ParseXMLBuffer(nullptr, 10));
                  EXPECT_FALSE(Mgr().ParseXMLBuffer("<r/>", 0));
              }),
              "");
    EXPECT_TRUE(m_Seen.empty());
}

TEST_F(SDXMLDispatchTest, BufferThatExpatRefusesIsNotDispatched)
{
    Note("");
    EXPECT_EQ(PrintedBy([] { EXPECT_FALSE(Mgr().ParseXMLBuffer("<r>", 3)); }), POST_CREATE);
    EXPECT_TRUE(m_Seen.empty());
}

TEST_F(SDXMLReservedElementsTest, EveryAttributeOfAMacroDescDefinesAMacro)
{
    Note("doc.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml",
                                     "<r><macro_desc A='1' B=' -2x' C='none'/><macro_desc/>"
                                     "<macro_desc A='3' D='4294967297'/></r>")),
              0);
    EXPECT_EQ(Mgr().ParseInt("A"), 3);
    EXPECT_EQ(Mgr().ParseInt("B"), -2);
    EXPECT_EQ(Mgr().ParseInt("C"), 0);
    EXPECT_EQ(Mgr().ParseInt("D"), 1);
}

TEST_F(SDXMLReservedElementsTest, MacrosInValuesOfMacrosAreNotResolved)
{
    Note("doc.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml", "<r><macro_desc A='7' B='A'/></r>")), 0);
    EXPECT_EQ(Mgr().ParseInt("B"), 0);
}

TEST_F(SDXMLReservedElementsTest, OnlyChildrenOfTheTagAreLookedAt)
{
    Note("doc.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("doc.xml",
                                     "<macro_desc A='1'><x><macro_desc B='2'/></x>"
                                     "<Macro_desc C='3'/></macro_desc>")),
              0);
    EXPECT_EQ(Mgr().ParseInt("A"), 0);
    EXPECT_EQ(Mgr().ParseInt("B"), 0);
    EXPECT_EQ(Mgr().ParseInt("C"), 0);
}

TEST_F(SDXMLReservedElementsTest, MacroOfOneFileIsSeenByEveryLaterParse)
{
    Note("a.xml");
    EXPECT_EQ(ParseFile(m_Folder.Add("a.xml", "<r><macro_desc A='1'/></r>")), 0);
    EXPECT_EQ(ParseFile(m_Folder.Add("b.xml", "<r/>")), 0);
    EXPECT_EQ(Mgr().ParseInt("A"), 1);
}

TEST_F(SDXMLReservedElementsTest, BaseAnswersZero)
{
    SDXMLInterpreter base;
    const XMLTag leaf;
    EXPECT_EQ(base.InterpretXMLTag(leaf), 0);
}

TEST_F(SDXMLReservedElementsTest, NullTextsOfHandMadeItemsAreEmpty)
{
    XMLTag root;
    root.m_pChildren = new XMLTagList;
    for (const char* pName : {"macro_desc", "include"}) {
        auto* const pChild = new XMLTag;
        root.m_pChildren->push_back(pChild);
        pChild->m_Name = pName;
        pChild->m_pItems = new XMLItem* [2] {};
        pChild->m_pItems[0] = new XMLItem;
    }
    SDXMLInterpreter base;
    const Silence silence;
    EXPECT_EQ(base.InterpretXMLTag(root), 0);
}

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

TEST_F(SDXMLIncludeTest, ThousandNestedIncludesWork)
{
    constexpr int DEPTH = 1000;
    auto* const pInterpreter = new NotingInterpreter(m_Seen);
    std::string path = m_Folder.Add("f0.xml", "<last/>");
    Mgr().RegisterInterpreter("f0.xml", pInterpreter);
    for (int i = 1; i <= DEPTH; ++i) {
        const std::string name = "f" + std::to_string(i) + ".xml";
        Mgr().RegisterInterpreter(name, pInterpreter);
        std::string text = "<r><include f='";
        text.append(path).append("'/></r>");
        path = m_Folder.Add(name, text);
    }
    EXPECT_EQ(ParseFile(path), 0);
    ASSERT_EQ(m_Seen.size(), DEPTH + 1U);
    EXPECT_EQ(m_Seen.back(), (Lines{"0 last"}));
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

class SDXMLFailedLockTest : public SDXMLInterpreterMgrTest {
protected:
    void SetUp() override
    {
        if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
        Mgr().AddMacorValue("M", 3);
        Note("doc.xml");
    }
};

TEST_F(SDXMLFailedLockTest, ReadersAnswerWithoutTheLock)
{
    FailingLocks failing(LockKind::READ, 3);
    EXPECT_EQ(Mgr().ParseInt("M"), 3);
    EXPECT_NE(Mgr().GetInterpreter("doc.xml"), nullptr);
    EXPECT_EQ(Mgr().getFileName(), "");
    EXPECT_EQ(failing.Left(), 0);
    Mgr().AddMacorValue("M", 4);  // would block if a reader were still counted
    EXPECT_EQ(Mgr().ParseInt("M"), 4);
}

TEST_F(SDXMLFailedLockTest, WritersGoOnWithoutTheLock)
{
    {
        FailingLocks failing(LockKind::WRITE, 3);
        Mgr().AddMacorValue("M", 5);
        Mgr().setFileName("a/b");
        Mgr().Clear();
        EXPECT_EQ(failing.Left(), 0);
    }
    EXPECT_EQ(Mgr().ParseInt("M"), 5);
    EXPECT_EQ(Mgr().getFileName(), "b");
    EXPECT_EQ(Mgr().GetInterpreter("doc.xml"), nullptr);
}

TEST_F(SDXMLFailedLockTest, RegistryGoesOnWithoutTheLock)
{
    TEParserFuncRegistry& registry = *TEParserFuncRegistry::Instance();
    const FailingLocks readers(LockKind::READ, 10);
    const FailingLocks writers(LockKind::WRITE, 10);
    EXPECT_EQ(registry.Find({"failed", "lock", ""}), nullptr);
    EXPECT_EQ(registry.RemoveBySecond("lock"), 1U);
}

TEST(SDXMLFailedStaticLockTest, ReservedElementsAreSkippedWithoutAManager)
{
    if (!CanFailLocks()) GTEST_SKIP() << NO_FAILING_LOCKS;
    SDXMLInterpreterMgr::Destroy();
    SDXMLInterpreter base;
    StaticDescXMLParser parser;
    const std::string text = "<r><macro_desc M='1'/><include f='/'/></r>";
    {
        const Silence silence;
        ASSERT_TRUE(parser.ParseText(text.data(), text.size()));
    }
    const FailingLocks failing(LockKind::MUTEX, 10);
    EXPECT_EQ(base.InterpretXMLTag(parser.Root()), 0);
}

/// The Itanium ABI gives a virtual member's pointer as one more than its place in the table, in bytes.
template <class Member>
std::size_t SlotOf(Member member)
{
    std::ptrdiff_t nPlace = 0;
    std::memcpy(&nPlace, &member, sizeof(nPlace));
    return static_cast<std::size_t>(nPlace - 1) / sizeof(void*);
}

TEST(SDXMLInterpreterTest, SlotsAreInterpretDestructorAppFunction)
{
    EXPECT_EQ(SlotOf(&SDXMLInterpreter::InterpretXMLTag), 0U);
    EXPECT_EQ(SlotOf(&SDXMLInterpreter::AppXMLParseFunc), 3U);  // a destructor takes two
    EXPECT_TRUE(std::has_virtual_destructor_v<SDXMLInterpreter>);
}

TEST(SDXMLInterpreterTest, HasNoDataOfItsOwn)
{
    EXPECT_EQ(sizeof(SDXMLInterpreter), sizeof(void*));
}

int AddChildren(const XMLTag& tag, TEParserPara* para)
{
    para->m_nValue += tag.m_nId;
    return 17;
}

int AnswerOne(const XMLTag& /*tag*/, TEParserPara* /*para*/)
{
    return 1;
}

TEST(SDXMLInterpreterTest, AppXMLParseFuncCallsTheRegisteredFunctionAndReturnsItsResult)
{
    TEParserFuncRegistry::Instance()->Register({"a", "b", "c"}, &AddChildren);
    SDXMLInterpreter interpreter;
    XMLTag tag;
    tag.m_nId = 5;
    TEParserPara para;
    EXPECT_EQ(interpreter.AppXMLParseFunc({"a", "b", "c"}, tag, &para), 17);
    EXPECT_EQ(para.m_nValue, 5);
}

TEST(SDXMLInterpreterTest, AppXMLParseFuncIsZeroWithoutAFunction)
{
    SDXMLInterpreter interpreter;
    const XMLTag tag;
    EXPECT_EQ(interpreter.AppXMLParseFunc({"a", "b", "none"}, tag, nullptr), 0);
}

TEST(TEParserKeyTest, IsOrderedByItsTextsInTurnByteByByte)
{
    const TEParserKey key("b", "b", "b");
    EXPECT_LT(TEParserKey("a", "z", "z"), key);
    EXPECT_LT(TEParserKey("b", "a", "z"), key);
    EXPECT_LT(TEParserKey("b", "b", "a"), key);
    EXPECT_FALSE(key < key);
    EXPECT_LT(key, TEParserKey("b", "b", "\xC3"));
    EXPECT_LT(TEParserKey("b", "b", ""), key);
    EXPECT_LT(TEParserKey("B", "b", "b"), key);
}

TEST(TEParserKeyTest, IsAPolymorphicValue)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<TEParserKey>);
    TEParserKey key("a", "b", "c");
    const TEParserKey copy = key;
    key = TEParserKey("x", "y", "z");
    EXPECT_EQ(copy.First() + copy.Second() + copy.Third(), "abc");
    EXPECT_EQ(key.First() + key.Second() + key.Third(), "xyz");
}

class TEParserFuncRegistryTest : public ::testing::Test {
protected:
    TEParserFuncRegistryTest()
    {
        for (const char* pSecond : {"alarm", "alarms", "table"}) m_Registry.RemoveBySecond(pSecond);
    }

    TEParserFuncRegistry& m_Registry = *TEParserFuncRegistry::Instance();
    const TEParserKey m_Key{"table", "alarm", "column"};
};

TEST_F(TEParserFuncRegistryTest, LaterFunctionReplacesTheEarlier)
{
    m_Registry.Register(m_Key, &AddChildren);
    m_Registry.Register(m_Key, &AnswerOne);
    EXPECT_EQ(m_Registry.Find(m_Key), &AnswerOne);
}

TEST_F(TEParserFuncRegistryTest, RemovedKeyHasNoFunction)
{
    m_Registry.Register(m_Key, &AnswerOne);
    EXPECT_EQ(m_Registry.Remove(m_Key), 1U);
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
}

TEST_F(TEParserFuncRegistryTest, LookUpEntersAnAbsentKeyOnceWithoutAFunction)
{
    EXPECT_EQ(m_Registry.Remove(m_Key), 0U);
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
    EXPECT_EQ(m_Registry.Remove(m_Key), 1U);
}

TEST_F(TEParserFuncRegistryTest, FunctionMayBeRegisteredAfterALookUp)
{
    EXPECT_EQ(m_Registry.Find(m_Key), nullptr);
    m_Registry.Register(m_Key, &AnswerOne);
    EXPECT_EQ(m_Registry.Find(m_Key), &AnswerOne);
}

TEST_F(TEParserFuncRegistryTest, RemovingBySecondTextTakesEveryKeyThatHasIt)
{
    m_Registry.Register({"a", "alarm", "x"}, &AnswerOne);
    m_Registry.Register({"b", "alarm", "y"}, &AnswerOne);
    m_Registry.Register({"alarm", "table", "alarm"}, &AnswerOne);
    m_Registry.Register({"c", "alarms", ""}, &AnswerOne);
    EXPECT_EQ(m_Registry.RemoveBySecond("alarm"), 2U);
    EXPECT_EQ(m_Registry.RemoveBySecond("alarm"), 0U);
    EXPECT_EQ(m_Registry.Find({"a", "alarm", "x"}), nullptr);
    EXPECT_EQ(m_Registry.Find({"alarm", "table", "alarm"}), &AnswerOne);
    EXPECT_EQ(m_Registry.Find({"c", "alarms", ""}), &AnswerOne);
}

TEST_F(SDXMLInterpreterMgrTest, ManyThreadsMayUseRegistryMacrosAndNames)
{
    constexpr int ROUNDS = 500;
    constexpr int THREADS = 4;
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    SDXMLInterpreter* const pInterpreter = new NotingInterpreter(m_Seen);
    for (int nThread = 0; nThread < THREADS; ++nThread) {
        threads.emplace_back([nThread, pInterpreter] {
            const std::string own = "M" + std::to_string(nThread);
            std::string list = "[";
            list.append(own).append("-").append(own).append(",SHARED]");
            SDXMLInterpreter interpreter;
            const XMLTag tag;
            for (int i = 0; i < ROUNDS; ++i) {
                Mgr().AddMacorValue(own, i);
                Mgr().AddMacorValue("SHARED", i);
                EXPECT_EQ(Mgr().ParseInt(own.c_str()), i);
                std::vector<int> numbers;
                Mgr().ParseIntList(list.c_str(), numbers);
                EXPECT_EQ(numbers.size(), 2U);
                Mgr().RegisterInterpreter(own, pInterpreter);
                EXPECT_EQ(Mgr().GetInterpreter(own), pInterpreter);
                Mgr().setFileName("folder/" + own);
                EXPECT_EQ(Mgr().getFileName().size(), own.size());
                const TEParserKey key(own, "second", std::to_string(i % 10));
                TEParserFuncRegistry::Instance()->Register(key, &AnswerOne);
                EXPECT_EQ(interpreter.AppXMLParseFunc(key, tag, nullptr), 1);
                interpreter.AppXMLParseFunc({"shared", "other", std::to_string(i)}, tag, nullptr);
                TEParserFuncRegistry::Instance()->Remove(key);
                TEParserFuncRegistry::Instance()->RemoveBySecond("none");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Mgr().ParseInt("SHARED"), ROUNDS - 1);
}

}  // namespace
}  // namespace NS_UTIL
