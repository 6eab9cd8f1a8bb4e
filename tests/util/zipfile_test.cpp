#include "nbiutil/zipfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <thread>
#include <vector>

#include "support/inchild.h"
#include "support/recordinghost.h"
#include "support/tempdir.h"

namespace NS_UTIL {
namespace {

using nbitest::Exists;
using nbitest::LogLine;
using nbitest::NOT_ROOT;
using nbitest::OutputOf;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::RecordingHost;
using nbitest::TempDir;
using Names = std::list<std::string>;
using Strings = std::vector<std::string>;
using NameSet = std::set<std::string>;

LogLine Line(int nLine, const std::string& text)
{
    LogLine line;
    line.m_File = "zipfile";
    line.m_Function = "unknown";
    line.m_nLine = nLine;
    line.m_nLevel = 1;
    line.m_Text = text;
    return line;
}

LogLine NotStarted(int nError)
{
    return Line(75, "[ZipFileInterface::ExecuteCmd] ProcInstance.spawn error." + std::to_string(nError));
}

/// What standard output receives while it lives, children included.
class Printed {
public:
    Printed() { testing::internal::CaptureStdout(); }
    ~Printed()
    {
        if (!m_bTaken) testing::internal::GetCapturedStdout();
    }
    std::string Text()
    {
        m_bTaken = true;
        return testing::internal::GetCapturedStdout();
    }

private:
    bool m_bTaken = false;
};

class ZipFileTest : public ::testing::Test {
protected:
    void SetUp() override { m_OldPath = std::getenv("PATH"); }
    void TearDown() override
    {
        setenv("PATH", m_OldPath.c_str(), 1);
        ZipFileInterface::Destroy();
    }

    /// Adds a file for each name, its content being "text of <name>".
    Names AddFiles(const Names& names)
    {
        Names paths;
        for (const std::string& name : names) paths.push_back(m_Dir.Add(name, "text of " + name));
        return paths;
    }
    std::string In(const std::string& name) { return m_Dir / name; }
    void Hide(const std::string& program)
    {
        ASSERT_EQ(mkdir(In("bin").c_str(), 0755), 0);
        for (const std::string name : {"tar", "gzip", "zip", "sh"}) {
            if (name == program) continue;
            const std::string path = OutputOf("command -v " + name);
            ASSERT_EQ(symlink(path.substr(0, path.find('\n')).c_str(), In("bin/" + name).c_str()), 0);
        }
        setenv("PATH", In("bin").c_str(), 1);
    }
    Strings Members(const std::string& tar)
    {
        Strings members;
        std::string listing = OutputOf("tar -tf " + tar);
        for (std::size_t nEnd; (nEnd = listing.find('\n')) != std::string::npos; listing.erase(0, nEnd + 1)) {
            members.push_back(listing.substr(0, nEnd));
        }
        return members;
    }
    int Tar(Names& in, long nPerArchive)
    {
        Printed quiet;
        return m_pPacker->TarFile(m_Dir.Path(), in, m_Out, nPerArchive);
    }
    int Zip(Names& in, int nPerArchive)
    {
        Printed quiet;
        std::string workDir = m_Dir.Path();
        return m_pPacker->ArchiveZipFile(workDir, in, m_Out, nPerArchive);
    }

    RecordingHost m_Host;
    TempDir m_Dir;
    Names m_Out;
    std::string m_OldPath;
    ZipFileInterface* m_pPacker = ZipFileInterface::Instance();
};

TEST_F(ZipFileTest, PathsAreBuiltOnceFromTheInstallationRoot)
{
    ZipFileInterface::Destroy();
    m_Host.SetRoot("/opt/root");
    ZipFileInterface* const pPacker = ZipFileInterface::Instance();
    EXPECT_EQ(pPacker->GetBasePath(), "/opt/root/../");
    EXPECT_EQ(pPacker->GetParentPath(), "/opt/root/../..");
    m_Host.SetRoot("/other");
    EXPECT_EQ(pPacker->GetBasePath(), "/opt/root/../");
    EXPECT_EQ(pPacker->init(), 1);
    EXPECT_EQ(pPacker->GetBasePath(), "/other/../");
}

// ExecuteCmd

TEST_F(ZipFileTest, CommandRunsInTheWorkingDirectoryToItsEnd)
{
    EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), "sh -c 'sleep 0.1; touch done'"));
    EXPECT_TRUE(m_Dir.Has("done"));
    EXPECT_TRUE(m_Host.Logs().empty());
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ZipFileTest, CommandThatFailsCountsAsRun)
{
    EXPECT_TRUE(m_pPacker->ExecuteCmd("", "false"));
    EXPECT_TRUE(m_pPacker->ExecuteCmd("", "sh -c 'kill -9 $$'"));
}

