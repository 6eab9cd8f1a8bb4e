// TLS between server and client: who is believed, who is not, and what both sides say about it.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "northbound/programs/certificates.h"
#include "northbound/programs/giop.h"
#include "northbound/programs/requests.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

using Socket = std::unique_ptr<const int, void (*)(const int*)>;

Socket NewSocket()
{
    return {new int(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)), [](const int* p) {
                close(*p);
                delete p;
            }};
}

sockaddr_in AddressOf(const std::string& host, unsigned long nPort)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(nPort));
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    return address;
}

unsigned long PortOf(const std::string& address)
{
    return std::stoul(address.substr(address.rfind(':') + 1));
}

/// OpenSSL's half of a connection, which takes whatever TLS there is up to \p nVersion.
class BarePeer {
public:
    explicit BarePeer(int nVersion) : m_Context(SSL_CTX_new(TLS_method()), SSL_CTX_free)
    {
        SSL_CTX_set_min_proto_version(m_Context.get(), TLS1_VERSION);
        SSL_CTX_set_max_proto_version(m_Context.get(), nVersion);
        SSL_CTX_set_cipher_list(m_Context.get(), "DEFAULT@SECLEVEL=0");
    }

    SSL_CTX* Context() const { return m_Context.get(); }

    /// Connects from \p from.
    /// \return whether the handshake is done
    bool Connect(const std::string& address, const std::string& from = "127.0.0.1")
    {
        const sockaddr_in own = AddressOf(from, 0);
        const sockaddr_in server = AddressOf("127.0.0.1", PortOf(address));
        EXPECT_EQ(bind(*m_Socket, reinterpret_cast<const sockaddr*>(&own), sizeof(own)), 0);
        EXPECT_EQ(connect(*m_Socket, reinterpret_cast<const sockaddr*>(&server), sizeof(server)), 0);
        m_Connection.reset(SSL_new(m_Context.get()));
        SSL_set_fd(m_Connection.get(), *m_Socket);
        return SSL_connect(m_Connection.get()) == 1;
    }

    std::string Ask(const std::string& request) const
    {
        char reply[4096];
        SSL_write(m_Connection.get(), request.data(), static_cast<int>(request.size()));
        const int nRead = SSL_read(m_Connection.get(), reply, sizeof(reply));
        return std::string(reply, nRead > 0 ? static_cast<std::size_t>(nRead) : 0);
    }

private:
    std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> m_Context;
    Socket m_Socket = NewSocket();
    std::unique_ptr<SSL, void (*)(SSL*)> m_Connection{nullptr, SSL_free};
};

std::string ItemsOf(const TlsFiles& files)
{
    std::string items;
    if (!files.m_Certificate.empty()) items += "TlsCertificate = " + files.m_Certificate + "\n";
    if (!files.m_Key.empty()) items += "TlsKey = " + files.m_Key + "\n";
    if (!files.m_Authorities.empty()) items += "TlsAuthorities = " + files.m_Authorities + "\n";
    return items;
}

class TlsTest : public ::testing::Test {
protected:
    TlsTest() { setenv("XDG_RUNTIME_DIR", m_Folder.Path().c_str(), 1); }

    /// What the client that has \p files says to a request for the counters of the loopback interface.
    Outcome Ask(const std::string& server, const TlsFiles& files,
                std::vector<std::string> command = {"counters", "lo"}) const
    {
        const std::string config = m_Folder / "client.ini";
        WriteFile(config, "[host]\nroot = .\nlog_stderr = no\n[client]\n" + ItemsOf(files));
        command.insert(command.begin(), {"--config", config, "--server", server, "--user", "anna"});
        return RunClient(command);
    }

    void ExpectNoServer(const std::string& server, const TlsFiles& files, const std::string& why) const
    {
        const Outcome outcome = Ask(server, files);
        EXPECT_EQ(outcome.m_nExitCode, 3);
        EXPECT_THAT(outcome.m_Error, HasSubstr("no answer from a server at " + server));
        EXPECT_THAT(outcome.m_Error, HasSubstr(why));
    }

    static void ExpectLogged(const Server& server, const std::string& why)
    {
        EXPECT_TRUE(Eventually([&] {
            for (const LoggedLine& line : server.Log()) {
                if (line.Has("TLS with 127.0.0.1:") && line.Has("failed: " + why)) return true;
            }
            return false;
        })) << ReadFile(server.Directory() + "/log");
    }

