// nbi-client cluster: who shares a book, and what is open in it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "northbound/programs/fakeserver.h"
#include "northbound/programs/programs.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

class ClusterTest : public ::testing::Test {
protected:
    ClusterTest()
    {
        m_Answers.m_Servers = BookOf(m_Directory, {"a", "b"});
        m_Answers.m_Servers[1].lease = -1;
        m_Answers.m_Orders.length(1);
        Northbound::OpenOrder& order = m_Answers.m_Orders[0];
        order.operation = "01234567-89ab-4cde-8f01-23456789abcd";
        order.dn = "ne=here,port=eth0";
        order.user = "anna";
        order.phase = "waiting";
        order.server = "";
        order.samplesTaken = 2;
        order.samplesPlanned = 5;
        order.note = "nobody reaches it";
    }

    Outcome Ask(const std::string& option) const
    {
        return RunClient({"--server", FakeServer::AddressOf(m_Directory, "a"), "cluster", option});
    }

    const TestDirectory m_Directory;
    FakeAnswers m_Answers;
};

TEST_F(ClusterTest, PeopleSeeServersAndOrders)
{
    const FakeServer a(m_Directory, "a", m_Answers);
    const Outcome outcome = Ask("--lang=en");
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(outcome.m_Output, HasSubstr("SERVER  ADDRESS"));
    EXPECT_THAT(outcome.m_Output, HasSubstr("1.0         0  6.0 s\n"));
    EXPECT_THAT(outcome.m_Output, HasSubstr("1.0         1   over\n"));
    EXPECT_THAT(outcome.m_Output,
                HasSubstr("01234567-89ab-4cde-8f01-23456789abcd  ne=here,port=eth0  anna  waiting"));
    EXPECT_THAT(outcome.m_Output, HasSubstr("2/5  nobody reaches it"));
    EXPECT_THAT(Ask("--lang=zh").m_Output, HasSubstr("已过期"));
}

TEST_F(ClusterTest, ProgramsReadThem)
{
    const FakeServer a(m_Directory, "a", m_Answers);
    const auto answer = nlohmann::json::parse(Ask("--json").m_Output);
    const std::string address = FakeServer::AddressOf(m_Directory, "b");
    EXPECT_EQ(answer["servers"][1],
              nlohmann::json(
                  {{"name", "b"}, {"address", address}, {"version", "1.0"}, {"load", 1}, {"lease", -1}}));
    EXPECT_EQ(answer["orders"][0], nlohmann::json({{"operation", "01234567-89ab-4cde-8f01-23456789abcd"},
                                                   {"dn", "ne=here,port=eth0"},
                                                   {"user", "anna"},
                                                   {"phase", "waiting"},
                                                   {"server", ""},
                                                   {"samplesTaken", 2},
                                                   {"samplesPlanned", 5},
                                                   {"note", "nobody reaches it"}}));
}

TEST_F(ClusterTest, ServerWithoutABookSaysSoInOneLine)
{
    const Server server;
    const Outcome outcome = RunClient({"--server", server.Address(), "cluster"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_EQ(outcome.m_Output, server.Address() + " is alone: it shares no book\nno orders are open\n");
}

}  // namespace
}  // namespace northbound
