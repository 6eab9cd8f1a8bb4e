// SelfUtilCommon::StartProcess().
#include <ace/Process_Manager.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <thread>

#include "support/inchild.h"
#include "util/helpers.h"

namespace NS_UTIL {
namespace {

using nbitest::Exists;
using nbitest::NOT_ROOT;
using nbitest::PassesAsNobody;
using nbitest::PassesInChild;
using nbitest::Strings;

class StartProcessTest : public nbitest::HelpersTest {};

TEST_F(StartProcessTest, ProcessRunsInTheWorkingDirectory)
{
    EXPECT_TRUE(Start("touch made"));
    EXPECT_TRUE(m_Dir.Has("made"));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(StartProcessTest, EmptyWorkingDirectoryIsTheCurrentOne)
{
    EXPECT_TRUE(PassesInChild([this] {
        ASSERT_EQ(chdir(m_Dir.Path().c_str()), 0);
        EXPECT_TRUE(m_pHelpers->StartProcess("", "touch made", true));
    }));
    EXPECT_TRUE(m_Dir.Has("made"));
}

TEST_F(StartProcessTest, EnvironmentIsInherited)
{
    setenv("NBI_TEST_VARIABLE", "inherited", 1);
    EXPECT_TRUE(Start("sh -c 'echo $NBI_TEST_VARIABLE > out'"));
    unsetenv("NBI_TEST_VARIABLE");
    EXPECT_EQ(m_Dir.Text("out"), "inherited\n");
}

TEST_F(StartProcessTest, PercentIsAnOrdinaryCharacter)
{
    EXPECT_TRUE(Start("touch a%sb %n %%"));
    EXPECT_EQ(m_Dir.Names(), (std::set<std::string>{"a%sb", "%n", "%%"}));
}

TEST_F(StartProcessTest, QuotesHoldAWordTogether)
{
    EXPECT_TRUE(Start("touch 'a b' \"c d\""));
    EXPECT_EQ(m_Dir.Names(), (std::set<std::string>{"a b", "c d"}));
}

TEST_F(StartProcessTest, ExitStatusIsNotExamined)
{
    EXPECT_TRUE(Start("false"));
    EXPECT_TRUE(Start("sh -c 'kill -9 $$'"));
    EXPECT_TRUE(m_Host.Logs().empty());
}

TEST_F(StartProcessTest, CommandOf1023CharactersArrivesWhole)
{
    const std::string head = "sh -c 'printf %s \"$1\" > out' x ";
    const std::string word(1023 - head.size(), 'w');
    EXPECT_TRUE(Start(head + word));
    EXPECT_EQ(m_Dir.Text("out"), word);
    EXPECT_FALSE(Start(head + word + 'w'));
    EXPECT_EQ(LogTexts(), FailedStart(E2BIG));
}

TEST_F(StartProcessTest, CommandOf127WordsArrivesWhole)
{
    std::string command = "sh -c 'echo $# > out' x";
    for (int i = 4; i < 127; ++i) command += " w";
    EXPECT_TRUE(Start(command));
    EXPECT_EQ(m_Dir.Text("out"), "123\n");
    EXPECT_FALSE(Start(command + " w"));
    EXPECT_EQ(LogTexts(), FailedStart(E2BIG));
}

TEST_F(StartProcessTest, ProgramIsFoundRelativeToTheWorkingDirectory)
{
    m_Dir.Add("prog", "#!/bin/sh\ntouch made\n", 0755);
    EXPECT_TRUE(Start("./prog"));
    EXPECT_TRUE(m_Dir.Has("made"));
}

TEST_F(StartProcessTest, MissingProgramCouldNotBeStarted)
{
    EXPECT_FALSE(Start("no-such-program-anywhere"));
    EXPECT_EQ(LogTexts(), FailedStart(ENOENT));
}

TEST_F(StartProcessTest, MissingDirectoryCouldNotBeStartedIn)
{
    EXPECT_FALSE(m_pHelpers->StartProcess(m_Dir / "missing", "touch made", true));
    EXPECT_EQ(LogTexts(), FailedStart(ENOENT));
    EXPECT_FALSE(Exists("made"));
}

TEST_F(StartProcessTest, EmptyCommandCouldNotBeStarted)
{
    EXPECT_FALSE(Start(""));
    EXPECT_EQ(LogTexts(), FailedStart(EINVAL));
}

TEST_F(StartProcessTest, HelpersLogThroughAChannelOfTheirOwn)
{
    Start("");
    EXPECT_EQ(m_Host.FactoryCalls(), (std::vector<Strings>{{"unbi", "unbi", "debug"}}));
}

TEST_F(StartProcessTest, FailedSpawnCouldNotBeStarted)
{
    if (geteuid() != 0) GTEST_SKIP() << NOT_ROOT;
    EXPECT_TRUE(PassesAsNobody([this] {
        const rlimit none{0, 0};
        ASSERT_EQ(setrlimit(RLIMIT_NPROC, &none), 0);
        EXPECT_FALSE(Start("true"));
        EXPECT_FALSE(Start("true", false));
        const std::string text = FailedStart(EAGAIN)[0];
        EXPECT_EQ(LogTexts(), (Strings{text, text}));
    }));
}

TEST_F(StartProcessTest, WorkingDirectoryOfOver4096CharactersAborts)
{
    const std::string tooLong = m_Dir.Path() + std::string(4097 - m_Dir.Path().size(), '/');
    EXPECT_EXIT(static_cast<void>(m_pHelpers->StartProcess(tooLong, "true", true)),
                testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(static_cast<void>(m_pHelpers->StartProcess(tooLong, "", false)),
                testing::KilledBySignal(SIGABRT), "");
}

TEST_F(StartProcessTest, WorkingDirectoryOf4096CharactersIsLeftToTheSystem)
{
    const std::string longest = m_Dir.Path() + std::string(4096 - m_Dir.Path().size(), '/');
    EXPECT_FALSE(m_pHelpers->StartProcess(longest, "true", true));
    EXPECT_EQ(LogTexts(), FailedStart(ENAMETOOLONG));
}

TEST_F(StartProcessTest, WithoutWaitingTheChildGoesOnByItself)
{
    EXPECT_TRUE(Start("sh -c 'while [ ! -e go ]; do sleep 0.01; done; touch done'", false));
    EXPECT_FALSE(m_Dir.Has("done"));
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 1u);
    m_Dir.Add("go", "");
    ACE_Process_Manager::instance()->wait();
    EXPECT_TRUE(m_Dir.Has("done"));
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 0u);
}

TEST_F(StartProcessTest, WaitingLeavesNothingWithTheProcessManager)
{
    EXPECT_TRUE(Start("true"));
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 0u);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

void Nothing(int)
{
}

TEST_F(StartProcessTest, SignalDoesNotEndTheWait)
{
    struct sigaction action = {};
    action.sa_handler = Nothing;  // and no SA_RESTART
    ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
    EXPECT_TRUE(Start("sh -c 'kill -USR1 $PPID; sleep 0.2; kill -USR1 $PPID; sleep 0.2; touch done'"));
    EXPECT_TRUE(m_Dir.Has("done"));
    std::signal(SIGUSR1, SIG_DFL);
}

TEST_F(StartProcessTest, ChildThatSomebodyElseCollectsIsForgotten)
{
    std::signal(SIGCHLD, SIG_IGN);  // the system collects every child at once
    EXPECT_TRUE(Start("touch done"));
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_TRUE(m_Dir.Has("done"));
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 0u);
}

TEST_F(StartProcessTest, HostGetsTheExitOfItsOwnChild)
{
    const pid_t nHosts = fork();
    if (nHosts == 0) {
        usleep(100000);
        _exit(7);
    }
    int nStatus = 0;
    pid_t nGot = 0;
    std::thread host([&] { nGot = waitpid(nHosts, &nStatus, 0); });
    EXPECT_TRUE(Start("sh -c 'sleep 0.2; touch done'"));  // the host's child ends in the meantime
    host.join();
    EXPECT_TRUE(m_Dir.Has("done"));
    EXPECT_EQ(nGot, nHosts);
    EXPECT_EQ(WEXITSTATUS(nStatus), 7);
}

TEST_F(StartProcessTest, HostThatCollectsAnyChildOfTheManagerDisturbsNothing)
{
    ASSERT_TRUE(Start("sleep 0.05", false));  // something to wait for
    std::thread host([] { ACE_Process_Manager::instance()->wait(); });
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(Start("true"));
    host.join();
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 0u);
}

