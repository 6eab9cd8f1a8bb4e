// The server without configuration: closed to everyone but its own user, who needs no password.
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <list>
#include <memory>
#include <string>

#include "northbound/programs/requests.h"
#include "shared/descriptor.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using ::testing::EndsWith;
using ::testing::HasSubstr;

class LocalTest : public ::testing::Test {
protected:
    LocalTest() { setenv("XDG_RUNTIME_DIR", m_Runtime.Path().c_str(), 1); }

    const TestDirectory m_Runtime;
    const std::string m_Folder = m_Runtime.Path() + "/nbiutil";
    const std::string m_Socket = m_Folder + "/nbi-server.sock";
};

TEST_F(LocalTest, ClientFindsTheServerAndIsAdmin)
{
    Server server("", Way::LOCAL);
    EXPECT_EQ(server.Address(), "unix:" + m_Socket);
    EXPECT_EQ(RunClient({"counters", "lo"}).m_nExitCode, 0);
    EXPECT_EQ(RunClient({"--server", server.Address(), "sessions"}).m_nExitCode, 0);
    struct stat status {};
    ASSERT_EQ(stat(m_Folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    ASSERT_EQ(stat(m_Socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(RunClient({"stop"}).m_Output, "the server has stopped\n");
    EXPECT_EQ(server.Process().Wait(), 0);
    EXPECT_FALSE(fs::exists(m_Socket));
}

/// As the client's ORB connects: nobody waits for a place in the queue.
bool Connects(int nSocket, const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::copy(path.begin(), path.end(), address.sun_path);
    return connect(nSocket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

TEST_F(LocalTest, CrowdThatComesAtOnceWaitsUntilTheServerHasTime)
{
    Server server("", Way::LOCAL);
    server.Process().Signal(SIGSTOP);
    std::list<Descriptor> crowd;
    for (int i = 0; i < 100; ++i) {
        crowd.emplace_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        EXPECT_TRUE(Connects(crowd.back().Number(), m_Socket)) << i << ": " << std::strerror(errno);
    }
    crowd.clear();
    server.Process().Signal(SIGCONT);
    EXPECT_EQ(RunClient({"tasks"}).m_nExitCode, 0);
    StopInOrder(server);
}

TEST_F(LocalTest, MembersOfTheGroupAreServedWhereItIsNamed)
{
    const std::string group = getgrgid(getegid())->gr_name;
    const std::string socket = m_Runtime.Path() + "/shared/a.sock";
    Server server("ListenSocket = " + socket + "\nListenGroup = " + group + "\n", Way::LOCAL);
    EXPECT_EQ(RunClient({"--server", "unix:" + socket, "counters", "lo"}).m_nExitCode, 0);
    struct stat status {};
    ASSERT_EQ(stat((m_Runtime.Path() + "/shared").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0750U);
    ASSERT_EQ(stat(socket.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0660U);
    EXPECT_EQ(status.st_gid, getegid());
    StopInOrder(server);
}

TEST_F(LocalTest, LivingServersSocketIsNotTakenOverAndAStaleOneIsReplaced)
{
    auto pFirst = std::make_unique<Server>("", Way::LOCAL);
    const std::string config = pFirst->Directory() + "/second.ini";
    std::string text = ReadFile(pFirst->Directory() + "/server.ini");
    WriteFile(config, text.replace(text.find("log_file = log"), 14, "log_file = second.log"));
    const Outcome second = RunServer({"--config", config});
    EXPECT_EQ(second.m_nExitCode, 3);
    EXPECT_EQ(second.m_Error,
              "nbi-server: cannot listen on unix:" + m_Socket + ": another server serves there\n");
    EXPECT_EQ(RunClient({"tasks"}).m_nExitCode, 0);
    pFirst->Process().Signal(SIGKILL);
    pFirst->Process().Wait();
    ASSERT_TRUE(fs::exists(m_Socket));
    EXPECT_EQ(RunClient({"tasks"}).m_nExitCode, 3);
    Server third("", Way::LOCAL);
    EXPECT_EQ(RunClient({"tasks"}).m_nExitCode, 0);
    StopInOrder(third);
}

/// Whoever may write there could have been first with a socket of its own.
TEST_F(LocalTest, ClientTurnsAwayFromAFolderThatIsOpenToOthers)
{
    fs::create_directory(m_Folder);
    chmod(m_Folder.c_str(), 0777);
    const Outcome outcome = RunClient({"tasks"});
    EXPECT_EQ(outcome.m_nExitCode, 2);
    EXPECT_THAT(outcome.m_Error,
                HasSubstr(m_Folder + ", where the local server's socket is, is open to other"));
}

TEST_F(LocalTest, ClientWithoutAServerSaysWhereItLooked)
{
    const Outcome outcome = RunClient({"tasks"});
    EXPECT_EQ(outcome.m_nExitCode, 3);
    EXPECT_THAT(outcome.m_Error, HasSubstr("no answer from a server at unix:" + m_Socket + " ("));
}

TEST_F(LocalTest, SocketAndTcpAreServedSideBySideAndTcpLetsNobodyIn)
{
    Server server("ListenPort = 0\nListenSocket = own/a.sock\n", Way::LOCAL);
    const std::string socket = "unix:" + server.Directory() + "/own/a.sock";
    EXPECT_THAT(server.Address(), ::testing::StartsWith("127.0.0.1:"));
    for (const char* pCommand : {"inventory", "tasks", "sessions", "stop"}) {
        const Outcome outcome = RunClient({"--server", server.Address(), pCommand});
        EXPECT_EQ(outcome.m_nExitCode, 1) << pCommand;
        EXPECT_THAT(outcome.m_Error, HasSubstr("0x4E42000C: log in first")) << pCommand;
    }
    EXPECT_EQ(RunClient({"--server", server.Address(), "pubkey"}).m_nExitCode, 0);
    EXPECT_EQ(RunClient({"--server", socket, "sessions"}).m_nExitCode, 0);
    EXPECT_FALSE(fs::exists(m_Socket));
    StopInOrder(server);
    EXPECT_EQ(server.Process().StandardError().find("Anonymous"), std::string::npos);
}

TEST_F(LocalTest, DoorThatStandsOpenIsToldInOneLine)
{
    Server server("ListenPort = 0\nAnonymous = reader\n");
    EXPECT_EQ(RunClient({"--server", server.Address(), "tasks"}).m_nExitCode, 0);
    const Outcome refused = RunClient({"--server", server.Address(), "sessions"});
    EXPECT_THAT(refused.m_Error, HasSubstr("0x4E42000D: the role reader does not reach: this takes admin"));
    StopInOrder(server);
    const std::string warning =
        "nbi-server: Anonymous = reader: whoever reaches 127.0.0.1 has that role without a login\n";
    EXPECT_THAT(server.Process().StandardError(), HasSubstr(warning));
}

}  // namespace
}  // namespace northbound
