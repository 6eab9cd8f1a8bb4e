#include "nbiutil/zipfile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <thread>

#include "util/packing.h"

namespace NS_UTIL {
namespace {

using nbitest::LogLine;
using nbitest::Names;
using nbitest::NameSet;
using nbitest::NOT_ROOT;
using nbitest::NotStarted;
using nbitest::OutputOf;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::Printed;
using nbitest::Strings;

class ZipFileTest : public nbitest::PackingTest {};

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

void TakeSignal(int)
{
}

TEST_F(ZipFileTest, SignalDoesNotEndTheWait)
{
    struct sigaction action = {};
    action.sa_handler = TakeSignal;  // and no SA_RESTART
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

}  // namespace
}  // namespace NS_UTIL
