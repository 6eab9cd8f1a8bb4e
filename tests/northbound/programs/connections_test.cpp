// Clients that hang, send half of something, or come in crowds.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "northbound/programs/giop.h"
#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

/// A bare connection to a server.
class Connection {
public:
    explicit Connection(const std::string& address)
        : m_nSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(static_cast<std::uint16_t>(std::stoul(address.substr(address.find(':') + 1))));
        inet_pton(AF_INET, "127.0.0.1", &to.sin_addr);
        EXPECT_EQ(connect(m_nSocket, reinterpret_cast<sockaddr*>(&to), sizeof(to)), 0);
    }
    ~Connection() { close(m_nSocket); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Send(const std::string& bytes) const { send(m_nSocket, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

    /// Whether the server has ended it; whatever it says before does not count.
    bool IsOver() const
    {
        char bytes[256];
        for (;;) {
            const ssize_t nRead = recv(m_nSocket, bytes, sizeof(bytes), MSG_DONTWAIT);
            if (nRead > 0) continue;
            return nRead == 0 || (errno != EAGAIN && errno != EINTR);
        }
    }

private:
    const int m_nSocket;
};

/// A request for the counters of an object with a name of \p nLength bytes.
std::string RequestFor(std::size_t nLength)
{
    return Request("ReadCounters", LastText(std::string(nLength, 'x')));
}

class ConnectionsTest : public ::testing::Test {
protected:
    static std::size_t Rejections(const Server& server)
    {
        const std::vector<LoggedLine> log = server.Log();
        return static_cast<std::size_t>(std::count_if(
            log.begin(), log.end(), [](const LoggedLine& line) { return line.Has("closed at once"); }));
    }

    static std::ptrdiff_t CountOpen(const std::list<Connection>& crowd)
    {
        return std::count_if(crowd.begin(), crowd.end(), [](const Connection& one) { return !one.IsOver(); });
    }

    static void ExpectServedLocally(const Server& server)
    {
        const Outcome outcome =
            RunClient({"--server", "unix:" + server.Directory() + "/own/a.sock", "tasks"});
        EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    }
};

TEST_F(ConnectionsTest, LateConnectionIsClosedAtOnceAndToldOnce)
{
    Server server("MaxConnections = 8\nListenSocket = own/a.sock\n");
    std::list<Connection> crowd;
    for (int i = 0; i < 208; ++i) crowd.emplace_back(server.Address());
    EXPECT_TRUE(Eventually([&crowd] { return CountOpen(crowd) == 8; }));
    const Outcome refused = RunClient({"--server", server.Address(), "tasks"});
    EXPECT_EQ(refused.m_nExitCode, 3);
    EXPECT_THAT(refused.m_Error, HasSubstr("(the connection was closed: refused, or not a server, "));
    ExpectServedLocally(server);
    EXPECT_EQ(CountOpen(crowd), 8) << "those that were let in stay";
    EXPECT_LT(Rejections(server), 4u) << "one line a minute, not one for each";
    EXPECT_GE(Rejections(server), 1u);
    crowd.clear();
    EXPECT_TRUE(Eventually([&] {
        return RunClient({"--server", server.Address(), "tasks"}).m_nExitCode == 0;
    }));
    StopInOrder(server);
}

/// As many connections as a process may have descriptors once stopped the whole service.
TEST_F(ConnectionsTest, DescriptorsAreLeftWhateverTheConfigurationSays)
{
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit few = before;
    few.rlim_cur = 200;
    setrlimit(RLIMIT_NOFILE, &few);
    Server server("MaxConnections = 5000\nListenSocket = own/a.sock\n");
    setrlimit(RLIMIT_NOFILE, &before);
    std::list<Connection> crowd;
    for (int i = 0; i < 300; ++i) crowd.emplace_back(server.Address());
    EXPECT_TRUE(Eventually([&crowd] { return CountOpen(crowd) == 200 - 64; }));
    ExpectServedLocally(server);
    StopInOrder(server);
}

TEST_F(ConnectionsTest, HalfMessagesEndWithTheIdleTimeAndWorkGoesOn)
{
    // The ORB itself loses 432 bytes with a connection that ends in the middle of a message.
    const TestDirectory folder;
    WriteFile(folder / "known", "leak:omni::giopStrand::acquireServer\n");
    setenv("LSAN_OPTIONS", ("suppressions=" + (folder / "known") + ":print_suppressions=0").c_str(), 1);
    Server server("ConnectionIdle = 1\n");
    const std::string request = RequestFor(30000);
    const std::vector<std::string> beginnings{"",
                                              Header(100).substr(0, 6),
                                              Header(100) + "x",
                                              Header(0x7FFFFFFF),
                                              Header(0x7FFFFFFF) + request.substr(12),
                                              request.substr(0, 60),
                                              request.substr(0, 9000),
                                              request.substr(0, request.size() - 1)};
    const Outcome collected = [&] {
        std::list<Connection> halves;
        for (const std::string& beginning : beginnings) {
            halves.emplace_back(server.Address());
            halves.back().Send(beginning);
        }
        const Outcome outcome =
            RunClient({"--server", server.Address(), "collect", "lo", "-q", "-i", "0.5", "-d", "3"});
        std::size_t nOne = 0;
        for (const Connection& half : halves) {
            EXPECT_TRUE(Eventually([&half] { return half.IsOver(); })) << "beginning " << nOne;
            ++nOne;
        }
        return outcome;
    }();
    EXPECT_EQ(collected.m_nExitCode, 0)
        << "a request is not cut off, however long it lasts: " << collected.m_Error;
    const std::string status = ReadFile("/proc/" + std::to_string(server.Process().Id()) + "/status");
    const std::size_t nPeak = status.find("VmHWM:");
    ASSERT_NE(nPeak, std::string::npos);
    EXPECT_LT(std::stoul(status.substr(nPeak + 6)), 1000000u) << "kilobytes";
    StopInOrder(server);
}

/// Its rest is not waited for: less than the ORB's first 8 KiB would be half a message.
TEST_F(ConnectionsTest, MessageOverItsLimitEndsItsConnectionAtOnce)
{
    Server server("ConnectionIdle = 3600\n");
    const Connection tooLong(server.Address());
    tooLong.Send(Header(MAX_MESSAGE + 1) + RequestFor(9000).substr(12));
    EXPECT_TRUE(Eventually([&tooLong] { return tooLong.IsOver(); }));
    StopInOrder(server);
}

TEST_F(ConnectionsTest, OneByteAtATimeKeepsNobodyElseWaiting)
{
    Server server("MaxConnections = 8\nConnectionIdle = 2\n");
    std::list<Connection> slow;
    for (int i = 0; i < 6; ++i) slow.emplace_back(server.Address());
    const std::string request = RequestFor(200);
    for (std::size_t i = 0; i < 20; ++i) {
        for (const Connection& one : slow) one.Send(request.substr(i, 1));
        EXPECT_EQ(RunClient({"--server", server.Address(), "tasks"}).m_nExitCode, 0) << i;
    }
    for (const Connection& one : slow) EXPECT_TRUE(Eventually([&one] { return one.IsOver(); }));
    StopInOrder(server);
}

}  // namespace
}  // namespace northbound