    /// The outcome of a server that is not to start with \p files.
    Outcome StartWith(const TlsFiles& files) const
    {
        const std::string config = m_Folder / "server.ini";
        WriteFile(config,
                  "[host]\nroot = .\nlog_stderr = no\n[server]\nListenPort = 0\nDescriptionFile = none\n" +
                      ItemsOf(files));
        return RunServer({"--config", config});
    }

    TlsFiles Trusting(const Authority& authority) const { return {authority.File(), "", ""}; }

    const TestDirectory m_Folder;
    const Authority m_Authority{m_Folder.Path(), "authority"};
    const TlsFiles m_ServerFiles = m_Authority.Issue("server", "DNS:localhost,IP:127.0.0.1");
};

TEST_F(TlsTest, ServerWithoutPlainTcpIsReachedByItsNameAndItsAddress)
{
    Server server(ItemsOf(m_ServerFiles));
    EXPECT_TRUE(StartsWith(server.Address(), "tls:127.0.0.1:"));
    for (const std::string host : {"127.0.0.1", "localhost"}) {
        const Outcome outcome =
            Ask("tls:" + host + ":" + std::to_string(PortOf(server.Address())), Trusting(m_Authority));
        EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
        EXPECT_THAT(outcome.m_Output, HasSubstr("rxBytes"));
    }
    StopInOrder(server);
}

/// The certificate that is good for one of several servers is none of the others'.
TEST_F(TlsTest, EachOfSeveralServersHasItsOwnName)
{
    const TlsFiles files = m_Authority.Issue("one", "DNS:localhost");
    Server server(ItemsOf(files));
    const std::string port = std::to_string(PortOf(server.Address()));
    const std::string byAddress = "tls:127.0.0.1:" + port;
    const std::string byName = "tls:localhost:" + port;
    const Outcome second = Ask(byAddress + "," + byName, Trusting(m_Authority));
    EXPECT_EQ(second.m_nExitCode, 0) << second.m_Error;
    const Outcome none = Ask(byAddress + "," + byAddress, Trusting(m_Authority));
    EXPECT_EQ(none.m_nExitCode, 3);
    EXPECT_THAT(none.m_Error, HasSubstr("IP address mismatch"));
    Server other(ItemsOf(m_Authority.Issue("other", "IP:127.0.0.1")));
    const Outcome back =
        Ask("tls:localhost:" + std::to_string(PortOf(other.Address())) + "," + other.Address(),
            Trusting(m_Authority));
    EXPECT_EQ(back.m_nExitCode, 0) << back.m_Error;
}

TEST_F(TlsTest, CertificateOfAnotherNameIsNotAccepted)
{
    Server server(ItemsOf(m_Authority.Issue("other", "DNS:localhost,DNS:127.0.0.1,IP:127.0.0.2")));
    ExpectNoServer(server.Address(), Trusting(m_Authority), "IP address mismatch");
    ExpectLogged(server, "the other side refused: bad certificate");
    Server named(
        ItemsOf(m_Authority.Issue("localhost", "DNS:nbi.example.org")));  // the subject's name is no proof
    ExpectNoServer("tls:localhost:" + std::to_string(PortOf(named.Address())), Trusting(m_Authority),
                   "hostname mismatch");
    ExpectLogged(named, "the other side refused: bad certificate");
}

TEST_F(TlsTest, CertificateOfAnotherAuthorityIsNotAccepted)
{
    Server server(ItemsOf(m_ServerFiles));
    const Authority another(m_Folder.Path(), "another");
    ExpectNoServer(server.Address(), Trusting(another), "the other side's certificate is not accepted: ");
    ExpectLogged(server, "the other side refused: unknown CA");
}

TEST_F(TlsTest, AuthoritiesOfTheSystemCountWhereNoneAreNamed)
{
    Server server(ItemsOf(m_ServerFiles));
    ExpectNoServer(server.Address(), {}, "unable to get local issuer certificate");
    setenv("SSL_CERT_FILE", m_Authority.File().c_str(), 1);
    EXPECT_EQ(Ask(server.Address(), {}).m_nExitCode, 0);
}

TEST_F(TlsTest, ExpiredCertificateIsNotAccepted)
{
    Server server(ItemsOf(m_Authority.Issue("old", "IP:127.0.0.1", -1)));
    ExpectNoServer(server.Address(), Trusting(m_Authority), "certificate has expired");
    ExpectLogged(server, "the other side refused: certificate expired");
}

