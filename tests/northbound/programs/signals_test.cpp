// What signals do, and what the log tells of a server's beginning and end.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <string>

#include "northbound/programs/requests.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class SignalsTest : public ::testing::Test {
protected:
    std::string LogPath() const { return m_Server.Directory() + "/log"; }
    bool LogTells(const std::string& text) const
    {
        return Eventually(
            [&] { return fs::exists(LogPath()) && ReadFile(LogPath()).find(text) != std::string::npos; });
    }

    const TestDirectory m_Folder;
    Server m_Server;
};

TEST_F(SignalsTest, LogThatWasMovedAwayIsFollowedByANewOne)
{
    fs::rename(LogPath(), LogPath() + ".1");
    m_Server.Process().Signal(SIGHUP);
    EXPECT_TRUE(LogTells("the configuration was read again, the log opened anew"));
    StopInOrder(m_Server);
    EXPECT_EQ(ReadFile(LogPath() + ".1").find("stopping"), std::string::npos);
}

TEST_F(SignalsTest, StateIsLoggedOnDemandAndTheServerGoesOn)
{
    m_Server.Process().Signal(SIGUSR1);
    EXPECT_TRUE(LogTells("state: 0 collections run, limits 4 and 3; 0 sessions; 0 files of 0 bytes"));
    EXPECT_EQ(RunClient({"--server", m_Server.Address(), "tasks"}).m_nExitCode, 0);
    StopInOrder(m_Server);
}

TEST_F(SignalsTest, LogTellsVersionProcessAndConfigurationAndTheEnd)
{
    const std::string process = std::to_string(m_Server.Process().Id());
    StopInOrder(m_Server);
    const std::string log = ReadFile(LogPath());
    EXPECT_THAT(
        log, HasSubstr(") starts as process " + process + " with " + m_Server.Directory() + "/server.ini"));
    EXPECT_THAT(log, HasSubstr("nbi-server stopped\n"));
}

/// Each would rename the log under the other.
TEST_F(SignalsTest, SecondServerOfALogIsRefusedAndLeavesItAlone)
{
    const std::string before = ReadFile(LogPath());
    WriteFile(m_Folder / "server.ini",
              "[host]\nroot = .\nlog_file = " + LogPath() + "\nlog_stderr = no\n[server]\nListenPort = 0\n");
    const Outcome outcome = RunServer({"--config", m_Folder / "server.ini"});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_EQ(outcome.m_Error, "nbi-server: log_file: " + LogPath() + " is another server's: process " +
                                   std::to_string(m_Server.Process().Id()) + " writes it\n");
    EXPECT_EQ(ReadFile(LogPath()), before);
    StopInOrder(m_Server);
}

TEST_F(SignalsTest, ReloadThatNamesAnothersLogLeavesTheServerWithItsOwn)
{
    Server second;
    const std::string config = second.Directory() + "/server.ini";
    std::string text = ReadFile(config);
    WriteFile(config, text.replace(text.find("log_file = log"), 14, "log_file = " + LogPath()));
    const std::string before = ReadFile(LogPath());
    second.Process().Signal(SIGHUP);
    const std::string why = "log_file: " + LogPath() + " is another server's: process " +
                            std::to_string(m_Server.Process().Id()) + " writes it";
    EXPECT_TRUE(
        Eventually([&] { return ReadFile(second.Directory() + "/log").find(why) != std::string::npos; }));
    StopInOrder(second);
    EXPECT_EQ(ReadFile(LogPath()), before);
    StopInOrder(m_Server);
}

TEST_F(SignalsTest, SecondServerOfACollectionFolderIsRefusedInItsLogToo)
{
    const std::string collections = m_Server.Directory() + "/collections";
    WriteFile(m_Folder / "server.ini",
              "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\nListenPort = "
              "0\nCollectionDirectory = " +
                  collections + "\n");
    const Outcome outcome = RunServer({"--config", m_Folder / "server.ini"});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    const std::string why =
        "CollectionDirectory: " + collections + " is another server's: a process holds it";
    EXPECT_THAT(outcome.m_Error, HasSubstr(why));
    EXPECT_THAT(ReadFile(m_Folder / "log"), HasSubstr("not started: " + why));
    StopInOrder(m_Server);
}

}  // namespace
}  // namespace northbound
