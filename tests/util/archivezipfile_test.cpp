// ArchiveZipFile(): groups of files in zip archives.
#include <gtest/gtest.h>

#include "nbiutil/zipfile.h"
#include "util/packing.h"

namespace NS_UTIL {
namespace {

using nbitest::Exists;
using nbitest::Line;
using nbitest::LogLine;
using nbitest::Names;
using nbitest::NameSet;
using nbitest::NotStarted;
using nbitest::OutputOf;
using nbitest::PassesInChild;
using nbitest::Printed;

class ArchiveZipFileTest : public nbitest::PackingTest {};

TEST_F(ArchiveZipFileTest, FullGroupsAreZippedAndTheRestWaits)
{
    Names in = AddFiles({"a.log", "b.log", "c.log", "d.log", "e.log"});
    EXPECT_EQ(Zip(in, 2), 1);
    EXPECT_EQ(m_Out, (Names{In("a.zip"), In("c.zip")}));
    EXPECT_EQ(in, (Names{In("e.log")}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a.zip", "c.zip", "e.log"}));
    EXPECT_EQ(OutputOf("unzip -p " + In("a.zip") + " '*/b.log'"), "text of b.log");
    EXPECT_EQ(OutputOf("unzip -p " + In("c.zip")), "text of c.logtext of d.log");
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ArchiveZipFileTest, ZipIsGivenTheStemAndEveryNameAsListed)
{
    ASSERT_EQ(mkdir(In("bin").c_str(), 0755), 0);
    m_Dir.Add("bin/zip", "#!/bin/sh\necho \"$(pwd)|$*\" > " + In("seen") + "\n", 0755);
    setenv("PATH", (In("bin") + ":" + m_OldPath).c_str(), 1);
    Names in = AddFiles({"a.log", "b.log"});
    Zip(in, 2);
    EXPECT_EQ(m_Dir.Text("seen"),
              m_Dir.Path() + "|" + In("a") + " " + In("a.log") + " " + In("b.log") + "\n");
    EXPECT_FALSE(m_Dir.Has("a.log"));
    EXPECT_FALSE(m_Dir.Has("b.log"));
    EXPECT_EQ(m_Out, (Names{In("a.zip")}));
}

TEST_F(ArchiveZipFileTest, FewerFilesThanAZipGroupStayUntouched)
{
    Names in = AddFiles({"a.log"});
    EXPECT_EQ(Zip(in, 2), 1);
    EXPECT_EQ(in.size(), 1u);
    EXPECT_TRUE(m_Out.empty());
    EXPECT_TRUE(m_Dir.Has("a.log"));
}

TEST_F(ArchiveZipFileTest, ZipWithoutASensibleGroupDoesNothing)
{
    for (const int nPerArchive : {0, -1, -2147483647 - 1}) {
        Names in{"a.log", "b.log"};
        EXPECT_EQ(Zip(in, nPerArchive), 1);
        EXPECT_EQ(in.size(), 2u);
    }
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ArchiveZipFileTest, ZippedFileThatCannotBeDeletedIsPrintedAndLogged)
{
    AddFiles({"b.log"});
    Names in{In("missing.log"), In("b.log")};
    const std::string text =
        "[ZipFileInterface::ArchiveZipFile] TAVO_OS::unlink " + In("missing.log") + " error 2";
    Printed printed;
    std::string workDir = m_Dir.Path();
    EXPECT_EQ(m_pPacker->ArchiveZipFile(workDir, in, m_Out, 2), 1);
    const std::string output = printed.Text();
    EXPECT_EQ(output.substr(output.size() - std::min(output.size(), text.size())), text);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{Line(308, text)}));
    EXPECT_FALSE(m_Dir.Has("b.log"));
    EXPECT_EQ(m_Out, (Names{In("missing.zip")}));
    EXPECT_TRUE(in.empty());
}

TEST_F(ArchiveZipFileTest, AfterAFailedStartTheNextGroupBeginsWithTheLastName)
{
    AddFiles({"a%x.log", "b.log", "c.log", "d.log"});  // the first command holds a "%"
    Names in{In("a%x.log"), In("b.log"), In("c.log"), In("d.log")};
    EXPECT_EQ(Zip(in, 2), 1);
    EXPECT_EQ(m_Out, (Names{In("b.zip")}));
    EXPECT_EQ(in, (Names{In("d.log")}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a%x.log", "b.zip", "d.log"}));
    EXPECT_EQ(OutputOf("unzip -p " + In("b.zip")), "text of b.logtext of c.log");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(EINVAL)}));
}

TEST_F(ArchiveZipFileTest, ZipThatCannotBeStartedDeletesAndReportsNothing)
{
    Names in = AddFiles({"a.log", "b.log", "c.log", "d.log"});
    const Names before = in;
    Hide("zip");
    EXPECT_EQ(Zip(in, 2), 1);
    EXPECT_EQ(in, before);
    EXPECT_TRUE(m_Out.empty());
    for (const std::string& path : before) EXPECT_TRUE(Exists(path));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(ENOENT), NotStarted(ENOENT)}));
}

TEST_F(ArchiveZipFileTest, GroupThatDoesNotFitACommandIsKept)
{
    Names names;
    for (int i = 0; i < 126; ++i) names.push_back(std::to_string(i));
    AddFiles(names);
    std::string workDir = m_Dir.Path();
    Printed quiet;
    EXPECT_EQ(m_pPacker->ArchiveZipFile(workDir, names, m_Out, 126), 1);
    EXPECT_EQ(names.size(), 126u);  // with "zip" and the archive's name 128 words
    EXPECT_TRUE(m_Dir.Has("0"));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(E2BIG)}));
}

TEST_F(ArchiveZipFileTest, LargestGroupThatFitsIsPackedWhole)
{
    Names names;
    for (int i = 0; i < 125; ++i) names.push_back(std::to_string(i));
    AddFiles(names);
    EXPECT_TRUE(PassesInChild([this, &names] {
        ASSERT_EQ(chdir(m_Dir.Path().c_str()), 0);
        EXPECT_EQ(Zip(names, 125), 1);
        EXPECT_TRUE(names.empty());
        EXPECT_EQ(m_Out, (Names{"0.zip"}));
    }));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"0.zip"}));
    EXPECT_NE(OutputOf("unzip -l " + In("0.zip")).find("125 files"), std::string::npos);
}

TEST_F(ArchiveZipFileTest, GroupOfOneIsTriedAgainAndAgain)
{
    Names in{"a", "b", "c"};
    Hide("zip");
    m_Host.ClearLogs();
    EXPECT_EQ(Zip(in, 1), 1);
    EXPECT_EQ(m_Host.Logs().size(), 3u);
    EXPECT_EQ(in.size(), 3u);
}

}  // namespace
}  // namespace NS_UTIL