TEST_F(ZipFileTest, EmptyWorkingDirectoryIsTheCurrentOne)
{
    EXPECT_TRUE(PassesInChild([this] {
        ASSERT_EQ(chdir(m_Dir.Path().c_str()), 0);
        EXPECT_TRUE(m_pPacker->ExecuteCmd("", "touch made"));
    }));
    EXPECT_TRUE(m_Dir.Has("made"));
}

TEST_F(ZipFileTest, CommandThatCannotBeStartedIsPrintedAndLoggedOnce)
{
    Printed printed;
    EXPECT_FALSE(m_pPacker->ExecuteCmd(m_Dir.Path(), "no-such-program-anywhere"));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(printed.Text(), "ProcInstance.spawn error.2");
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(ENOENT)}));
}

TEST_F(ZipFileTest, ArchiveLinesGoThroughTheLibrarysChannel)
{
    Printed quiet;
    m_pPacker->ExecuteCmd("", "");
    EXPECT_EQ(m_Host.FactoryCalls(),
              (std::vector<Strings>{{"kx_domain_bundle", "kx_domain_model", "debug"}}));
}

TEST_F(ZipFileTest, EachWayOfNotStartingHasItsErrorNumber)
{
    m_Dir.Add("plain", "");
    struct Case {
        std::string m_WorkDir;
        std::string m_Command;
        int m_nError;
    };
    const std::vector<Case> cases{
        {m_Dir / "missing", "true", ENOENT},
        {m_Dir / "plain", "true", ENOTDIR},
        {m_Dir.Path(), "./plain", EACCES},
        {m_Dir.Path(), "", EINVAL},
        {m_Dir.Path(), "true " + std::string(1019, 'x'), E2BIG},
        {m_Dir.Path(), "true a%b", EINVAL},
        {m_Dir.Path(), "true %", EINVAL},
        {m_Dir.Path(), "true %%%", EINVAL},
        {m_Dir.Path(), "true %s", EINVAL},
        {std::string(4097, '/'), "true", ENAMETOOLONG},
        {std::string(4096, '/'), "true", ENAMETOOLONG},
    };
    Printed quiet;
    for (const Case& one : cases) {
        m_Host.ClearLogs();
        EXPECT_FALSE(m_pPacker->ExecuteCmd(one.m_WorkDir, one.m_Command)) << one.m_Command;
        EXPECT_EQ(errno, one.m_nError) << one.m_Command;
        EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(one.m_nError)})) << one.m_Command;
    }
}

TEST_F(ZipFileTest, DoublePercentIsOne)
{
    EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), "touch a%%b %%%%"));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a%b", "%%"}));
}

TEST_F(ZipFileTest, LengthCountsAfterThePercentsAreReplaced)
{
    const std::string head = "sh -c 'printf %%s \"$1\" > out' x ";
    const std::string word(1023 - head.size() + 1, 'w');
    EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), head + word));
    EXPECT_EQ(m_Dir.Text("out"), word);
}

TEST_F(ZipFileTest, CommandOf127WordsArrivesWhole)
{
    std::string command = "sh -c 'echo $# > out' x";
    for (int i = 4; i < 127; ++i) command += " w";
    EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), command));
    EXPECT_EQ(m_Dir.Text("out"), "123\n");
    Printed quiet;
    EXPECT_FALSE(m_pPacker->ExecuteCmd(m_Dir.Path(), command + " w"));
    EXPECT_EQ(errno, E2BIG);
}

