// TarFile(): groups of files in tar archives.
#include <gtest/gtest.h>

#include "nbiutil/zipfile.h"
#include "util/packing.h"

namespace NS_UTIL {
namespace {

using nbitest::Line;
using nbitest::LogLine;
using nbitest::Names;
using nbitest::NameSet;
using nbitest::NotStarted;
using nbitest::OutputOf;
using nbitest::PassesInChild;
using nbitest::Strings;
using nbitest::TestDirectory;

class TarFileTest : public nbitest::PackingTest {};

TEST_F(TarFileTest, FullGroupsAreTarredAndTheRestWaits)
{
    Names in = AddFiles({"1.log", "2.log", "3.log", "4.log", "5.log"});
    m_Out = {"before"};
    EXPECT_EQ(Tar(in, 2), 1);
    EXPECT_EQ(m_Out, (Names{"before", In("1.tar"), In("3.tar")}));
    EXPECT_EQ(in, (Names{In("5.log")}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"1.tar", "3.tar", "5.log"}));
    EXPECT_EQ(Members(In("1.tar")), (Strings{"1.log", "2.log"}));
    EXPECT_EQ(Members(In("3.tar")), (Strings{"3.log", "4.log"}));
    EXPECT_EQ(OutputOf("tar -xOf " + In("3.tar") + " 4.log"), "text of 4.log");
}

TEST_F(TarFileTest, EachTarCommandIsLoggedWithItsResult)
{
    Names in = AddFiles({"1.log", "2.log"});
    Tar(in, 2);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{
                                 Line(230, "tarCmdLine = tar -cvf " + In("1.tar") + " 1.log,result = 1"),
                                 Line(230, "tarCmdLine = tar -uvf " + In("1.tar") + " 2.log,result = 1"),
                             }));
}

TEST_F(TarFileTest, FewerFilesThanAGroupStayUntouched)
{
    Names in = AddFiles({"1.log"});
    EXPECT_EQ(Tar(in, 2), 1);
    EXPECT_EQ(in, (Names{In("1.log")}));
    EXPECT_TRUE(m_Out.empty());
    EXPECT_EQ(m_Dir.Names(), (NameSet{"1.log"}));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(TarFileTest, TarWithoutASensibleGroupDoesNothing)
{
    for (const long nPerArchive : {0L, -1L, -2147483648L, -9223372036854775807L - 1}) {
        Names in{"1.log", "2.log"};
        EXPECT_EQ(Tar(in, nPerArchive), 1);
        EXPECT_EQ(in.size(), 2u);
    }
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(TarFileTest, TarGroupSizeIsNotNarrowed)
{
    Names in{"1.log", "2.log"};
    EXPECT_EQ(Tar(in, (1L << 32) + 1), 1);
    EXPECT_EQ(in.size(), 2u);
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(TarFileTest, NothingInNothingOut)
{
    Names in;
    EXPECT_EQ(Tar(in, 1), 1);
    EXPECT_EQ(Zip(in, 1), 1);
    EXPECT_TRUE(m_Out.empty());
}

TEST_F(TarFileTest, TarOfOneFileEachIsCreatedAnew)
{
    Names in = AddFiles({"1.log", "2"});
    EXPECT_EQ(Tar(in, 1), 1);
    EXPECT_EQ(m_Out, (Names{In("1.tar"), In("2.tar")}));
    EXPECT_TRUE(in.empty());
    EXPECT_EQ(Members(In("2.tar")), (Strings{"2"}));
}

TEST_F(TarFileTest, TarredFilesAreDeletedThoughTarCannotBeStarted)
{
    Names in = AddFiles({"1.log", "2.log"});
    Hide("tar");
    EXPECT_EQ(Tar(in, 2), 1);
    EXPECT_FALSE(m_Dir.Has("1.log"));
    EXPECT_FALSE(m_Dir.Has("2.log"));
    EXPECT_EQ(m_Out, (Names{In("1.tar")}));
    EXPECT_TRUE(in.empty());
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{
                                 NotStarted(ENOENT),
                                 Line(230, "tarCmdLine = tar -cvf " + In("1.tar") + " 1.log,result = 0"),
                                 NotStarted(ENOENT),
                                 Line(230, "tarCmdLine = tar -uvf " + In("1.tar") + " 2.log,result = 0"),
                             }));
}

TEST_F(TarFileTest, FileThatCannotBeDeletedIsLoggedAndTheWalkGoesOn)
{
    AddFiles({"2.log"});
    Names in{In("missing.log"), In("2.log")};
    Tar(in, 2);
    EXPECT_EQ(m_Host.LogsAt("zipfile", 233),
              (std::vector<LogLine>{Line(
                  233, "[ZipFileInterface::TarFile] TAVO_OS::unlink " + In("missing.log") + " error 2")}));
    EXPECT_EQ(m_Out, (Names{In("missing.tar")}));
    EXPECT_FALSE(m_Dir.Has("2.log"));
    EXPECT_TRUE(in.empty());
}

TEST_F(TarFileTest, TarredFilesAreDeletedRelativeToTheProcess)
{
    TestDirectory elsewhere;
    AddFiles({"1.log"});
    elsewhere.Add("1.log", "another file");
    EXPECT_TRUE(PassesInChild([&] {
        ASSERT_EQ(chdir(elsewhere.Path().c_str()), 0);
        Names in{"1.log"};
        Tar(in, 1);
    }));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"1.log", "1.tar"}));
    EXPECT_TRUE(elsewhere.Names().empty());
}

TEST_F(TarFileTest, TarPacksBaseNamesOfTheWorkingDirectory)
{
    TestDirectory elsewhere;
    AddFiles({"1.log"});
    Names in{elsewhere.Add("1.log", "another file")};
    Tar(in, 1);
    EXPECT_EQ(m_Out, (Names{elsewhere / "1.tar"}));
    EXPECT_EQ(OutputOf("tar -xOf " + elsewhere / "1.tar" + " 1.log"), "text of 1.log");
    EXPECT_EQ(elsewhere.Names(), (NameSet{"1.tar"}));
    EXPECT_TRUE(m_Dir.Has("1.log"));
}

TEST_F(TarFileTest, EachTarredFileIsDeletedBeforeTheNextCommand)
{
    ASSERT_EQ(mkdir(In("bin").c_str(), 0755), 0);
    m_Dir.Add("bin/tar",
              "#!/bin/sh\necho $3 $(ls " + m_Dir.Path() + "/*.log | wc -l) >> " + In("seen") + "\n", 0755);
    setenv("PATH", (In("bin") + ":" + m_OldPath).c_str(), 1);
    Names in = AddFiles({"1.log", "2.log", "3.log"});
    Tar(in, 3);
    EXPECT_EQ(m_Dir.Text("seen"), "1.log 3\n2.log 2\n3.log 1\n");
}

}  // namespace
}  // namespace NS_UTIL
