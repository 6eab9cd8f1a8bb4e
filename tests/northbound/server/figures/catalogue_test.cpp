#include "server/figures/catalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "nbiutil/sdxmlinterpreter.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using Texts = std::vector<std::string>;

/// A folder with a main file that defines two macros and includes "a.xml".
class CatalogueTest : public ::testing::Test {
protected:
    void SetUp() override { WriteMain("<macro_desc ONE=\"1\" THREE=\"3\"/><include file=\"a.xml\"/>"); }

    void Write(const std::string& name, const std::string& text) const { m_Folder.Add(name, text); }
    void WriteMain(const std::string& body) const
    {
        Write("main.xml", "<catalogue>" + body + "<end/></catalogue>");
    }
    void WriteTable(const std::string& body, const std::string& attributes = "name=\"t\" file=\"/f\"",
                    const std::string& file = "a.xml") const
    {
        Write(file, "<root interpreter=\"table\" " + attributes + ">" + body + "<end/></root>");
    }

    /// \param attributes beside title, unit and type
    static std::string Figure(const std::string& attributes)
    {
        return "<figure title=\"T\" unit=\"u\" type=\"counter\" " + attributes + "/>";
    }

    Catalogue Load() const { return LoadCatalogue(m_Folder / "main.xml"); }

    /// "name" of each column.
    static Texts Names(const Catalogue& catalogue)
    {
        Texts names;
        for (const Column& column : catalogue.m_Columns) names.push_back(column.m_Name);
        return names;
    }

    /// Expects that nothing but "good" is left, and this one problem, which is "a.xml: " and \p text.
    void ExpectProblem(const std::string& text) const
    {
        const Catalogue catalogue = Load();
        EXPECT_EQ(Names(catalogue), Texts{"good"});
        EXPECT_EQ(catalogue.m_Problems, Texts{m_Folder.Path() + "/a.xml: " + text});
    }

    const nbitest::TestDirectory m_Folder;
    const std::string m_Good = Figure("name=\"good\"");
};

TEST_F(CatalogueTest, ColumnIsWhatItsLineSays)
{
    WriteTable("<figure name=\"load\" column=\"THREE\" title=\"The load\" unit=\"packets\" type=\"gauge\"/>");
    const Catalogue catalogue = Load();
    EXPECT_TRUE(catalogue.m_Problems.empty());
    ASSERT_EQ(catalogue.m_Columns.size(), 1u);
    const Column& column = catalogue.m_Columns[0];
    EXPECT_EQ(column.m_Table, "t");
    EXPECT_EQ(column.m_Name, "load");
    EXPECT_EQ(column.m_Title, "The load");
    EXPECT_EQ(column.m_Unit, "packets");
    EXPECT_FALSE(column.m_bCounter);
    EXPECT_EQ(column.m_File, "/f");
    EXPECT_EQ(column.m_nColumn, 3u);
    EXPECT_EQ(column.m_Direction, "");
    EXPECT_FALSE(column.m_bBrief);
}

TEST_F(CatalogueTest, FileOfALineComesBeforeThatOfItsTable)
{
    WriteTable(Figure("name=\"a\" file=\"/own/{port}\"") + Figure("name=\"b\""));
    const Catalogue catalogue = Load();
    ASSERT_EQ(catalogue.m_Columns.size(), 2u);
    EXPECT_EQ(catalogue.m_Columns[0].m_File, "/own/{port}");
    EXPECT_EQ(catalogue.m_Columns[0].m_nColumn, 0u);
    EXPECT_EQ(catalogue.m_Columns[1].m_File, "/f");
}

TEST_F(CatalogueTest, ListsSayDirectionAndBrevity)
{
    WriteTable(Figure("name=\"a\" column=\"1\"") + Figure("name=\"b\" column=\"2\"") +
                   Figure("name=\"c\" column=\"3\"") + Figure("name=\"d\" column=\"4\""),
               "name=\"t\" file=\"/f\" directions=\"{[ONE-2];THREE}\" brief=\"[2,THREE]\"");
    const Catalogue catalogue = Load();
    EXPECT_TRUE(catalogue.m_Problems.empty());
    Texts shown;
    for (const Column& column : catalogue.m_Columns) {
        shown.push_back(column.m_Name + ":" + column.m_Direction + (column.m_bBrief ? ":brief" : ""));
    }
    EXPECT_EQ(shown, (Texts{"a:received", "b:received:brief", "c:sent:brief", "d:"}));
}