TEST_F(ZipFileTest, FailedSpawnCouldNotBeStarted)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    EXPECT_TRUE(PassesAsNobody([this] {
        const rlimit none{0, 0};
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
        EXPECT_FALSE(m_pPacker->ExecuteCmd(m_Dir.Path(), "true"));
        EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(EAGAIN)}));
    }));
}

void Nothing(int)
{
}

TEST_F(ZipFileTest, SignalDoesNotEndTheWait)
{
    struct sigaction action = {};
    action.sa_handler = Nothing;  // and no SA_RESTART
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    EXPECT_TRUE(m_pPacker->ExecuteCmd(
        m_Dir.Path(), "sh -c 'kill -USR1 $PPID; sleep 0.2; kill -USR1 $PPID; sleep 0.2; touch done'"));
    EXPECT_TRUE(m_Dir.Has("done"));
    std::signal(SIGUSR1, SIG_DFL);
}

TEST_F(ZipFileTest, ChildThatTheSystemCollectsCountsAsRun)
{
    std::signal(SIGCHLD, SIG_IGN);
    EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), "touch done"));
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_TRUE(m_Dir.Has("done"));
}

TEST_F(ZipFileTest, HostGetsTheExitOfItsOwnChild)
{
    const pid_t nHosts = fork();
    if (nHosts == 0) {
        usleep(100000);
        _exit(7);
    }
    int nStatus = 0;
    pid_t nGot = 0;
    std::thread host([&] { nGot = waitpid(nHosts, &nStatus, 0); });
    EXPECT_TRUE(m_pPacker->ExecuteCmd(m_Dir.Path(), "sh -c 'sleep 0.2; touch done'"));
    host.join();
    EXPECT_TRUE(m_Dir.Has("done"));
    EXPECT_EQ(nGot, nHosts);
    EXPECT_EQ(WEXITSTATUS(nStatus), 7);
}

// ZipFile and GZipFile

TEST_F(ZipFileTest, EachFileIsCompressedAlone)
{
    const Names in = AddFiles({"a.log", "b"});
    EXPECT_EQ(m_pPacker->ZipFile(m_Dir.Path(), in, m_Out), 1);
    EXPECT_EQ(m_Out, (Names{In("a.log.gz"), In("b.gz")}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a.log.gz", "b.gz"}));
    EXPECT_EQ(OutputOf("gzip -dc " + In("a.log.gz")), "text of a.log");
    EXPECT_EQ(OutputOf("gzip -dc " + In("b.gz")), "text of b");
}

TEST_F(ZipFileTest, CompressedNamesAreAppended)
{
    m_Out = {"before"};
    m_pPacker->ZipFile(m_Dir.Path(), AddFiles({"a"}), m_Out);
    EXPECT_EQ(m_Out, (Names{"before", In("a.gz")}));
}

TEST_F(ZipFileTest, RelativeNamesAreCompressedInTheWorkingDirectory)
{
    AddFiles({"a.log"});
    m_pPacker->ZipFile(m_Dir.Path(), {"a.log"}, m_Out);
    EXPECT_EQ(m_Out, (Names{"a.log.gz"}));
    EXPECT_TRUE(m_Dir.Has("a.log.gz"));
}

TEST_F(ZipFileTest, GzipReplacesAnOlderResultAndKeepsTheName)
{
    AddFiles({"a.log", "a.log.gz"});
    m_pPacker->ZipFile(m_Dir.Path(), {"a.log"}, m_Out);
    EXPECT_EQ(OutputOf("gzip -dc " + In("a.log.gz")), "text of a.log");
}

TEST_F(ZipFileTest, FileWhoseGzipCannotBeStartedIsLeftOut)
{
    const Names in = AddFiles({"a", "b%x", "c"});
    Printed quiet;
    EXPECT_EQ(m_pPacker->ZipFile(m_Dir.Path(), in, m_Out), 1);
    EXPECT_EQ(m_Out, (Names{In("a.gz"), In("c.gz")}));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(EINVAL)}));
    EXPECT_TRUE(m_Dir.Has("b%x"));
}

