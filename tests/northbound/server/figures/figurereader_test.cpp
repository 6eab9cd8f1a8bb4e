#include "server/figures/figurereader.h"

#include <gtest/gtest.h>

#include "nbihost/recordinghost.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* TABLE =
    "Inter-|   Receive\n"
    " face |bytes    packets\n"
    "    lo: 1 2 x\n"
    "port9:18446744073709551615 18446744073709551616\n"
    "eth0:1: 7\n";

class FigureReaderTest : public ::testing::Test {
protected:
    void SetUp() override { Write("dev", TABLE); }

    void Write(const std::string& name, const std::string& text) const { m_Directory.Add(name, text); }

    void Describe(const std::string& file, std::size_t nColumn = 0)
    {
        Column column;
        column.m_Name = "figure" + std::to_string(m_Catalogue.m_Columns.size());
        column.m_File = m_Directory / file;
        column.m_nColumn = nColumn;
        m_Catalogue.m_Columns.push_back(column);
    }

    Texts Logged() const
    {
        Texts texts;
        for (const nbitest::LogLine& line : m_Host.Logs()) texts.push_back(line.m_Text);
        return texts;
    }

    Figures Read(const std::string& port) { return FigureReader(m_Catalogue, m_Tables).Read(port); }

    const nbitest::TestDirectory m_Directory;
    Catalogue m_Catalogue;
    KernelTables m_Tables;
    nbitest::RecordingHost m_Host;
};

TEST_F(FigureReaderTest, NumberedColumnIsCountedFromOneInThePortsLine)
{
    Describe("dev", 2);
    Describe("dev", 1);
    EXPECT_EQ(Read("lo"), (Figures{2u, 1u}));
    EXPECT_TRUE(Logged().empty());
}

TEST_F(FigureReaderTest, NameThatTouchesItsFirstFigureOrHoldsAColonIsReadToo)
{
    Describe("dev", 1);
    EXPECT_EQ(Read("port9"), (Figures{18446744073709551615u}));
    EXPECT_EQ(Read("eth0:1"), (Figures{7u}));
}

TEST_F(FigureReaderTest, FileOfOneNumberIsFoundUnderThePortsName)
{
    Describe("{port}/statistics/collisions");
    Write("lo/statistics/collisions", "12\n");
    EXPECT_EQ(Read("lo"), (Figures{12u}));
}

TEST_F(FigureReaderTest, FigureThatIsNoNumberIsMissingAndTheOthersAreThere)
{
    Write("minus", "-1\n");
    Write("empty", "");
    Describe("dev", 3);
    Describe("minus");
    Describe("empty");
    Describe("dev", 1);
    EXPECT_EQ(Read("lo"), (Figures{std::nullopt, std::nullopt, std::nullopt, 1u}));
    const std::string folder = m_Directory.Path();
    EXPECT_EQ(Logged(), (Texts{"lo has no figure0: " + folder + "/dev: \"x\" is no number",
                               "lo has no figure1: " + folder + "/minus: \"-1\" is no number",
                               "lo has no figure2: " + folder + "/empty shows nothing"}));
}

TEST_F(FigureReaderTest, NumberBeyond64BitsIsMissing)
{
    Describe("dev", 2);
    EXPECT_EQ(Read("port9"), (Figures{std::nullopt}));
}

TEST_F(FigureReaderTest, SourceThatIsNotThereIsMissingWithItsReason)
{
    Describe("none/{port}");
    Describe("none/dev", 1);
    Describe("dev", 4);
    EXPECT_EQ(Read("lo"), (Figures{std::nullopt, std::nullopt, std::nullopt}));
    const std::string folder = m_Directory.Path();
    EXPECT_EQ(Logged(),
              (Texts{"lo has no figure0: " + folder + "/none/lo cannot be read: No such file or directory",
                     "lo has no figure1: " + folder + "/none/dev cannot be read: No such file or directory",
                     "lo has no figure2: " + folder + "/dev has no column 4"}));
}

TEST_F(FigureReaderTest, PortWithoutALineHasNoFigures)
{
    Describe("dev", 1);
    EXPECT_EQ(Read("gone"), (Figures{std::nullopt}));
    ASSERT_EQ(Logged().size(), 1u);
    EXPECT_NE(Logged()[0].find("has no line of it"), std::string::npos);
}

TEST_F(FigureReaderTest, MissingFigureCostsOneLineHoweverOftenARequestReadsItAndForHowManyPorts)
{
    Describe("none/{port}");
    FigureReader reader(m_Catalogue, m_Tables);
    for (int i = 0; i < 5; ++i) reader.Read("lo");
    EXPECT_EQ(Logged().size(), 1u);
    reader.Read("port9");
    EXPECT_EQ(Logged().size(), 1u);
}

TEST_F(FigureReaderTest, SeveralPortsAreAnsweredInTheirOrder)
{
    Describe("dev", 1);
    EXPECT_EQ(FigureReader(m_Catalogue, m_Tables).Read(Texts{"eth0:1", "lo"}),
              (std::vector<Figures>{{7u}, {1u}}));
}

}  // namespace
}  // namespace northbound
