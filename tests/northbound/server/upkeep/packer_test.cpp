#include "server/upkeep/packer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "nbiutil/processexception.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class PackerTest : public ::testing::Test {
protected:
    static std::string NameOf(int nFile) { return "perf-lo-" + std::to_string(100 + nFile) + ".csv"; }
    static std::string TextOf(int nFile) { return "time,rxBytes\nnow," + std::to_string(nFile) + "\n"; }

    void MakeFiles(int nFiles)
    {
        for (int i = 0; i < nFiles; ++i) std::ofstream(Path(NameOf(i))) << TextOf(i);
    }

    std::string Path(const std::string& name) const { return m_Dir / name; }

    nbitest::TestDirectory m_Dir;
    Packer m_Packer{m_Dir.Path()};
};

TEST_F(PackerTest, GzipPacksEachFileAndNamesWhatGzipMakes)
{
    MakeFiles(2);
    const PackOutcome outcome = m_Packer.Pack(PackMethod::GZIP, 1);
    EXPECT_THAT(outcome.m_Archives, ElementsAre(Path(NameOf(0) + ".gz"), Path(NameOf(1) + ".gz")));
    EXPECT_EQ(outcome.m_nWaiting, 0u);
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0) + ".gz", NameOf(1) + ".gz"));
    EXPECT_EQ(nbitest::OutputOf("gzip -dc " + Path(NameOf(1) + ".gz")), TextOf(1));
}

TEST_F(PackerTest, TarPacksFullGroupsAndTheRestWaits)
{
    MakeFiles(5);
    const PackOutcome outcome = m_Packer.Pack(PackMethod::TAR, 2);
    EXPECT_THAT(outcome.m_Archives, ElementsAre(Path("perf-lo-100.tar"), Path("perf-lo-102.tar")));
    EXPECT_EQ(outcome.m_nWaiting, 1u);
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre("perf-lo-100.tar", "perf-lo-102.tar", NameOf(4)));
    EXPECT_EQ(nbitest::OutputOf("tar -tf " + Path("perf-lo-102.tar")), NameOf(2) + "\n" + NameOf(3) + "\n");
    EXPECT_EQ(nbitest::OutputOf("tar -xOf " + Path("perf-lo-102.tar") + " " + NameOf(3)), TextOf(3));
}

TEST_F(PackerTest, ZipPacksFullGroupsAndTheRestWaits)
{
    MakeFiles(3);
    const PackOutcome outcome = m_Packer.Pack(PackMethod::ZIP, 2);
    EXPECT_THAT(outcome.m_Archives, ElementsAre(Path("perf-lo-100.zip")));
    EXPECT_EQ(outcome.m_nWaiting, 1u);
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre("perf-lo-100.zip", NameOf(2)));
}

TEST_F(PackerTest, ZipGroupsAreNoLargerThanOneCommandHolds)
{
    MakeFiles(60);
    const PackOutcome outcome = m_Packer.Pack(PackMethod::ZIP, 60);
    EXPECT_GT(outcome.m_Archives.size(), 1u);
    EXPECT_EQ(m_Dir.Names().size(), outcome.m_Archives.size() + outcome.m_nWaiting);
    EXPECT_LT(outcome.m_nWaiting, 60u / 2);
}

TEST_F(PackerTest, OnlyFinishedCollectionFilesArePacked)
{
    std::ofstream(Path("perf-lo-1.csv.part")) << "half";
    std::ofstream(Path("notes.csv")) << "other";
    EXPECT_THAT(m_Packer.Pack(PackMethod::GZIP, 1).m_Archives, IsEmpty());
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre("perf-lo-1.csv.part", "notes.csv"));
}

/// A folder whose programs take the place of the system's.
class BrokenProgramTest : public PackerTest {
protected:
    void Replace(const std::string& program, const std::string& script)
    {
        const std::string path = m_Programs / program;
        std::ofstream(path) << "#!/bin/sh\n" << script << '\n';
        fs::permissions(path, fs::perms::owner_all);
        setenv("PATH", (fs::path(path).parent_path().string() + ":" + std::getenv("PATH")).c_str(), 1);
    }

    nbitest::TestDirectory m_Programs;
};

TEST_F(BrokenProgramTest, FilesOfATarThatFailsAreStillThere)
{
    MakeFiles(2);
    Replace("tar", "exit 2");
    const PackOutcome outcome = m_Packer.Pack(PackMethod::TAR, 2);
    EXPECT_THAT(outcome.m_Archives, IsEmpty());
    EXPECT_EQ(outcome.m_nWaiting, 2u);
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0), NameOf(1)));
}

TEST_F(BrokenProgramTest, FilesOfATruncatedTarAreStillThere)
{
    MakeFiles(2);
    Replace("tar", "[ \"$1\" = --version ] || echo short > \"$2\"");
    EXPECT_THAT(m_Packer.Pack(PackMethod::TAR, 2).m_Archives, IsEmpty());
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0), NameOf(1)));
}

TEST_F(BrokenProgramTest, FilesOfAZipThatFailsAreStillThere)
{
    MakeFiles(2);
    Replace("zip", "exit 2");
    EXPECT_THAT(m_Packer.Pack(PackMethod::ZIP, 2).m_Archives, IsEmpty());
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0), NameOf(1)));
}

TEST_F(BrokenProgramTest, FilesOfAGzipThatFailsAreStillThere)
{
    MakeFiles(2);
    Replace("gzip", "exit 2");
    EXPECT_THAT(m_Packer.Pack(PackMethod::GZIP, 1).m_Archives, IsEmpty());
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0), NameOf(1)));
}

TEST_F(BrokenProgramTest, ProgramThatIsNotThereIsAFailureThatChangesNothing)
{
    MakeFiles(2);
    setenv("PATH", m_Programs.Path().c_str(), 1);
    try {
        m_Packer.Pack(PackMethod::TAR, 2);
        FAIL() << "nothing was thrown";
    } catch (const NS_UTIL::ProcessException& e) {
        EXPECT_EQ(e.GetErrorCode(), ErrCode::CANNOT_PACK);
        EXPECT_EQ(e.GetErrorInfo(), "tar cannot be started: No such file or directory");
    }
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0), NameOf(1)));
}

TEST_F(PackerTest, FilesThatAKilledServerHadSecuredComeBack)
{
    fs::create_directory(Path(".packing"));
    std::ofstream(Path(".packing/" + NameOf(0))) << TextOf(0);
    const PackOutcome outcome = m_Packer.Pack(PackMethod::TAR, 2);
    EXPECT_EQ(outcome.m_nWaiting, 1u);
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0)));
}

TEST_F(PackerTest, ArchiveThatAKilledServerHadNotSeenWholeGoesAndItsFilesComeBack)
{
    fs::create_directory(Path(".packing"));
    std::ofstream(Path(".packing/" + NameOf(0))) << TextOf(0);
    const std::string half = NameOf(0).substr(0, NameOf(0).rfind('.')) + ".tar";
    std::ofstream(Path(half)) << "half";
    EXPECT_EQ(m_Packer.RecoverAll(), 1u);
    EXPECT_THAT(m_Dir.Names(), UnorderedElementsAre(NameOf(0)));
    EXPECT_EQ(m_Packer.RecoverAll(), 0u);
}

}  // namespace
}  // namespace northbound
