#include "util/childprocess.h"

#include <ace/Process_Manager.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "support/inchild.h"
#include "support/testdirectory.h"
#include "util/commandline.h"

namespace NS_UTIL {
namespace {

using nbitest::NOT_ROOT;
using nbitest::OutputOf;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::TestDirectory;

/// Runs \p command to its end.
/// \return 0, or the error number with which it could not be started
int StartError(const std::string& workDir, const std::string& command, Streams streams = Streams::GUARDED)
{
    ChildOptions options;
    EXPECT_TRUE(options.SetWorkingDirectory(workDir));
    options.SetCommand(command);
    Child<ACE_Process> child(streams);
    if (child.spawn(options) == ACE_INVALID_PID) return errno;
    EXPECT_EQ(child.wait(), child.getpid());
    return 0;
}

class ChildProcessTest : public ::testing::Test {
protected:
    void SetPath(const std::string& path) { setenv("PATH", path.c_str(), 1); }
    void SetUp() override { m_OldPath = std::getenv("PATH"); }
    void TearDown() override { SetPath(m_OldPath); }

    std::string AddProgram(const std::string& name, const std::string& text = "#!/bin/sh\n")
    {
        return m_Dir.Add(name, text, 0755);
    }
    void AddFolder(const std::string& name) { ASSERT_EQ(mkdir((m_Dir / name).c_str(), 0755), 0); }
    /// What standard stream \p nStream of a child is: cp copies the link by which the system shows it.
    std::string StreamOfChild(int nStream, Streams streams)
    {
        const std::string link = "/proc/self/fd/" + std::to_string(nStream);
        EXPECT_EQ(StartError(m_Dir.Path(), "cp -Pf " + link + " seen", streams), 0);
        return std::filesystem::read_symlink(m_Dir / "seen").string();
    }

    TestDirectory m_Dir;
    std::string m_OldPath;
};

// The program

TEST_F(ChildProcessTest, WorkingDirectoryHasToBeOne)
{
    m_Dir.Add("file", "");
    EXPECT_EQ(StartError(m_Dir / "missing", "true"), ENOENT);
    EXPECT_EQ(StartError(m_Dir / "file", "true"), ENOTDIR);
    EXPECT_EQ(StartError(m_Dir / "file/below", "true"), ENOTDIR);
    EXPECT_EQ(StartError(std::string(4096, '/'), "true"), ENAMETOOLONG);
}

TEST_F(ChildProcessTest, WorkingDirectoryHasToBeOpenToTheUser)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    AddFolder("closed");
    chmod((m_Dir / "closed").c_str(), 0644);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(StartError(m_Dir / "closed", "true"), EACCES); }));
}

TEST_F(ChildProcessTest, MissingProgramIsNotFound)
{
    EXPECT_EQ(StartError("", "no-such-program-anywhere"), ENOENT);
    EXPECT_EQ(StartError("", "/no/such/program"), ENOENT);
    EXPECT_EQ(StartError("", "./no-such-program"), ENOENT);
}

