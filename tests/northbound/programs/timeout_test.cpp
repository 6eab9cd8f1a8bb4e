// A server that does not answer: stopped by a signal, as one on a machine that hangs.
#include <gtest/gtest.h>
#include <signal.h>

#include <cctype>
#include <chrono>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"

namespace northbound {
namespace {

constexpr std::chrono::milliseconds TIMEOUT(700);

using Words = std::vector<std::string>;

class TimeoutTest : public ::testing::TestWithParam<Words> {
protected:
    TimeoutTest() { WriteFile(m_File, "secret"); }

    /// The words of a command line, with the file for FILE.
    Words CommandLine() const
    {
        Words words{"nbi-client", "--server", m_Server.Address(), "--timeout", "0.7"};
        for (const std::string& word : GetParam()) words.push_back(word == "FILE" ? m_File : word);
        words[0] = NBI_CLIENT;
        return words;
    }

    Server m_Server;
    const std::string m_File = m_Server.Directory() + "/secret";
};

TEST_P(TimeoutTest, ClientGivesUpWhenTheTimeIsOver)
{
    m_Server.Process().Signal(SIGSTOP);
    const auto start = std::chrono::steady_clock::now();
    Program client(m_Server.Directory(), "client", CommandLine());
    ASSERT_TRUE(Eventually([&client] { return !client.IsRunning(); })) << "it waits for ever";
    const auto lasted = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(client.Wait(), 3) << client.StandardError();
    EXPECT_GE(lasted, TIMEOUT) << "it did not wait";
    EXPECT_TRUE(StartsWith(client.StandardError(),
                           "nbi-client: no answer from a server at " + m_Server.Address() + " ("))
        << client.StandardError();
    // A figure to look at: no test depends on how fast a machine is.
    using Milliseconds = std::chrono::milliseconds;
    RecordProperty("late_ms",
                   static_cast<int>(std::chrono::duration_cast<Milliseconds>(lasted - TIMEOUT).count()));
    m_Server.Process().Signal(SIGCONT);
    StopInOrder(m_Server);
}

/// The ORB cannot call off the collection's own call, which may last an hour.
TEST(HangingServerTest, ClientLeavesACollectionWhoseServerHangs)
{
    Server server;
    const Session session(server.Address(), "bob");
    Program client(server.Directory(), "client",
                   {NBI_CLIENT, "--server", server.Address(), "--timeout", "0.7", "collect", Loopback(),
                    "--duration", "3600", "--quiet"});
    ASSERT_TRUE(Eventually([&session] { return TasksListed(session) == 1; }));
    server.Process().Signal(SIGSTOP);
    ASSERT_TRUE(Eventually([&client] { return !client.IsRunning(); }));
    EXPECT_EQ(client.Wait(), 3) << client.StandardError();
    server.Process().Signal(SIGCONT);
    StopInOrder(server);
}

std::string NameOf(const ::testing::TestParamInfo<Words>& info)
{
    std::string name;
    for (const std::string& word : info.param) {
        for (const char c : word) {
            if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
        }
    }
    return name;
}

const std::vector<Words>& Commands()
{
    static const std::vector<Words> commands{{"inventory"},
                                             {"counters", "lo"},
                                             {"counters", Loopback()},
                                             {"collect", "lo", "--duration", "3600"},
                                             {"collect", Loopback(), "--duration", "3600"},
                                             {"collect", Loopback(), "--duration", "3600", "--quiet"},
                                             {"tasks"},
                                             {"tasks", "--watch"},
                                             {"cluster"},
                                             {"fetch", "01234567-89ab-4cde-8f01-23456789abcd"},
                                             {"pools"},
                                             {"top"},
                                             {"doctor"},
                                             {"files"},
                                             {"pack"},
                                             {"clean"},
                                             {"config", "set", "HugeTaskLimit", "5"},
                                             {"login", "FILE"},
                                             {"cancel", "x"},
                                             {"logout"},
                                             {"sessions"},
                                             {"stop"},
                                             {"pubkey"},
                                             {"send-secret", "--encrypt", "FILE"}};
    return commands;
}

INSTANTIATE_TEST_SUITE_P(EverySubcommand, TimeoutTest, ::testing::ValuesIn(Commands()), NameOf);

TEST(TimeoutTableTest, EverySubcommandThatAsksAServerIsTried)
{
    std::set<std::string> tried{"reason", "password-item", "plot"};  // ask nobody
    for (const Words& words : Commands()) tried.insert(words[0]);
    const std::string help = RunClient({"--help"}).m_Output;
    std::istringstream lines(help.substr(help.find("\nSubcommands:\n")));
    std::set<std::string> all;
    for (std::string line; std::getline(lines, line);) {
        if (StartsWith(line, "  ") && line[2] != ' ') all.insert(line.substr(2, line.find(' ', 2) - 2));
    }
    EXPECT_EQ(tried, all);
}

}  // namespace
}  // namespace northbound
