// nbi-server under a service manager: what it tells, and that SIGHUP has the configuration read again.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"
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

    /// What the server's metrics socket answers.
    static std::string Scraped(const std::string& path)
    {
        const int nSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        std::string answer;
        if (connect(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) {
            constexpr char REQUEST[] = "GET /metrics HTTP/1.1\r\n\r\n";
            send(nSocket, REQUEST, sizeof(REQUEST) - 1, MSG_NOSIGNAL);
            char bytes[4096];
            for (ssize_t nGot; (nGot = recv(nSocket, bytes, sizeof(bytes), 0)) > 0;) {
                answer.append(bytes, static_cast<std::size_t>(nGot));
            }
        }
        close(nSocket);
        return answer;
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
    Server server("MetricsSocket = " + socket + "\nMetricsFile = " + file + "\n");
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    const Session session(server.Address(), "alice");
    ReadInventory(session, session.Who());
    EXPECT_TRUE(
        Eventually([&] { return ReadFile(file).find("nbi_log_lines_lost 0\n") != std::string::npos; }));
    EXPECT_TRUE(Eventually([&] {
        return Scraped(socket).find("\nnbi_pool_finished_total{pool=\"0\"} 1\n") != std::string::npos;
    }));
    server.Process().Signal(SIGHUP);
    EXPECT_TRUE(StartsWith(m_Manager.Next(), "RELOADING=1\n"));
    EXPECT_EQ(m_Manager.Next(), "READY=1");
    StopInOrder(server);
    EXPECT_FALSE(std::filesystem::exists(socket));
}

}  // namespace
}  // namespace northbound
