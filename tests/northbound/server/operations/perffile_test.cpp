#include "server/operations/perffile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "nbiutil/processexception.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

class PerfFileTest : public ::testing::Test {
protected:
    std::string Text(const std::string& name) const { return m_Folder.Text(name); }

    static Catalogue TwoColumns()
    {
        Catalogue catalogue;
        catalogue.m_Columns.resize(2);
        catalogue.m_Columns[0].m_Name = "rxBytes";
        catalogue.m_Columns[1].m_Name = "queue";
        return catalogue;
    }

    const Catalogue m_Catalogue = TwoColumns();
    const nbitest::TestDirectory m_Folder;
    const std::string m_Directory = m_Folder.Path();
};

TEST_F(PerfFileTest, FinishedFileHoldsOneLinePerSampleAndEmptyCellsForMissingFigures)
{
    PerfFile file(m_Directory, "lo", "operation", m_Catalogue);
    file.Add("now", {18446744073709551615u, 8u});
    file.Add("then", {0u, std::nullopt});
    EXPECT_EQ(file.Finish(), m_Directory + "/perf-lo-operation.csv");
    EXPECT_EQ(Text("perf-lo-operation.csv"),
              "time,rxBytes,queue\n"
              "now,18446744073709551615,8\n"
              "then,0,\n");
    EXPECT_FALSE(fs::exists(m_Directory + "/perf-lo-operation.csv.part"));
}

TEST_F(PerfFileTest, UnfinishedFileKeepsItsDraftNameAndItsSamples)
{
    {
        PerfFile file(m_Directory, "lo", "operation", m_Catalogue);
        file.Add("now", {0u, 1u});
        EXPECT_EQ(file.Path(), m_Directory + "/perf-lo-operation.csv.part");
        EXPECT_NE(Text("perf-lo-operation.csv.part").find("\nnow,0,"), std::string::npos);
    }
    EXPECT_TRUE(fs::exists(m_Directory + "/perf-lo-operation.csv.part"));
    EXPECT_FALSE(fs::exists(m_Directory + "/perf-lo-operation.csv"));
}

TEST_F(PerfFileTest, DirectoryThatIsNotThereIsAFailureThatNamesTheFile)
{
    try {
        const PerfFile file(m_Directory + "/nowhere", "lo", "operation", m_Catalogue);
        FAIL();
    } catch (NS_UTIL::ProcessException& e) {
        EXPECT_EQ(e.GetErrorCode(), ErrCode::FILE_NOT_WRITTEN);
        EXPECT_NE(e.ErrorInfoStream().str().find("nowhere/perf-lo-operation.csv.part"), std::string::npos);
    }
}

TEST_F(PerfFileTest, FileThatSomebodyPutInItsPlaceIsNotTouched)
{
    std::ofstream(m_Directory + "/perf-lo-operation.csv.part") << "theirs";
    EXPECT_THROW(PerfFile(m_Directory, "lo", "operation", m_Catalogue), NS_UTIL::ProcessException);
    EXPECT_EQ(Text("perf-lo-operation.csv.part"), "theirs");
}

TEST(FirstFiguresTest, FiguresOfTheFirstSampleAreReadByTheirNames)
{
    const nbitest::TestDirectory folder;
    nbitest::WriteFile(folder / "file", "time,b,a,more\nthen,,7,8\nlater,1,2,3\n");
    Catalogue catalogue;
    for (const char* const pName : {"a", "b", "none"}) {
        Column column;
        column.m_Name = pName;
        catalogue.m_Columns.push_back(column);
    }
    const Figures figures = FirstFigures(folder / "file", catalogue);
    EXPECT_EQ(figures, (Figures{7, std::nullopt, std::nullopt}));
    EXPECT_EQ(FirstFigures(folder / "other", catalogue), Figures(3));
    nbitest::WriteFile(folder / "file", "time,a\nthen,1");
    EXPECT_EQ(FirstFigures(folder / "file", catalogue), Figures(3)) << "the line has no end yet";
}

}  // namespace
}  // namespace northbound
