// Names that the packing programs would read as something else than a file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "nbiutil/zipfile.h"
#include "util/packing.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::Names;
using nbitest::NameSet;
using nbitest::NotStarted;
using nbitest::OutputOf;
using nbitest::PassesInChild;
using nbitest::Strings;

class ArchiveNamesTest : public nbitest::PackingTest {
protected:
    /// Relative names mean the same file to the commands and to the deletions.
    void Enter() { ASSERT_EQ(chdir(m_Dir.Path().c_str()), 0); }
    Names Gzipped(const Names& names)
    {
        Names in = names;
        Names out;
        bool bTar = false;
        m_pPacker->GZipFile(m_Dir.Path(), in, out, bTar);
        return out;
    }
};

// Options

TEST_F(ArchiveNamesTest, FileCalledLikeAnOptionIsCompressed)
{
    AddFiles({"-V", "--help", "-"});
    m_pPacker->ZipFile(m_Dir.Path(), {"-V", "--help", "-"}, m_Out);
    EXPECT_EQ(m_Out, (Names{"-V.gz", "--help.gz", "-.gz"}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"-V.gz", "--help.gz", "-.gz"}));
    AddFiles({"-V"});
    EXPECT_EQ(Gzipped({"-V"}), (Names{"-V.gz"}));
    EXPECT_FALSE(m_Dir.Has("-V"));
}

TEST_F(ArchiveNamesTest, FileCalledLikeAnOptionIsTarred)
{
    EXPECT_TRUE(PassesInChild([this] {
        Enter();
        AddFiles({"-a.log", "--help"});
        Names in{"-a.log", "--help"};
        Tar(in, 2);
        EXPECT_EQ(m_Out, (Names{"-a.tar"}));
        EXPECT_EQ(m_Dir.Names(), (NameSet{"-a.tar"}));
        EXPECT_EQ(Members("./-a.tar"), (Strings{"./-a.log", "./--help"}));
        EXPECT_EQ(m_Host.LogsAt("zipfile", 230)[0].m_Text,
                  "tarCmdLine = tar -cvf ./-a.tar ./-a.log,result = 1");
    }));
}

TEST_F(ArchiveNamesTest, BaseNameCalledLikeAnOptionIsTarred)
{
    Names in = AddFiles({"a.log", "-T"});
    Tar(in, 2);
    EXPECT_EQ(Members(In("a.tar")), (Strings{"a.log", "./-T"}));
}

/// "-T -TT COMMAND" makes zip run a command.
TEST_F(ArchiveNamesTest, NamesInAZipGroupRunNothing)
{
    EXPECT_TRUE(PassesInChild([this] {
        Enter();
        m_Dir.Add("x.sh", "#!/bin/sh\ntouch ran\n", 0755);
        ASSERT_EQ(mkdir("-TT.", 0755), 0);
        AddFiles({"a.log", "-T", "-TT./x.sh"});
        Names in{"a.log", "-T", "-TT./x.sh"};
        Zip(in, 3);
        EXPECT_FALSE(m_Dir.Has("ran"));
        EXPECT_EQ(m_Out, (Names{"a.zip"}));
        EXPECT_NE(OutputOf("unzip -l a.zip").find("3 files"), std::string::npos);
        EXPECT_EQ(m_Dir.Names(), (NameSet{"x.sh", "-TT.", "a.zip"}));
    }));
}

TEST_F(ArchiveNamesTest, ZipGroupMayBeginWithAFileCalledLikeAnOption)
{
    EXPECT_TRUE(PassesInChild([this] {
        Enter();
        AddFiles({"-.log", "b.log"});
        Names in{"-.log", "b.log"};
        Zip(in, 2);
        EXPECT_EQ(m_Out, (Names{"-.zip"}));
        EXPECT_EQ(m_Dir.Names(), (NameSet{"-.zip"}));
        EXPECT_EQ(OutputOf("unzip -p ./-.zip"), "text of -.logtext of b.log");
    }));
}

// Other machines

TEST_F(ArchiveNamesTest, TimeInATarArchivesNameIsNoOtherMachine)
{
    EXPECT_TRUE(PassesInChild([this] {
        Enter();
        AddFiles({"2024-01-01T12:01:00.log", "2024-01-01T12:02:00.log"});
        Names in{"2024-01-01T12:01:00.log", "2024-01-01T12:02:00.log"};
        Tar(in, 2);
        EXPECT_EQ(m_Out, (Names{"2024-01-01T12:01:00.tar"}));
        EXPECT_EQ(m_Dir.Names(), (NameSet{"2024-01-01T12:01:00.tar"}));
        EXPECT_EQ(Members("./2024-01-01T12:01:00.tar"),
                  (Strings{"2024-01-01T12:01:00.log", "2024-01-01T12:02:00.log"}));
    }));
}

