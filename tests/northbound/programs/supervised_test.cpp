// nbi-server under a service manager: what it tells, and that SIGHUP has the configuration read again.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"
#include "northbound/scraper.h"
#include "northbound/servicesocket.h"

namespace northbound {
namespace {

class SupervisedTest : public ::testing::Test {
protected:
    ~SupervisedTest() override { unsetenv("WATCHDOG_USEC"); }

    static std::string NextBut(const ServiceSocket& socket, const std::string& state)
    {
        std::string next = socket.Next();
        while (next == state) next = socket.Next();
        return next;
    }

    /// The server's configuration with another number of huge tasks.
    static void Configure(const Server& server, const std::string& limit)
    {
        const std::string file = server.Directory() + "/server.ini";
        WriteFile(file, ReadFile(file) + "HugeTaskLimit = " + limit + "\n");
    }

    static bool HasLogged(const Server& server, const std::string& text)
    {
        const std::vector<LoggedLine> log = server.Log();
        return std::any_of(log.begin(), log.end(), [&](const LoggedLine& line) { return line.Has(text); });
    }

    /// What the server answers at a place of its metrics; "" where nobody listens.
    template <class Place>
    static std::string Scraped(const Place& place)
    {
        const Scraper scraper(place);
        if (!scraper.IsConnected()) return "";
        scraper.Ask("GET /metrics HTTP/1.1\r\n\r\n");
        return scraper.Answer();
    }

    /// The port that the server's log tells.
    static int MetricsPort(const Server& server)
    {
        const std::string before = "figures on 127.0.0.1:";
        for (const LoggedLine& line : server.Log()) {
            const std::size_t nAt = line.m_Text.find(before);
            if (nAt != std::string::npos) return std::stoi(line.m_Text.substr(nAt + before.size()));
        }
        ADD_FAILURE() << "the log tells no port";
        return 0;
    }

    const TestDirectory m_Directory;
    const ServiceSocket m_Manager{m_Directory / "manager"};
};

TEST_F(SupervisedTest, ManagerHearsOfTheStartAndOfTheStop)
{
    Server server;
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    StopInOrder(server);
    EXPECT_EQ(m_Manager.Next(), "STOPPING=1");
}

TEST_F(SupervisedTest, ManagerThatAsksForItHearsTheServerBeat)
{
    setenv("WATCHDOG_USEC", "20000", 1);
    Server server;
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    EXPECT_EQ(m_Manager.Next(), "WATCHDOG=1");
    EXPECT_EQ(m_Manager.Next(), "WATCHDOG=1");
    server.Process().Signal(SIGTERM);
    EXPECT_EQ(NextBut(m_Manager, "WATCHDOG=1"), "STOPPING=1");
    EXPECT_EQ(server.Process().Wait(), 0);
}

TEST_F(SupervisedTest, HangUpHasTheConfigurationReadAgain)
{
    Server server;
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    const Session session(server.Address(), "alice");
    Configure(server, "0");
    server.Process().Signal(SIGHUP);
    EXPECT_TRUE(StartsWith(m_Manager.Next(), "RELOADING=1\n"));
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    EXPECT_TRUE(HasLogged(server, "the configuration was read again"));
    EXPECT_NE(FailureOf([&] { Collect(session, Order(10, 20)); }).code, 0u);
}

TEST_F(SupervisedTest, ConfigurationThatDoesNotLoadLeavesTheOneBefore)
{
    Server server;
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    const Session session(server.Address(), "alice");
    Configure(server, "many");
    server.Process().Signal(SIGHUP);
    EXPECT_TRUE(StartsWith(m_Manager.Next(), "RELOADING=1\n"));
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    EXPECT_TRUE(HasLogged(server, "\"many\""));
    EXPECT_EQ(TasksListed(session), 0u);
    StopInOrder(server);
}

TEST_F(SupervisedTest, ScrapersFindTheFiguresOfAServerThatGoesOnTakingOrders)
{
    const std::string socket = m_Directory / "run/metrics.sock";
    const std::string file = m_Directory / "nbi.prom";
    Server server("MetricsSocket = " + socket + "\nMetricsPort = 0\nMetricsFile = " + file + "\n");
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    const Session session(server.Address(), "alice");
    ReadInventory(session, session.Who());
    EXPECT_TRUE(
        Eventually([&] { return ReadFile(file).find("nbi_log_lines_lost 0\n") != std::string::npos; }));
    EXPECT_TRUE(Eventually([&] {
        return Scraped(socket).find("\nnbi_pool_finished_total{pool=\"0\"} 1\n") != std::string::npos;
    }));
    EXPECT_NE(Scraped(MetricsPort(server)).find("\nnbi_log_lines_lost 0\n"), std::string::npos);
    server.Process().Signal(SIGHUP);
    EXPECT_TRUE(StartsWith(m_Manager.Next(), "RELOADING=1\n"));
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    StopInOrder(server);
    EXPECT_FALSE(std::filesystem::exists(socket));
}

}  // namespace
}  // namespace northbound
