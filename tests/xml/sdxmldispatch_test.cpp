#include "nbiutil/sdxmlinterpreter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "xml/interpretertesting.h"

namespace NS_UTIL {
namespace {

using nbitest::CallingInterpreter;
using nbitest::Lines;
using nbitest::Mgr;
using nbitest::POST_CREATE;
using nbitest::PrintedBy;
using nbitest::Silence;

using SDXMLDispatchTest = nbitest::SDXMLInterpreterMgrTest;
using SDXMLReservedElementsTest = nbitest::SDXMLInterpreterMgrTest;

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

}  // namespace
}  // namespace NS_UTIL