TEST_F(CatalogueTest, DescriptionsOfTheExampleHaveNoProblemAndOneKindOfUnitForBytes)
{
    const Catalogue catalogue = LoadCatalogue(std::string(NBI_DESCRIPTIONS) + "/northbound.xml");
    EXPECT_EQ(catalogue.m_Problems, Texts());
    EXPECT_EQ(Names(catalogue), (Texts{"rxBytes", "rxPackets", "rxErrors", "rxDropped", "txBytes",
                                       "txPackets", "txErrors", "txDropped", "carrierChanges", "sendQueue"}));
    for (const Column& column : catalogue.m_Columns) {
        const bool bBytes = column.m_Name == "rxBytes" || column.m_Name == "txBytes";
        EXPECT_EQ(column.m_bBrief, bBytes) << column.m_Name;
        EXPECT_EQ(column.m_Unit == "bytes", bBytes) << column.m_Name;
        const std::string start = column.m_Name.substr(0, 2);
        EXPECT_EQ(column.m_Direction, start == "rx"   ? "received"
                                      : start == "tx" ? "sent"
                                                      : "")
            << column.m_Name;
    }
}

TEST_F(CatalogueTest, IncludesStartAtTheMainFilesFolderWhereverTheProcessIs)
{
    WriteMain("<include file=\"below/b.xml\"/>");
    WriteTable("<include file=\"below/c.xml\"/>" + Figure("name=\"b\""), "name=\"t\" file=\"/f\"",
               "below/b.xml");
    WriteTable(Figure("name=\"c\""), "name=\"u\" file=\"/f\"", "below/c.xml");
    const fs::path before = fs::current_path();
    fs::current_path("/");
    EXPECT_EQ(Names(Load()), (Texts{"c", "b"}));
    EXPECT_EQ(fs::current_path(), "/");
    fs::current_path(before);
}

TEST_F(CatalogueTest, BrokenIncludedFileCostsItsTableAlone)
{
    WriteMain("<include file=\"b.xml\"/><include file=\"a.xml\"/>");
    Write("b.xml", "<root interpreter=\"table\" name=\"b\">\n<figure>\n</root>");
    WriteTable(m_Good);
    const Catalogue catalogue = Load();
    EXPECT_EQ(Names(catalogue), Texts{"good"});
    EXPECT_EQ(catalogue.m_Problems, Texts{m_Folder.Path() + "/b.xml: line 3: mismatched tag"});
}

TEST_F(CatalogueTest, WhatTheParserPrintsStaysOnStandardOutput)
{
    Write("a.xml", "<root interpreter=\"table\" name=\"b\">\n<figure>\n</root>");
    ::testing::internal::CaptureStdout();
    Load();
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("[PrintParseError] Parse error in file [a.xml], at line [3]:\n[mismatched tag]\n"),
              std::string::npos)
        << printed;
}

TEST_F(CatalogueTest, BrokenMainFileLeavesAnEmptyCatalogue)
{
    Write("main.xml", "<catalogue>\n<include file=\"a.xml\"></catalogue>");
    WriteTable(m_Good);
    const Catalogue catalogue = Load();
    EXPECT_TRUE(catalogue.m_Columns.empty());
    EXPECT_EQ(catalogue.m_Problems, Texts{m_Folder.Path() + "/main.xml: line 2: mismatched tag"});
}

TEST_F(CatalogueTest, FilesThatAreNotThereAreNamedWithTheReason)
{
    EXPECT_EQ(Load().m_Problems,
              Texts{m_Folder.Path() + "/a.xml: cannot be read: No such file or directory"});
    EXPECT_EQ(LoadCatalogue("/nowhere/main.xml").m_Problems,
              Texts{"/nowhere/main.xml: cannot be read: No such file or directory"});
}

TEST_F(CatalogueTest, FileThatIsCutOffIsLeftOutThoughItParses)
{
    Write("a.xml", "<root interpreter=\"table\" name=\"t\" file=\"/f\">" + m_Good);
    const Catalogue catalogue = Load();
    EXPECT_TRUE(catalogue.m_Columns.empty());
    EXPECT_EQ(catalogue.m_Problems,
              Texts{m_Folder.Path() + "/a.xml: does not end with <end/>: cut off, and left out"});
}

TEST_F(CatalogueTest, MainFileThatIsCutOffIncludesNothing)
{
    Write("main.xml", "<catalogue><include file=\"a.xml\"/>");
    WriteTable(m_Good);
    const Catalogue catalogue = Load();
    EXPECT_TRUE(catalogue.m_Columns.empty());
    EXPECT_EQ(catalogue.m_Problems.size(), 1u);
}

TEST_F(CatalogueTest, DocumentThatNobodyInterpretsIsReported)
{
    Write("a.xml", "<table><end/></table>");
    const Catalogue catalogue = Load();
    ASSERT_EQ(catalogue.m_Problems.size(), 1u);
    EXPECT_EQ(catalogue.m_Problems[0].find(m_Folder.Path() + "/a.xml: left out: "), 0u);
}