TEST_F(TlsTest, ClientWithoutTlsGetsNoAnswer)
{
    Server server(ItemsOf(m_ServerFiles));
    ExpectNoServer(server.Address().substr(4), Trusting(m_Authority), "or one with TLS (tls:<host>:<port>)");
    ExpectLogged(server, "the other side does not speak TLS");
}

TEST_F(TlsTest, ServerWithoutTlsIsNotAskedAnything)
{
    Server server;
    ExpectNoServer("tls:" + server.Address(), Trusting(m_Authority), "TLS failed: the other side ");
    // Not in a folder of that name: it is a random one.
    EXPECT_THAT(ReadFile(server.Directory() + "/log"), ::testing::Not(::testing::ContainsRegex("SSL[ _:]")))
        << "nobody asked for it";
    StopInOrder(server);
}

TEST_F(TlsTest, ClientOfTls11IsTurnedAway)
{
    Server server(ItemsOf(m_ServerFiles));
    EXPECT_TRUE(BarePeer(TLS1_2_VERSION).Connect(server.Address()));
    EXPECT_FALSE(BarePeer(TLS1_1_VERSION).Connect(server.Address()));
    ExpectLogged(server, "the other side speaks no TLS 1.2 or later");
}

TEST_F(TlsTest, ServerOfTls11IsNotAskedAnything)
{
    const BarePeer old(TLS1_1_VERSION);
    SSL_CTX_use_certificate_chain_file(old.Context(), m_ServerFiles.m_Certificate.c_str());
    SSL_CTX_use_PrivateKey_file(old.Context(), m_ServerFiles.m_Key.c_str(), SSL_FILETYPE_PEM);
    const Socket door = NewSocket();
    sockaddr_in address = AddressOf("127.0.0.1", 0);
    socklen_t nLength = sizeof(address);
    bind(*door, reinterpret_cast<sockaddr*>(&address), nLength);
    listen(*door, 8);
    getsockname(*door, reinterpret_cast<sockaddr*>(&address), &nLength);
    int nDone = -1;
    std::thread server([&] {
        const int nGuest = accept(*door, nullptr, nullptr);
        SSL* const pConnection = SSL_new(old.Context());
        SSL_set_fd(pConnection, nGuest);
        nDone = SSL_accept(pConnection);
        SSL_free(pConnection);
        close(nGuest);
        shutdown(*door, SHUT_RDWR);  // whoever tries again is refused
    });
    ExpectNoServer("tls:127.0.0.1:" + std::to_string(ntohs(address.sin_port)), Trusting(m_Authority),
                   "TLS failed: the other side ");
    server.join();
    EXPECT_NE(nDone, 1);
}

TEST_F(TlsTest, ServerThatNamesAuthoritiesWantsACertificateOfTheirs)
{
    TlsFiles files = m_ServerFiles;
    files.m_Authorities = m_Authority.File();
    Server server(ItemsOf(files));
    ExpectNoServer(server.Address(), Trusting(m_Authority),
                   "TLS failed: the other side wants a certificate, and this client has none");
    ExpectLogged(server, "the other side shows no certificate");
    TlsFiles client = m_Authority.Issue("client", "DNS:client");
    client.m_Authorities = m_Authority.File();
    const Outcome outcome = Ask(server.Address(), client);
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
}

/// The client is done with the handshake before the server looks at the certificate: what arrives is the refusal's reason,
/// or just the end of the connection.
TEST_F(TlsTest, ClientWithACertificateOfAnotherAuthorityIsTurnedAway)
{
    TlsFiles files = m_ServerFiles;
    files.m_Authorities = m_Authority.File();
    Server server(ItemsOf(files));
    TlsFiles client = Authority(m_Folder.Path(), "another").Issue("client", "DNS:client");
    client.m_Authorities = m_Authority.File();
    const Outcome refused = Ask(server.Address(), client);
    EXPECT_EQ(refused.m_nExitCode, 3);
    EXPECT_THAT(refused.m_Error,
                ::testing::ContainsRegex(
                    "the other side refused: unknown CA|does not accept this client's certificate"));
    ExpectLogged(server, "the other side's certificate is not accepted: ");
}

