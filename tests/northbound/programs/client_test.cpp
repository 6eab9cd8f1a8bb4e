// nbi-client: what it prints, and how it ends.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include "client/corba/collections.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;

/// nbi-client against a server.
class ClientTest : public ::testing::Test {
protected:
    Outcome Client(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--server", m_Server.Address()});
        return RunClient(arguments);
    }

    Server m_Server;
};

TEST_F(ClientTest, InventoryIsATable)
{
    const Outcome outcome = Client({"inventory"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_TRUE(StartsWith(outcome.m_Output, "MANAGED OBJECT ")) << outcome.m_Output;
    EXPECT_NE(outcome.m_Output.find("\n" + Loopback() + " "), std::string::npos);
    EXPECT_NE(outcome.m_Output.find("127.0.0.1/8"), std::string::npos);
}

TEST_F(ClientTest, JsonIsOneValueOnOneLine)
{
    const Outcome inventory = Client({"--json", "inventory"});
    EXPECT_TRUE(StartsWith(inventory.m_Output, "{\"ports\":[{\"dn\":\"")) << inventory.m_Output;
    EXPECT_EQ(std::count(inventory.m_Output.begin(), inventory.m_Output.end(), '\n'), 1);
    const Outcome counters = Client({"counters", "lo", "--json"});
    EXPECT_TRUE(StartsWith(counters.m_Output, "{\"dn\":\"" + Loopback() + "\",")) << counters.m_Output;
    EXPECT_EQ(Client({"--json", "tasks"}).m_Output, "{\"tasks\":[]}\n");
}

TEST_F(ClientTest, PortGoesByItsNameOrByItsDistinguishedName)
{
    EXPECT_TRUE(StartsWith(Client({"counters", "lo"}).m_Output, Loopback() + " at "));
    EXPECT_TRUE(StartsWith(Client({"counters", Loopback()}).m_Output, Loopback() + " at "));
}

TEST_F(ClientTest, FailedRequestGivesCodeAndDetailAndExitCodeOne)
{
    const Outcome text = Client({"counters", "nothing"});
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_EQ(text.m_Output, "");
    EXPECT_TRUE(StartsWith(
        text.m_Error, "nbi-client: failed with code 0x4E420001: there is no managed object \"nothing\"\n"))
        << text.m_Error;
    const Outcome json = Client({"--json", "counters", "nothing"});
    EXPECT_EQ(json.m_nExitCode, 1);
    EXPECT_TRUE(
        StartsWith(json.m_Output,
                   "{\"error\":{\"kind\":\"refused\",\"exit\":1,\"code\":1312948225,\"hex\":\"0x4E420001\","
                   "\"detail\":\"there is no managed object \\\"nothing\\\"\""))
        << json.m_Output;
    EXPECT_EQ(json.m_Error, "");
}

TEST_F(ClientTest, CollectRunsOneCollectionPerPortAndShowsProgressAndFiles)
{
    const Outcome outcome = Client({"collect", "lo", "lo", "-i", "0.1", "-d", "2"});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_NE(outcome.m_Output.find("/21"), std::string::npos) << outcome.m_Output;
    std::size_t nFiles = 0;
    for (const auto& entry : fs::directory_iterator(m_Server.Directory() + "/collections")) {
        EXPECT_NE(outcome.m_Output.find(entry.path().string()), std::string::npos);
        ++nFiles;
    }
    EXPECT_EQ(nFiles, 2u);
}

TEST_F(ClientTest, RefusedCollectionGivesExitCodeOne)
{
    const Outcome text = Client({"collect", "lo", "--interval", "0"});
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_NE(text.m_Error.find("0x4E420002"), std::string::npos) << text.m_Error;
    const Outcome json = Client({"--json", "collect", "lo", "--interval", "0"});
    EXPECT_EQ(json.m_nExitCode, 1);
    EXPECT_NE(json.m_Output.find("\"error\":{\"kind\":\"refused\",\"exit\":1,\"code\":1312948226"),
              std::string::npos);
}

TEST_F(ClientTest, TasksWaitsForAsManyAsAskedFor)
{
    EXPECT_EQ(Client({"tasks", "--at-least", "1", "--timeout", "0.3"}).m_nExitCode, 1);
    const Session session(m_Server.Address(), "bob");
    std::list<Collection> running;
    running.emplace_back(session, Order(50, 10 * MINUTE), MINUTE);
    const Outcome outcome = Client({"tasks", "--at-least", "1"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_NE(outcome.m_Output.find(" bob "), std::string::npos) << outcome.m_Output;
    EXPECT_NE(outcome.m_Output.find(Loopback() + " 3 collect"), std::string::npos);
    StopInOrder(m_Server);
}

TEST_F(ClientTest, StopReturnsWhenTheServerIsGone)
{
    const Outcome outcome = Client({"stop"});
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output, "the server has stopped\n");
    EXPECT_EQ(m_Server.Process().Wait(), 0);
    const Outcome after = Client({"inventory"});
    EXPECT_EQ(after.m_nExitCode, 3);
    EXPECT_TRUE(StartsWith(after.m_Error, "nbi-client: no answer from a server at 127.0.0.1:"))
        << after.m_Error;
    EXPECT_EQ(Client({"--json", "inventory"}).m_nExitCode, 3);
}

TEST(ClientInputTest, CommandLineThatMakesNoSenseIsRefused)
{
    EXPECT_EQ(RunClient({}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"unknown"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"counters"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"collect", "lo", "--duration", "-1"}).m_nExitCode, 2);
    EXPECT_EQ(RunClient({"--server", "no:such:thing", "inventory"}).m_nExitCode, 3);
}

TEST(ClientInputTest, HelpNamesTheSubcommandsAndTheExitCodes)
{
    const Outcome outcome = RunClient({"--help"});
    EXPECT_EQ(outcome.m_nExitCode, 0);
    for (const char* pName : {"inventory", "counters", "collect", "tasks", "stop", "pubkey", "send-secret",
                              "reason", "Exit codes"}) {
        EXPECT_NE(outcome.m_Output.find(pName), std::string::npos) << pName;
    }
    EXPECT_EQ(RunClient({"collect", "--help"}).m_nExitCode, 0);
}

}  // namespace
}  // namespace northbound
