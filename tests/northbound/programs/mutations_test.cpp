// Requests that were damaged on the way, thousands of them: the server goes on, loses nothing and keeps nothing open.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <list>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "northbound/programs/giop.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr int MESSAGES = 22000;
#else
constexpr int MESSAGES = 4000;
#endif
constexpr int AT_ONCE = 50;
constexpr int BETWEEN_GOOD_ONES = 1000;

/// The same in GIOP 1.2, which has the object elsewhere and aligns the arguments to eight bytes.
std::string Request12(const std::string& operation, const std::string& arguments)
{
    std::string object = OBJECT_KEY;
    const auto nObject = static_cast<std::uint32_t>(object.size());
    object.resize((object.size() + 3) / 4 * 4);
    std::string body = Number(1) + std::string("\3\0\0\0", 4) + Number(0) + Number(nObject) + object +
                       Text(operation) + Number(0);
    body.resize((body.size() + 12 + 7) / 8 * 8 - 12);
    body += Text("alice") + Text("") + Number(60000) + arguments;
    std::string header = Header(static_cast<std::uint32_t>(body.size()));
    header[5] = '\2';
    return header + body;
}

/// The arguments of each operation behind the caller's. Stop is apart: a server that is asked to is gone.
std::map<std::string, std::string> Arguments()
{
    const std::string lo = Loopback();
    const std::string hex = LastText(std::string(512, 'a'));
    return {{"Inventory", Text("") + Number(100)},
            {"Columns", ""},
            {"ReadCounters", LastText(lo)},
            {"Collect", Text(lo) + Number(10) + Number(10)},
            {"Cancel", LastText("ef54b7f2-e560-11f1-8000-02fc00000001")},
            {"Order", Text("ef54b7f2-e560-11f1-8000-02fc00000001") + Text(lo) + Number(10) + Number(10)},
            {"Await", Text("ef54b7f2-e560-11f1-8000-02fc00000001") + Number(1)},
            {"Orders", LastText("")},
            {"Servers", LastText("")},
            {"Fetch", Text("ef54b7f2-e560-11f1-8000-02fc00000001") + Number(0) + Number(0) + Number(0)},
            {"Pack", Text("tar") + Number(2)},
            {"Files", LastText("")},
            {"Clean", ""},
            {"SetItem", Text("HugeTaskLimit") + LastText("4")},
            {"HugeTasks", LastText("")},
            {"PublicKey", ""},
            {"SendSecret", hex},
            {"Challenge", ""},
            {"Login", hex},
            {"Logout", ""},
            {"Sessions", LastText("")},
            {"Pools", ""}};
}

/// Each operation in both ways.
std::vector<std::string> GoodRequests(const std::map<std::string, std::string>& operations)
{
    std::vector<std::string> requests;
    for (const auto& [operation, arguments] : operations) {
        requests.push_back(Request(operation, arguments, std::string(32, 'A')));
        requests.push_back(Request12(operation, arguments));
    }
    return requests;
}

std::set<std::string> OperationsOfTheInterface()
{
    const std::string idl = nbitest::ReadFile(NBI_IDL);
    const std::string interface = idl.substr(idl.find("\n    interface Manager {"));
    static const std::regex operation(R"(\n        [A-Za-z ]+ ([A-Za-z]+)\(in Caller who)");
    std::set<std::string> operations;
    for (std::sregex_iterator at(interface.begin(), interface.end(), operation), end; at != end; ++at) {
        operations.insert((*at)[1]);
    }
    return operations;
}

/// Damages requests, always the same ones in the same order.
class Damage {
public:
    explicit Damage(std::vector<std::string> good) : m_Good(std::move(good)) {}

    std::string Next()
    {
        std::string message = m_Good[Below(m_Good.size())];
        for (std::size_t i = 0, n = 1 + Below(4); i < n && message.size() > 12; ++i) Change(message);
        // Most tell their size, or hardly any would be looked into.
        if (message.size() >= 12 && Below(8) != 0) {
            message.replace(8, 4, Number(static_cast<std::uint32_t>(message.size() - 12)));
        }
        return message;
    }

private:
    std::size_t Below(std::size_t nEnd) { return m_Random() % nEnd; }

    void Change(std::string& message)
    {
        const std::size_t nAt = Below(message.size());
        const std::size_t nLength = std::min<std::size_t>(1 + Below(32), message.size() - nAt);
        const std::vector<std::uint32_t> edges{0,          1,           3,           0x7FFFFFFF,
                                               0x80000000, 0xFFFFFFFFU, 0xFFFFFFFCU, 0x00FFFFFF};
        const std::string number = Number(edges[Below(edges.size())]);
        const std::string& other = m_Good[Below(m_Good.size())];
        switch (Below(8)) {
            case 0:
                message[nAt] = static_cast<char>(message[nAt] ^ (1 << Below(8)));
                break;
            case 1:
                message[nAt] = static_cast<char>(Below(256));
                break;
            case 2:  // a length or a number, where numbers stand
                message.replace(nAt / 4 * 4, 4, number);
                break;
            case 3:
                message.resize(nAt);
                break;
            case 4:
                message.erase(nAt, nLength);
                break;
            case 5:
                message.insert(nAt, message.substr(nAt, nLength));
                break;
            case 6:
                message.replace(nAt, std::string::npos, other.substr(std::min(nAt, other.size())));
                break;
            default:  // version, byte order, kind
                message[4 + Below(4)] = static_cast<char>(Below(8));
                break;
        }
    }

    std::mt19937 m_Random{20261122};
    const std::vector<std::string> m_Good;
};