TEST_F(TlsTest, KeyThatOthersCanReadIsRefusedAtBothEnds)
{
    chmod(m_ServerFiles.m_Key.c_str(), 0640);
    const std::string why = "the key " + m_ServerFiles.m_Key + " is open to other users; chmod 600 closes it";
    if (geteuid() == 0) chmod(m_ServerFiles.m_Key.c_str(), 0644);
    const Outcome server = StartWith(m_ServerFiles);
    EXPECT_EQ(server.m_nExitCode, 2);
    EXPECT_THAT(server.m_Error, HasSubstr(why));
    const Outcome client = Ask("tls:127.0.0.1:9", m_ServerFiles);
    EXPECT_EQ(client.m_nExitCode, 2);
    EXPECT_THAT(client.m_Error, HasSubstr(why));
}

TEST_F(TlsTest, FileThatCannotBeUsedIsNamed)
{
    const auto expect = [this](const TlsFiles& files, const std::string& why) {
        const Outcome outcome = StartWith(files);
        EXPECT_EQ(outcome.m_nExitCode, 2);
        EXPECT_THAT(outcome.m_Error, HasSubstr(why));
    };
    const TlsFiles& good = m_ServerFiles;
    const std::string none = m_Folder / "none.pem";
    const TlsFiles other = m_Authority.Issue("other", "IP:127.0.0.1");
    expect({"", none, good.m_Key}, "the certificate " + none + " cannot be used: No such file or directory");
    expect({"", good.m_Certificate, none}, "the key " + none + " cannot be read: No such file or directory");
    expect({"", good.m_Certificate, other.m_Key},
           "the key " + other.m_Key + " cannot be used: key values mismatch");
    expect({none, good.m_Certificate, good.m_Key}, "the authorities' file " + none + " cannot be used: ");
    expect({"", good.m_Certificate, ""}, "TLS needs both TlsCertificate and TlsKey");
    expect({"", "", good.m_Key}, "TLS needs both TlsCertificate and TlsKey");
}

/// The network shows nothing of a key under TLS, so it may come from everywhere.
TEST_F(TlsTest, LoginOpensASessionThatHoldsFromOtherAddressesToo)
{
    const std::string password = "open sesame";
    WriteFile(m_Folder / "password", password);
    Server server("Anonymous = none\nRole_anna = reader\nPassword_anna = " +
                  PasswordDigest("anna", password.data(), password.size()) + "\n" + ItemsOf(m_ServerFiles));
    const TlsFiles files = Trusting(m_Authority);
    EXPECT_EQ(Ask(server.Address(), files).m_nExitCode, 1) << "without a login";
    const Outcome login = Ask(server.Address(), files, {"login", m_Folder / "password"});
    EXPECT_EQ(login.m_nExitCode, 0) << login.m_Error;
    EXPECT_EQ(Ask(server.Address(), files).m_nExitCode, 0);

    std::string key;
    for (const auto& entry : std::filesystem::directory_iterator(m_Folder / "nbiutil")) {
        key = ReadFile(entry.path());
    }
    BarePeer elsewhere(TLS1_3_VERSION);
    ASSERT_TRUE(elsewhere.Connect(server.Address(), "127.0.0.9"));
    EXPECT_TRUE(IsAnswer(elsewhere.Ask(Request("HugeTasks", LastText(""), key))));
    EXPECT_FALSE(IsAnswer(elsewhere.Ask(Request("HugeTasks", LastText(""), std::string(32, '0')))));
    EXPECT_EQ(Ask(server.Address(), files, {"logout"}).m_nExitCode, 0);
    EXPECT_FALSE(IsAnswer(elsewhere.Ask(Request("HugeTasks", LastText(""), key))));
}

TEST_F(TlsTest, ConnectionThatNeverBeginsTlsEndsAndIsCounted)
{
    Server server("ConnectionIdle = 5\n" + ItemsOf(m_ServerFiles));
    const Socket silent = NewSocket();
    const sockaddr_in address = AddressOf("127.0.0.1", PortOf(server.Address()));
    ASSERT_EQ(connect(*silent, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(Ask(server.Address(), Trusting(m_Authority)).m_nExitCode, 0) << "others are served meanwhile";
    char byte = 0;
    EXPECT_LE(recv(*silent, &byte, 1, 0), 0);
    StopInOrder(server);
}

}  // namespace
}  // namespace northbound