// What the child has open

TEST_F(StartProcessTest, ChildWritesToTheServersOutput)
{
    EXPECT_TRUE(PassesInChild([this] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        ASSERT_EQ(dup2(ends[1], 1), 1);
        EXPECT_TRUE(Start("echo hello"));
        char text[8] = {};
        EXPECT_EQ(read(ends[0], text, sizeof text), 6);
        EXPECT_STREQ(text, "hello\n");
    }));
}

TEST_F(StartProcessTest, ClosedStreamsAreTheNullDeviceAndNothingElseIsOpen)
{
    for (const bool bWait : {true, false}) {
        EXPECT_TRUE(PassesInChild([this, bWait] {
            ASSERT_EQ(dup2(1, 99), 99);
            for (const int nStream : {0, 1, 2}) close(nStream);
            for (const char* pHandle : {"0", "1", "2", "99"}) {
                EXPECT_TRUE(Start(std::string("cp -Pf -t . /proc/self/fd/") + pHandle, bWait));
                if (!bWait) ACE_Process_Manager::instance()->wait();
            }
        }));
        EXPECT_EQ(m_Dir.Names(), (std::set<std::string>{"0", "1", "2"}));
        for (const char* pStream : {"0", "1", "2"}) {
            EXPECT_EQ(std::filesystem::read_symlink(m_Dir / pStream), "/dev/null");
            std::filesystem::remove(m_Dir / pStream);
        }
    }
}

TEST_F(StartProcessTest, EnvironmentThatTheSystemRefusesCouldNotBeStartedWith)
{
    setenv("NBI_LARGE", std::string(200 * 1024, 'x').c_str(), 1);
    EXPECT_FALSE(Start("true"));
    EXPECT_FALSE(Start("true", false));
    unsetenv("NBI_LARGE");
    EXPECT_EQ(LogTexts(), (Strings{FailedStart(E2BIG)[0], FailedStart(E2BIG)[0]}));
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 0u);
}

TEST_F(StartProcessTest, FailedStartLeavesNothingWithTheProcessManager)
{
    EXPECT_FALSE(Start("no-such-program-anywhere"));
    EXPECT_FALSE(Start("no-such-program-anywhere", false));
    EXPECT_EQ(ACE_Process_Manager::instance()->managed(), 0u);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

}  // namespace
}  // namespace NS_UTIL