TEST_F(ZipFileTest, FileThatGzipRefusesIsReportedAllTheSame)
{
    m_pPacker->ZipFile(m_Dir.Path(), {"missing"}, m_Out);
    EXPECT_EQ(m_Out, (Names{"missing.gz"}));
}

TEST_F(ZipFileTest, OneListForInputAndOutputGetsOneResultForEachName)
{
    Names names = AddFiles({"a", "b"});
    const Names in = names;
    m_pPacker->ZipFile(m_Dir.Path(), names, names);
    EXPECT_EQ(names, (Names{In("a"), In("b"), In("a.gz"), In("b.gz")}));
    AddFiles({"a", "b"});
    names = in;
    bool bTar = false;
    m_pPacker->GZipFile(m_Dir.Path(), names, names, bTar);
    EXPECT_EQ(names, (Names{In("a"), In("b"), In("a.gz"), In("b.gz")}));
}

TEST_F(ZipFileTest, TarArchiveIsReportedWithItsDoubleEnding)
{
    Names in = AddFiles({"a.tar"});
    bool bTar = true;
    EXPECT_EQ(m_pPacker->GZipFile(m_Dir.Path(), in, m_Out, bTar), 1);
    EXPECT_EQ(m_Out, (Names{In("a.tar.gz")}));
    EXPECT_TRUE(m_Dir.Has("a.tar.gz"));
    EXPECT_EQ(in, (Names{In("a.tar")}));
}

TEST_F(ZipFileTest, OtherFileIsReportedByItsStemWhateverGzipMakes)
{
    Names in = AddFiles({"a.log", "b"});
    bool bTar = false;
    EXPECT_EQ(m_pPacker->GZipFile(m_Dir.Path(), in, m_Out, bTar), 1);
    EXPECT_EQ(m_Out, (Names{In("a.gz"), In("b.gz")}));
    EXPECT_EQ(m_Dir.Names(), (NameSet{"a.log.gz", "b.gz"}));
}

TEST_F(ZipFileTest, StemEndsAtTheLastDotEvenInAFolder)
{
    Names in{"/no.such/file"};
    bool bTar = true;
    m_pPacker->GZipFile(m_Dir.Path(), in, m_Out, bTar);
    EXPECT_EQ(m_Out, (Names{"/no.tar.gz"}));
}

TEST_F(ZipFileTest, GzipThatCannotBeStartedReportsNothing)
{
    Names in = AddFiles({"a.log"});
    Hide("gzip");
    Printed quiet;
    bool bTar = false;
    EXPECT_EQ(m_pPacker->GZipFile(m_Dir.Path(), in, m_Out, bTar), 1);
    EXPECT_TRUE(m_Out.empty());
    EXPECT_TRUE(m_Dir.Has("a.log"));
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{NotStarted(ENOENT)}));
}

// TarFile

TEST_F(ZipFileTest, FullGroupsAreTarredAndTheRestWaits)
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

TEST_F(ZipFileTest, EachTarCommandIsLoggedWithItsResult)
{
    Names in = AddFiles({"1.log", "2.log"});
    Tar(in, 2);
    EXPECT_EQ(m_Host.Logs(), (std::vector<LogLine>{
                                 Line(230, "tarCmdLine = tar -cvf " + In("1.tar") + " 1.log,result = 1"),
                                 Line(230, "tarCmdLine = tar -uvf " + In("1.tar") + " 2.log,result = 1"),
                             }));
}

TEST_F(ZipFileTest, FewerFilesThanAGroupStayUntouched)
{
    Names in = AddFiles({"1.log"});
    EXPECT_EQ(Tar(in, 2), 1);
    EXPECT_EQ(in, (Names{In("1.log")}));
    EXPECT_TRUE(m_Out.empty());
    EXPECT_EQ(m_Dir.Names(), (NameSet{"1.log"}));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ZipFileTest, TarWithoutASensibleGroupDoesNothing)
{
    for (const long nPerArchive : {0L, -1L, -2147483648L, -9223372036854775807L - 1}) {
        Names in{"1.log", "2.log"};
        EXPECT_EQ(Tar(in, nPerArchive), 1);
        EXPECT_EQ(in.size(), 2u);
    }
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ZipFileTest, TarGroupSizeIsNotNarrowed)
{
    Names in{"1.log", "2.log"};
    EXPECT_EQ(Tar(in, (1L << 32) + 1), 1);
    EXPECT_EQ(in.size(), 2u);
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ZipFileTest, NothingInNothingOut)
{
    Names in;
    EXPECT_EQ(Tar(in, 1), 1);
    EXPECT_EQ(Zip(in, 1), 1);
    EXPECT_TRUE(m_Out.empty());
}