TEST_F(ChildProcessTest, ProgramWithASlashIsNotSearchedFor)
{
    AddFolder("bin");
    AddProgram("bin/prog");
    SetPath(m_Dir.Path());
    EXPECT_EQ(StartError("", "bin/prog"), ENOENT);
    EXPECT_EQ(StartError(m_Dir.Path(), "bin/prog"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./bin/prog"), 0);
    EXPECT_EQ(StartError(m_Dir / "bin", "../bin/prog"), 0);
    EXPECT_EQ(StartError("/", m_Dir / "bin/prog"), 0);
}

TEST_F(ChildProcessTest, DirectoryOrPlainFileIsNoProgram)
{
    AddFolder("folder");
    m_Dir.Add("plain", "text", 0644);
    EXPECT_EQ(StartError(m_Dir.Path(), "./folder"), EACCES);
    EXPECT_EQ(StartError(m_Dir.Path(), "./plain"), EACCES);
    EXPECT_EQ(StartError(m_Dir.Path(), "./plain/below"), ENOTDIR);
}

TEST_F(ChildProcessTest, ProgramOfAnotherUserIsDenied)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("mine", "#!/bin/sh\n", 0700);
    EXPECT_EQ(StartError(m_Dir.Path(), "./mine"), 0);
    EXPECT_TRUE(PassesAsNobody([this] { EXPECT_EQ(StartError(m_Dir.Path(), "./mine"), EACCES); }));
}

TEST_F(ChildProcessTest, FoldersOfThePathAreTriedInOrder)
{
    AddFolder("first");
    AddFolder("second");
    AddProgram("second/prog");
    SetPath(m_Dir / "missing" + ":" + m_Dir / "first" + ":" + m_Dir / "second");
    EXPECT_EQ(StartError("", "prog"), 0);
    SetPath(m_Dir / "missing" + ":" + m_Dir / "first");
    EXPECT_EQ(StartError("", "prog"), ENOENT);
}

TEST_F(ChildProcessTest, DeniedProgramDoesNotEndTheSearchButIsRemembered)
{
    AddFolder("first");
    AddFolder("second");
    m_Dir.Add("first/prog", "", 0644);
    SetPath(m_Dir / "first" + ":" + m_Dir / "second");
    EXPECT_EQ(StartError("", "prog"), EACCES);
    AddProgram("second/prog");
    EXPECT_EQ(StartError("", "prog"), 0);
}

TEST_F(ChildProcessTest, LoopOfLinksEndsTheSearch)
{
    AddFolder("first");
    AddFolder("second");
    ASSERT_EQ(symlink("prog", (m_Dir / "first/prog").c_str()), 0);
    AddProgram("second/prog");
    SetPath(m_Dir / "first" + ":" + m_Dir / "second");
    EXPECT_EQ(StartError("", "prog"), ELOOP);
}

TEST_F(ChildProcessTest, EmptyAndRelativeFoldersOfThePathMeanTheWorkingDirectory)
{
    AddFolder("bin");
    AddProgram("here");
    AddProgram("bin/below");
    for (const char* pPath : {"", ":/no/such", "/no/such:", "/no/such::/nor/such"}) {
        SetPath(pPath);
        EXPECT_EQ(StartError(m_Dir.Path(), "here"), 0) << pPath;
        EXPECT_EQ(StartError("/", "here"), ENOENT) << pPath;
    }
    SetPath("bin");
    EXPECT_EQ(StartError(m_Dir.Path(), "below"), 0);
    EXPECT_EQ(StartError("/", "below"), ENOENT);
}

TEST_F(ChildProcessTest, OverlongFolderOfThePathIsPassedOver)
{
    AddProgram("prog");
    SetPath(std::string(5000, 'x') + ":" + m_Dir.Path());
    EXPECT_EQ(StartError("", "prog"), 0);
}

TEST_F(ChildProcessTest, OverlongProgramNameIsRefused)
{
    EXPECT_EQ(StartError("", std::string(256, 'x')), ENAMETOOLONG);
    EXPECT_EQ(StartError("", std::string(255, 'x')), ENOENT);
}

TEST_F(ChildProcessTest, WithoutAPathTheStandardOneIsSearched)
{
    EXPECT_TRUE(PassesInChild([] {
        unsetenv("PATH");
        EXPECT_EQ(StartError("/", "sh"), 0);
        EXPECT_EQ(StartError("/", "no-such-program-anywhere"), ENOENT);
    }));
}

TEST_F(ChildProcessTest, ScriptNeedsItsInterpreter)
{
    AddProgram("good", "#! \t/bin/sh -e\n");
    AddProgram("lost", "#!/no/such/shell\n");
    m_Dir.Add("plain", "", 0644);
    AddProgram("denied", "#!" + m_Dir / "plain" + "\n");
    EXPECT_EQ(StartError(m_Dir.Path(), "./good"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./lost"), ENOENT);
    EXPECT_EQ(StartError(m_Dir.Path(), "./denied"), EACCES);
}

TEST_F(ChildProcessTest, ScriptWithoutAnInterpreterRunsInTheShell)
{
    AddProgram("bare", "exit 0\n");
    AddProgram("empty", "");
    AddProgram("nameless", "#!\nexit 0\n");
    EXPECT_EQ(StartError(m_Dir.Path(), "./bare"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./empty"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./nameless"), 0);
}

TEST_F(ChildProcessTest, ChainOfInterpretersEndsAsTheKernelEndsIt)
{
    AddProgram("s0", "#!/bin/sh\n");
    for (int i = 1; i <= 6; ++i) {
        AddProgram("s" + std::to_string(i), "#!" + m_Dir / "s" + std::to_string(i - 1) + "\n");
    }
    EXPECT_EQ(StartError(m_Dir.Path(), "./s4"), 0);
    EXPECT_EQ(StartError(m_Dir.Path(), "./s6"), ELOOP);
}

/// The answer against the kernel's own, through execvp() in a child.
TEST_F(ChildProcessTest, AnswersWhatExecvpAnswers)
{
    AddFolder("bin");
    AddFolder("folder");
    AddProgram("bin/prog");
    AddProgram("lost", "#!/no/such/shell\n");
    AddProgram("bin/lost", "#!/no/such/shell\n");
    AddProgram("s0", "#!/bin/true\n");
    for (int i = 1; i <= 6; ++i) {
        AddProgram("s" + std::to_string(i), "#!" + m_Dir / "s" + std::to_string(i - 1) + "\n");
    }
    m_Dir.Add("plain", "", 0644);
    AddProgram("empty", "");
    ASSERT_EQ(symlink("loop", (m_Dir / "loop").c_str()), 0);
    for (const char* pPath : {"bin", "/no/such:bin", ":bin", "plain:bin", "loop:bin", "folder"}) {
        SetPath(pPath);
        for (const std::string program :
             {"prog", "lost", "plain", "folder", "empty", "loop", "./prog", "./lost", "./plain", "./folder",
              "./loop", "bin/prog", "plain/x", "s3", "./s4", "./s5", "./s6"}) {
            const pid_t nChild = fork();
            if (nChild == 0) {
                if (chdir(m_Dir.Path().c_str()) != 0) _exit(255);
                char* words[] = {const_cast<char*>(program.c_str()), nullptr};
                execvp(words[0], words);
                _exit(errno);
            }
            int nStatus = 0;
            ASSERT_EQ(waitpid(nChild, &nStatus, 0), nChild);
            EXPECT_EQ(StartError(m_Dir.Path(), program), WEXITSTATUS(nStatus)) << pPath << ' ' << program;
        }
    }
}

TEST_F(ChildProcessTest, ScriptWithoutAnInterpreterGetsItsWords)
{
    AddFolder("scripts");
    AddProgram("scripts/bare", "echo $# $1 $2 > seen\n");
    SetPath("/no/such:scripts:/bin:/usr/bin");
    EXPECT_EQ(StartError(m_Dir.Path(), "bare 'a b' c"), 0);
    EXPECT_EQ(m_Dir.Text("seen"), "2 a b c\n");
    EXPECT_EQ(StartError(m_Dir.Path(), "scripts/bare x y"), 0);
    EXPECT_EQ(m_Dir.Text("seen"), "2 x y\n");
}

/// A program whose loader is missing can be found and executed, and still not be started.
TEST_F(ChildProcessTest, MissingLoaderCouldNotBeStarted)
{
    std::string program = nbitest::ReadFile("/bin/true");
    const std::size_t nLoader = program.find("/ld-");
    if (nLoader == std::string::npos) GTEST_SKIP() << "/bin/true needs no loader";
    program.replace(nLoader, 4, "/no-");
    AddProgram("prog", program);
    EXPECT_EQ(StartError(m_Dir.Path(), "./prog"), ENOENT);
}

TEST_F(ChildProcessTest, EnvironmentThatTheSystemRefusesCouldNotBeStartedWith)
{
    setenv("NBI_LARGE", std::string(200 * 1024, 'x').c_str(), 1);
    EXPECT_EQ(StartError("", "true"), E2BIG);
    unsetenv("NBI_LARGE");
    EXPECT_EQ(StartError("", "true"), 0);
}

TEST_F(ChildProcessTest, EffectiveUserCounts)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    m_Dir.Add("mine", "#!/bin/sh\n", 0700);
    EXPECT_TRUE(PassesInChild([this] {
        ASSERT_EQ(seteuid(65534), 0);
        ASSERT_EQ(getuid(), 0u);
        EXPECT_EQ(StartError(m_Dir.Path(), "./mine"), EACCES);
    }));
}

TEST_F(ChildProcessTest, FailedStartLeavesNoChild)
{
    EXPECT_EQ(StartError("", "no-such-program-anywhere"), ENOENT);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ChildProcessTest, ProcessManagerStartsAndForgetsItsOwn)
{
    ChildOptions options;
    options.SetCommand("true");
    auto* const pChild = new Child<ACE_Managed_Process>(Streams::INHERITED);
    ACE_Process_Manager& manager = *ACE_Process_Manager::instance();
    const pid_t nChild = manager.spawn(pChild, options);
    EXPECT_EQ(pChild->getpid(), nChild);
    EXPECT_EQ(manager.managed(), 1u);
    EXPECT_EQ(manager.wait(nChild), nChild);
    EXPECT_EQ(manager.managed(), 0u);
}

TEST_F(ChildProcessTest, EndOfOneChildIsWaitedForWhateverComesBetween)
{
    const pid_t nOther = fork();
    if (nOther == 0) _exit(7);
    struct sigaction action = {};
    action.sa_handler = [](int) {};  // and no SA_RESTART
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    ChildOptions options;
    EXPECT_TRUE(options.SetWorkingDirectory(m_Dir.Path()));
    options.SetCommand("sh -c 'sleep 0.2; kill -USR1 $PPID; sleep 0.2; touch done'");
    Child<ACE_Process> child(Streams::INHERITED);
    ASSERT_NE(child.spawn(options), ACE_INVALID_PID);
    WaitForEnd(child.getpid());
    std::signal(SIGUSR1, SIG_DFL);
    EXPECT_TRUE(m_Dir.Has("done"));
    int nStatus = 0;
    EXPECT_EQ(waitpid(nOther, &nStatus, 0), nOther);
    EXPECT_EQ(WEXITSTATUS(nStatus), 7);
    WaitForEnd(nOther);  // nobody's any more
}

// The streams

TEST_F(ChildProcessTest, OpenStreamsAreTheServers)
{
    EXPECT_TRUE(PassesInChild([this] {
        const std::string path = m_Dir.Add("file", "");
        for (int nStream = 0; nStream <= 2; ++nStream) {
            const int nFile = open(path.c_str(), O_RDWR | O_CLOEXEC);
            ASSERT_EQ(dup2(nFile, nStream), nStream);
            EXPECT_EQ(StreamOfChild(nStream, Streams::INHERITED), path);
        }
        EXPECT_EQ(StreamOfChild(1, Streams::GUARDED), path);
        EXPECT_EQ(StreamOfChild(2, Streams::GUARDED), path);
    }));
}

TEST_F(ChildProcessTest, ClosedStreamsAreTheNullDevice)
{
    for (const Streams streams : {Streams::INHERITED, Streams::GUARDED}) {
        for (int nStream = 0; nStream <= 2; ++nStream) {
            EXPECT_TRUE(PassesInChild([&] {
                close(nStream);
                EXPECT_EQ(StreamOfChild(nStream, streams), "/dev/null") << nStream;
            }));
        }
        EXPECT_TRUE(PassesInChild([&] {
            for (int nStream = 0; nStream <= 2; ++nStream) close(nStream);
            for (int nStream = 0; nStream <= 2; ++nStream) {
                EXPECT_EQ(StreamOfChild(nStream, streams), "/dev/null") << nStream;
            }
        }));
    }
}

TEST_F(ChildProcessTest, StreamThatWouldNotReachTheProgramCountsAsClosed)
{
    EXPECT_TRUE(PassesInChild([this] {
        const std::string path = m_Dir.Add("file", "");
        close(1);
        ASSERT_EQ(open(path.c_str(), O_RDWR | O_CLOEXEC), 1);
        EXPECT_EQ(StreamOfChild(1, Streams::INHERITED), "/dev/null");
    }));
}

TEST_F(ChildProcessTest, GuardedInputIsTheNullDevice)
{
    EXPECT_TRUE(PassesInChild([this] {
        const int nFile = open(m_Dir.Add("file", "").c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_EQ(dup2(nFile, 0), 0);
        EXPECT_EQ(StreamOfChild(0, Streams::GUARDED), "/dev/null");
    }));
}

TEST_F(ChildProcessTest, GuardedOutputIsNeitherPipeNorSocket)
{
    for (const int nStream : {1, 2}) {
        EXPECT_TRUE(PassesInChild([&] {
            int ends[2];
            ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
            ASSERT_EQ(dup2(ends[1], nStream), nStream);
            EXPECT_EQ(StreamOfChild(nStream, Streams::INHERITED).substr(0, 5), "pipe:");
            EXPECT_EQ(StreamOfChild(nStream, Streams::GUARDED), "/dev/null");
            ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
            ASSERT_EQ(dup2(ends[1], nStream), nStream);
            EXPECT_EQ(StreamOfChild(nStream, Streams::GUARDED), "/dev/null");
        }));
    }
}

TEST_F(ChildProcessTest, NothingElseOfTheServersReachesTheChild)
{
    const int nFile = open("/dev/null", O_RDONLY | O_CLOEXEC);
    for (const int nHandle : {20, 200}) ASSERT_EQ(dup2(nFile, nHandle), nHandle);  // not close-on-exec
    EXPECT_EQ(
        StartError(m_Dir.Path(), "sh -c 'for i in 0 3 20 200; do test -e /proc/$$/fd/$i && touch $i; done'"),
        0);
    EXPECT_EQ(m_Dir.Names(), (std::set<std::string>{"0"}));
    for (const int nHandle : {nFile, 20, 200}) close(nHandle);
}

TEST_F(ChildProcessTest, StartLeavesTheServersStreamsAsTheyWere)
{
    EXPECT_TRUE(PassesInChild([this] {
        close(0);
        close(1);
        EXPECT_EQ(StartError(m_Dir.Path(), "true"), 0);
        EXPECT_EQ(StartError(m_Dir.Path(), "no-such-program"), ENOENT);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
        EXPECT_EQ(fcntl(1, F_GETFD), -1);
    }));
}

}  // namespace
}  // namespace NS_UTIL
