// nbi-server at its start: command line, configuration, where it listens and prints.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

TEST(ServerTest, ServersStandardOutputGoesToAFileOfItsOwn)
{
    Server server("OutputFile = server.out\n");
    EXPECT_TRUE(fs::exists(server.Directory() + "/server.out"));
    StopInOrder(server);
    EXPECT_EQ(server.Process().StandardOutput(), "");
}

TEST(ServerTest, ServerListensOnLoopbackUnlessAskedOtherwise)
{
    const Server server;
    EXPECT_TRUE(StartsWith(server.Address(), "127.0.0.1:")) << server.Address();
}

/// Command lines and configurations with which the server does not start.
class ServerInputTest : public ::testing::Test {
protected:
    Outcome StartWith(const std::string& config) const
    {
        WriteFile(ConfigPath(), config);
        return RunServer({"--config", ConfigPath()});
    }
    std::string ConfigPath() const { return m_Directory.Path() + "/bad.ini"; }

    static bool Names(const Outcome& outcome, const std::string& text)
    {
        return outcome.m_Error.find(text) != std::string::npos;
    }

    const TestDirectory m_Directory;
    const std::string m_Head =
        "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\nListenPort = 0\n";
};

TEST_F(ServerInputTest, ConfigurationThatIsNotThereIsNamed)
{
    const Outcome outcome = RunServer({"--config", ConfigPath()});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, ConfigPath())) << outcome.m_Error;
}

TEST_F(ServerInputTest, ValueOutOfRangeIsNamedWithItsKey)
{
    const Outcome outcome = StartWith(m_Head + "HugeTaskLimit = many\n");
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, "HugeTaskLimit: \"many\"")) << outcome.m_Error;
}

TEST_F(ServerInputTest, ItemsThatDoNothingAreToldAtTheStart)
{
    Server server("TaskMgrMaxThreadNum = 5000\nHugTaskLimit = 4\n");
    StopInOrder(server);
    const std::string file = server.Directory() + "/server.ini: ";
    for (const std::string& warning : {file + "HugTaskLimit: this server has no such item; it is ignored",
                                       file + "TaskMgrMaxThreadNum: \"5000\" is not a whole number from 1 to "
                                              "999; each pool has 20 workers"}) {
        const std::string errors = server.Process().StandardError();
        EXPECT_NE(errors.find("nbi-server: " + warning + "\n"), std::string::npos) << errors;
        const std::vector<LoggedLine> log = server.Log();
        EXPECT_EQ(std::count_if(log.begin(), log.end(),
                                [&](const LoggedLine& line) { return line.Has("nbi-server " + warning); }),
                  1);
    }
}

TEST_F(ServerInputTest, CollectionDirectoryThatCannotBeMadeIsNamed)
{
    const Outcome outcome = StartWith(m_Head + "CollectionDirectory = bad.ini/below\n");
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, "bad.ini/below")) << outcome.m_Error;
}

TEST_F(ServerInputTest, OutputFileThatCannotBeWrittenIsNamed)
{
    const Outcome outcome = StartWith(m_Head + "OutputFile = nowhere/out\n");
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_TRUE(Names(outcome, "nowhere/out")) << outcome.m_Error;
}

/// A script that waits for the file would take it for this server's.
TEST_F(ServerInputTest, ReadyFileOfAKilledServerIsGoneWhenTheServerDoesNotStart)
{
    const std::string ready = m_Directory / "ready";
    WriteFile(ready, "127.0.0.1:1\n");
    WriteFile(ready + ".part", "127");
    WriteFile(ConfigPath(), m_Head + "OutputFile = nowhere/out\n");
    EXPECT_EQ(RunServer({"--config", ConfigPath(), "--ready-file", ready}).m_nExitCode, 2);
    EXPECT_FALSE(fs::exists(ready));
    EXPECT_FALSE(fs::exists(ready + ".part"));
}

TEST_F(ServerInputTest, PortInUseHasAnExitCodeOfItsOwn)
{
    const Server other;
    const std::string port = other.Address().substr(other.Address().find(':') + 1);
    WriteFile(ConfigPath(), m_Head);
    const Outcome outcome = RunServer({"--config", ConfigPath(), "--port", port});
    EXPECT_EQ(outcome.m_nExitCode, 3);
    EXPECT_TRUE(Names(outcome, "cannot listen on 127.0.0.1:" + port)) << outcome.m_Error;
}

TEST_F(ServerInputTest, CommandLineThatMakesNoSenseIsRefused)
{
    EXPECT_EQ(RunServer({"--port", "65536"}).m_nExitCode, 2);
    EXPECT_EQ(RunServer({"--unknown"}).m_nExitCode, 2);
}

TEST_F(ServerInputTest, HelpNamesTheOptionsAndTheExitCodes)
{
    const Outcome outcome = RunServer({"--help"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_NE(outcome.m_Output.find("--ready-file"), std::string::npos);
    EXPECT_NE(outcome.m_Output.find("Exit codes"), std::string::npos);
}

}  // namespace
}  // namespace northbound