TEST_F(ZipFileTest, TarOfOneFileEachIsCreatedAnew)
{
    Names in = AddFiles({"1.log", "2"});
    EXPECT_EQ(Tar(in, 1), 1);
    EXPECT_EQ(m_Out, (Names{In("1.tar"), In("2.tar")}));
    EXPECT_TRUE(in.empty());
    EXPECT_EQ(Members(In("2.tar")), (Strings{"2"}));
}

TEST_F(ZipFileTest, TarredFilesAreDeletedThoughTarCannotBeStarted)
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

TEST_F(ZipFileTest, FileThatCannotBeDeletedIsLoggedAndTheWalkGoesOn)
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

TEST_F(ZipFileTest, TarredFilesAreDeletedRelativeToTheProcess)
{
    TempDir elsewhere;
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

TEST_F(ZipFileTest, TarPacksBaseNamesOfTheWorkingDirectory)
{
    TempDir elsewhere;
    AddFiles({"1.log"});
    Names in{elsewhere.Add("1.log", "another file")};
    Tar(in, 1);
    EXPECT_EQ(m_Out, (Names{elsewhere / "1.tar"}));
    EXPECT_EQ(OutputOf("tar -xOf " + elsewhere / "1.tar" + " 1.log"), "text of 1.log");
    EXPECT_EQ(elsewhere.Names(), (NameSet{"1.tar"}));
    EXPECT_TRUE(m_Dir.Has("1.log"));
}

TEST_F(ZipFileTest, EachTarredFileIsDeletedBeforeTheNextCommand)
{
    ASSERT_EQ(mkdir(In("bin").c_str(), 0755), 0);
    m_Dir.Add("bin/tar",
              "#!/bin/sh\necho $3 $(ls " + m_Dir.Path() + "/*.log | wc -l) >> " + In("seen") + "\n", 0755);
    setenv("PATH", (In("bin") + ":" + m_OldPath).c_str(), 1);
    Names in = AddFiles({"1.log", "2.log", "3.log"});
    Tar(in, 3);
    EXPECT_EQ(m_Dir.Text("seen"), "1.log 3\n2.log 2\n3.log 1\n");
}

// ArchiveZipFile

TEST_F(ZipFileTest, FullGroupsAreZippedAndTheRestWaits)
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

TEST_F(ZipFileTest, ZipIsGivenTheStemAndEveryNameAsListed)
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

TEST_F(ZipFileTest, FewerFilesThanAZipGroupStayUntouched)
{
    Names in = AddFiles({"a.log"});
    EXPECT_EQ(Zip(in, 2), 1);
    EXPECT_EQ(in.size(), 1u);
    EXPECT_TRUE(m_Out.empty());
    EXPECT_TRUE(m_Dir.Has("a.log"));
}

TEST_F(ZipFileTest, ZipWithoutASensibleGroupDoesNothing)
{
    for (const int nPerArchive : {0, -1, -2147483647 - 1}) {
        Names in{"a.log", "b.log"};
        EXPECT_EQ(Zip(in, nPerArchive), 1);
        EXPECT_EQ(in.size(), 2u);
    }
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(ZipFileTest, ZippedFileThatCannotBeDeletedIsPrintedAndLogged)
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

TEST_F(ZipFileTest, AfterAFailedStartTheNextGroupBeginsWithTheLastName)
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

TEST_F(ZipFileTest, ZipThatCannotBeStartedDeletesAndReportsNothing)
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

TEST_F(ZipFileTest, GroupThatDoesNotFitACommandIsKept)
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

TEST_F(ZipFileTest, LargestGroupThatFitsIsPackedWhole)
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

TEST_F(ZipFileTest, GroupOfOneIsTriedAgainAndAgain)
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