TEST_F(ArchiveNamesTest, ColonBehindASlashStaysAsItIs)
{
    Names in = AddFiles({"12:01.log"});
    Tar(in, 1);
    EXPECT_EQ(m_Host.LogsAt("zipfile", 230)[0].m_Text,
              "tarCmdLine = tar -cvf " + In("12:01.tar") + " 12:01.log,result = 1");
    EXPECT_EQ(Members(In("12:01.tar")), (Strings{"12:01.log"}));
}

TEST_F(ArchiveNamesTest, ColonsInAZipGroupArePacked)
{
    EXPECT_TRUE(PassesInChild([this] {
        Enter();
        AddFiles({"12:01.log", "12:02.log"});
        Names in{"12:01.log", "12:02.log"};
        Zip(in, 2);
        EXPECT_EQ(m_Out, (Names{"12:01.zip"}));
        EXPECT_EQ(m_Dir.Names(), (NameSet{"12:01.zip"}));
    }));
}

// Empty names

TEST_F(ArchiveNamesTest, EmptyNameIsNotCompressed)
{
    AddFiles({"a"});
    nbitest::Printed printed;
    m_pPacker->ZipFile(m_Dir.Path(), {"", "  ", "a"}, m_Out);
    EXPECT_EQ(m_Out, (Names{"a.gz"}));
    EXPECT_EQ(Gzipped({""}), Names{});
    EXPECT_EQ(m_Host.Logs(), std::vector<LogLine>(3, NotStarted(EINVAL)));
    EXPECT_EQ(printed.Text(),
              "ProcInstance.spawn error.22ProcInstance.spawn error.22ProcInstance.spawn error.22");
}

TEST_F(ArchiveNamesTest, EmptyNameKeepsAZipGroupFromBeingPacked)
{
    AddFiles({"a.log", "b.log"});
    Names in{In("a.log"), "", In("b.log")};
    Zip(in, 3);
    EXPECT_EQ(in, (Names{In("a.log"), "", In("b.log")}));
    EXPECT_TRUE(m_Out.empty());
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a.log", "b.log"}));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(EINVAL)}));
}

TEST_F(ArchiveNamesTest, EmptyNameIsNotTarred)
{
    AddFiles({"a.log"});
    Names in{In("a.log"), ""};
    Tar(in, 2);
    EXPECT_EQ(Members(In("a.tar")), (Strings{"a.log"}));
    EXPECT_EQ(m_Host.LogsAt("zipfile", 75), (std::vector<LogLine>{NotStarted(EINVAL)}));
    EXPECT_EQ(m_Host.LogsAt("zipfile", 230)[1].m_Text,
              "tarCmdLine = tar -uvf " + In("a.tar") + " ,result = 0");
}

// Stems with a "."

TEST_F(ArchiveNamesTest, StemWithADotGetsTheReportedEnding)
{
    AddFiles({"data.2024"});  // which is no archive, and zip would fail on it
    Names in = AddFiles({"data.2024.log", "b.log"});
    Zip(in, 2);
    EXPECT_EQ(m_Out, (Names{In("data.2024.zip")}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"data.2024", "data.2024.zip"}));
    EXPECT_EQ(OutputOf("unzip -p " + In("data.2024.zip")), "text of data.2024.logtext of b.log");
    EXPECT_EQ(m_Dir.Text("data.2024"), "text of data.2024");
}

TEST_F(ArchiveNamesTest, EveryReportedZipArchiveExists)
{
    for (const std::string name : {"x", "x.zip.log", "x..log", ".log", "..log", ".a.b", "x.tar.gz"}) {
        Names in = AddFiles({name});
        const std::string text = "text of " + name;
        m_Out.clear();
        Zip(in, 1);
        ASSERT_EQ(m_Out.size(), 1u) << name;
        EXPECT_EQ(OutputOf("unzip -p " + m_Out.front()), text) << name;
        unlink(m_Out.front().c_str());
    }
}

TEST_F(ArchiveNamesTest, ZipGroupThatHoldsItsOwnArchiveIsKept)
{
    for (const std::string first : {"a.zip", "a.log"}) {
        const std::string second = first == "a.zip" ? "b.log" : "a.zip";
        const Names before = AddFiles({first, second});
        Names in = before;
        m_Host.ClearLogs();
        Zip(in, 2);
        EXPECT_EQ(in, before);
        EXPECT_TRUE(m_Out.empty());
        EXPECT_EQ(m_Dir.Text("a.zip"), "text of a.zip");
        EXPECT_TRUE(m_Dir.Has(first));
        EXPECT_TRUE(m_Dir.Has(second));
        EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(EINVAL)}));
    }
}

TEST_F(ArchiveNamesTest, DotInAFolderIsNoDotOfTheStem)
{
    ASSERT_EQ(mkdir(In("v1.2").c_str(), 0755), 0);
    Names in = AddFiles({"v1.2/a.log"});
    Zip(in, 1);
    EXPECT_EQ(m_Out, (Names{In("v1.2/a.zip")}));
    EXPECT_TRUE(m_Dir.Has("v1.2/a.zip"));
}

}  // namespace
}  // namespace NS_UTIL