/// A connection that sends one message.
class Sender {
public:
    /// \param server the local socket's path, or "127.0.0.1:<port>"
    Sender(const std::string& server, const std::string& message)
        : m_nSocket(socket(server[0] == '/' ? AF_UNIX : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)),
          m_bConnected(server[0] == '/' ? ConnectTo(server) : ConnectTo(PortOf(server)))
    {
        send(m_nSocket, message.data(), message.size(), MSG_NOSIGNAL);
    }
    ~Sender() { close(m_nSocket); }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    bool IsConnected() const { return m_bConnected; }

    /// Until there is an answer or an end. A message that announces more than it has gets neither.
    void Await(int nMilliseconds) const
    {
        pollfd one{m_nSocket, POLLIN, 0};
        poll(&one, 1, nMilliseconds);
    }

    /// The first four bytes of a reply, and none of what says that the message was no good.
    std::string Answer() const
    {
        constexpr char REPLY = 1;
        char bytes[12] = {};
        const ssize_t nRead = recv(m_nSocket, bytes, sizeof(bytes), MSG_WAITALL);
        return nRead == sizeof(bytes) && bytes[7] == REPLY ? std::string(bytes, 4) : "";
    }

private:
    static unsigned long PortOf(const std::string& server)
    {
        return std::stoul(server.substr(server.find(':') + 1));
    }

    template <class Address>
    bool Connect(const Address& address) const
    {
        return connect(m_nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    }
    bool ConnectTo(const std::string& path) const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        return Connect(address);
    }
    bool ConnectTo(unsigned long nPort) const
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(nPort));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return Connect(address);
    }

    const int m_nSocket;
    const bool m_bConnected;
};

std::ptrdiff_t Descriptors(Server& server)
{
    const auto folder =
        std::filesystem::directory_iterator("/proc/" + std::to_string(server.Process().Id()) + "/fd");
    return std::distance(begin(folder), end(folder));
}

class MutationsTest : public ::testing::Test {
protected:
    MutationsTest()
    {
        // The ORB itself loses a connection's buffer when that ends in the middle of a message.
        WriteFile(m_Folder / "known", "leak:omni::giopStrand::acquireServer\n");
        setenv("LSAN_OPTIONS", ("suppressions=" + (m_Folder / "known") + ":print_suppressions=0").c_str(), 1);
        setenv("XDG_RUNTIME_DIR", m_Folder.Path().c_str(), 1);
    }

    /// Sends what \p damage makes, and asks for a right answer in between.
    static void Send(Server& server, const std::string& path, const Session& session, Damage damage,
                     int nMessages)
    {
        for (int i = 0; i < nMessages; i += AT_ONCE) {
            std::list<Sender> senders;
            for (int j = 0; j < AT_ONCE; ++j) {
                senders.emplace_back(path, damage.Next());
                ASSERT_TRUE(senders.back().IsConnected())
                    << "after " << i + j << " messages: " << server.Process().StandardError();
            }
            for (const Sender& sender : senders) sender.Await(5);
            if (i % BETWEEN_GOOD_ONES == 0) {
                ASSERT_NO_THROW(ReadCounters(session, session.Who(), Loopback()))
                    << "after " << i << " messages";
            }
        }
        ReadInventory(session, session.Who());
    }

    static void ExpectNothingOpen(Server& server, std::ptrdiff_t nBefore)
    {
        EXPECT_TRUE(Eventually([&] { return Descriptors(server) <= nBefore; }))
            << Descriptors(server) << " descriptors";
        StopInOrder(server);
        EXPECT_THAT(server.Process().StandardError(), ::testing::Not(::testing::HasSubstr("Sanitizer")));
    }

    const TestDirectory m_Folder;
};

TEST_F(MutationsTest, EveryOperationOfTheInterfaceIsTried)
{
    std::set<std::string> tried{"Stop"};
    for (const auto& [operation, arguments] : Arguments()) tried.insert(operation);
    EXPECT_EQ(tried, OperationsOfTheInterface());
}

TEST_F(MutationsTest, DamagedRequestsHarmNobody)
{
    Server server("", Way::LOCAL);
    const std::string path = server.Address().substr(server.Address().find(':') + 1);
    const Session session(server.Address(), "good", "", std::chrono::seconds(60));
    ReadCounters(session, session.Who(), Loopback());
    for (const std::string& request : GoodRequests(Arguments())) {
        const Sender sender(path, request);
        EXPECT_EQ(sender.Answer(), "GIOP") << "an undamaged one is not answered: " << request;
    }
    const std::ptrdiff_t nBefore = Descriptors(server);
    Send(server, path, session, Damage(GoodRequests(Arguments())), MESSAGES);
    ExpectNothingOpen(server, nBefore);
}

/// Where the caller may not stop the server, so that it goes on when an order is still whole enough.
TEST_F(MutationsTest, DamagedOrdersToStopHarmNobody)
{
    Server server("Anonymous = collector\n");
    const Session session(server.Address(), "good", "", std::chrono::seconds(60));
    ReadCounters(session, session.Who(), Loopback());
    const std::vector<std::string> orders = GoodRequests({{"Stop", ""}});
    for (const std::string& request : orders) {
        EXPECT_EQ(Sender(server.Address(), request).Answer(), "GIOP") << "an undamaged one is not answered";
    }
    const std::ptrdiff_t nBefore = Descriptors(server);
    Send(server, server.Address(), session, Damage(orders), BETWEEN_GOOD_ONES);
    ExpectNothingOpen(server, nBefore);
}

}  // namespace
}  // namespace northbound