TEST_F(CatalogueTest, FileThatIncludesItselfIsReadOnceAndReported)
{
    WriteTable("<include file=\"a.xml\"/>" + m_Good);
    ExpectProblem("includes itself, which is left out");
}

TEST_F(CatalogueTest, MissingAttributeIsReportedWithFileAndElement)
{
    WriteTable(m_Good + "<figure name=\"x\" title=\"T\" type=\"gauge\"/>");
    ExpectProblem("<figure name=\"x\">: there is no \"unit\"");
    WriteTable(m_Good + "<figure title=\"T\" unit=\"u\" type=\"gauge\"/>");
    ExpectProblem("<figure>: there is no \"name\"");
}

TEST_F(CatalogueTest, UnknownTypeIsReported)
{
    WriteTable(m_Good + "<figure name=\"x\" title=\"T\" unit=\"u\" type=\"text\"/>");
    ExpectProblem("<figure name=\"x\">: type \"text\" is neither \"counter\" nor \"gauge\"");
}

TEST_F(CatalogueTest, UnknownAttributesAndElementsAreReported)
{
    WriteTable(m_Good + Figure("name=\"x\" colum=\"1\""));
    ExpectProblem("<figure name=\"x\">: \"colum\" is no attribute of it");
    WriteTable(m_Good + "<figur/>");
    ExpectProblem("<figur> is no element of it");
}

TEST_F(CatalogueTest, ColumnThatIsNoNumberAndNoMacroIsReported)
{
    for (const char* pColumn : {"0", "-1", "2x", "FOUR"}) {
        WriteTable(m_Good + Figure(std::string("name=\"x\" column=\"") + pColumn + "\""));
        ExpectProblem(std::string("<figure name=\"x\">: column \"") + pColumn +
                      "\" is no number from 1 and no macro");
    }
}

TEST_F(CatalogueTest, ListWithAMistypedNameIsReportedAndTheFiguresStay)
{
    WriteTable(m_Good, "name=\"t\" file=\"/f\" brief=\"[ONE,TOW]\"");
    ExpectProblem(
        "<root name=\"t\">: brief \"[ONE,TOW]\" has an entry that is no number from 1 and no macro");
    WriteTable(m_Good, "name=\"t\" file=\"/f\" directions=\"{[ONE];[TOW]}\"");
    ExpectProblem(
        "<root name=\"t\">: directions \"{[ONE];[TOW]}\" has an entry that is no number from 1 and no macro");
    WriteTable(m_Good, "name=\"t\" file=\"/f\" directions=\"{[ONE]}\"");
    ExpectProblem(
        "<root name=\"t\">: directions \"{[ONE]}\" has not two lists, of what was received and what was "
        "sent");
}

TEST_F(CatalogueTest, PathThatIsMissingOrRelativeIsReported)
{
    WriteTable(Figure("name=\"good\" file=\"/f\"") + Figure("name=\"x\""), "name=\"t\"");
    ExpectProblem("<figure name=\"x\">: file \"\", here or of its <root>, is no absolute path");
    WriteTable(m_Good + Figure("name=\"x\" file=\"f\""));
    ExpectProblem("<figure name=\"x\">: file \"f\", here or of its <root>, is no absolute path");
}

TEST_F(CatalogueTest, NameThatIsTakenOrUnfitForCsvIsReported)
{
    WriteTable(m_Good + m_Good);
    ExpectProblem("<figure name=\"good\">: the name is taken, in table \"t\"");
    WriteTable(m_Good + Figure("name=\"a,b\""));
    ExpectProblem("<figure name=\"a,b\">: the name is not made of letters, digits and \"_\"");
}

TEST_F(CatalogueTest, NothingIsLeftOfOneLoadForTheNext)
{
    WriteTable(m_Good);
    Load();
    WriteMain("<include file=\"a.xml\"/>");
    WriteTable(Figure("name=\"good\" column=\"1\"") + Figure("name=\"x\" column=\"ONE\""));
    ExpectProblem("<figure name=\"x\">: column \"ONE\" is no number from 1 and no macro");
    EXPECT_EQ(NS_UTIL::SDXMLInterpreterMgr::Instance()->GetInterpreter("main.xml"), nullptr);
}

TEST(IncreaseTest, CounterThatRanOverCountsOnAndGaugesHaveNone)
{
    Catalogue catalogue;
    catalogue.m_Columns.resize(4);
    for (const std::size_t i : {0u, 1u, 3u}) catalogue.m_Columns[i].m_bCounter = true;
    const Figures first = {~std::uint64_t{0}, 7u, 7u, std::nullopt};
    const Figures last = {4u, std::nullopt, 8u, 1u};
    EXPECT_EQ(Increase(catalogue, first, last), (Figures{5u, std::nullopt, std::nullopt, std::nullopt}));
}

}  // namespace
}  // namespace northbound
