// What the client tells of a server's pools.
#include <pty.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

#include "northbound/programs/requests.h"

namespace northbound {
namespace {

using Json = nlohmann::json;

class PoolsTest : public ::testing::Test {
protected:
    Outcome Ask(std::vector<std::string> words, const Server& server) const
    {
        words.insert(words.begin(), {"--server", server.Address()});
        return RunClient(words);
    }
    Json Pool(const Server& server, int nNumber) const
    {
        const Json report = Json::parse(Ask({"--json", "pools"}, server).m_Output);
        for (const Json& pool : report["pools"]) {
            if (pool["number"] == nNumber) return pool;
        }
        return {};
    }
};

TEST_F(PoolsTest, ShowsEachPoolThatHasWorked)
{
    const Server server("TaskMgrMaxThreadNum = 3\n");
    EXPECT_EQ(Pool(server, 0), Json());
    ASSERT_EQ(Ask({"inventory"}, server).m_nExitCode, 0);
    EXPECT_TRUE(Eventually([&] { return Pool(server, 0)["finished"] == 1; }));
    const Json pool = Pool(server, 0);
    EXPECT_EQ(pool["workers"], 3);
    EXPECT_EQ(pool["pushed"], 1);
    EXPECT_GT(pool["running"]["p99"], 0);
    const Outcome table = Ask({"pools"}, server);
    EXPECT_EQ(table.m_nExitCode, 0);
    EXPECT_NE(table.m_Output.find("0/3"), std::string::npos) << table.m_Output;
}

TEST_F(PoolsTest, CollectionIsTheLongestBodyUnderItsOwnOperation)
{
    const Server server;
    const Session session(server.Address(), "alice");
    std::thread collection([&session] { FailureOf([&session] { Collect(session, Order(1000, 60000)); }); });
    ASSERT_TRUE(Eventually([&] { return TasksListed(session) == 1; }));
    const Northbound::HugeTaskList_var tasks = AllTasks(session);
    const Json pool = Pool(server, 2);
    EXPECT_EQ(pool["busy"], 1);
    EXPECT_EQ(pool["inBook"], 1);
    EXPECT_EQ(pool["bookLimit"], 4);
    EXPECT_EQ(pool["longestOperation"], tasks.in()[0].operation.in());
    session.Server()->Cancel(session.Who(), tasks.in()[0].operation.in());
    collection.join();
}

TEST_F(PoolsTest, DoctorFindsNothingWrongWithAQuietServer)
{
    const Server server;
    ASSERT_EQ(Ask({"inventory"}, server).m_nExitCode, 0);
    const Outcome text = Ask({"doctor"}, server);
    EXPECT_EQ(text.m_nExitCode, 0) << text.m_Output;
    EXPECT_EQ(text.m_Output, "nothing looks wrong\n");
    EXPECT_EQ(Ask({"--json", "doctor"}, server).m_Output, "{\"findings\":[]}\n");
}

TEST_F(PoolsTest, DoctorSeesTasksThatWaitBehindLongBodies)
{
    Server server("TaskMgrMaxThreadNum = 1\n");
    const Session session(server.Address(), "alice");
    std::vector<std::thread> collections;
    collections.reserve(2);
    for (int i = 0; i < 2; ++i) {
        collections.emplace_back(
            [&session] { FailureOf([&session] { Collect(session, Order(1000, 600000)); }); });
    }
    Outcome doctor{};
    EXPECT_TRUE(Eventually([&] {
        doctor = Ask({"doctor"}, server);
        return doctor.m_nExitCode == 1;
    }));
    EXPECT_NE(doctor.m_Output.find("pool 2: 1 tasks wait while all 1 workers are busy"), std::string::npos)
        << doctor.m_Output;
    server.Process().Signal(SIGTERM);
    for (std::thread& collection : collections) collection.join();
}

/// What a terminal shows until \p ending is there, and what the program ends with after a "q". When the first screen
/// is there, \p meanwhile is called.
struct Screens {
    std::string m_Text;
    int m_nStatus = -1;
};

Screens WatchUntil(const std::string& address, const std::string& ending,
                   std::function<void()> meanwhile = {})
{
    Screens screens;
    winsize window{};
    window.ws_col = 80;
    window.ws_row = 24;
    int nTerminal = -1;
    const pid_t nChild = forkpty(&nTerminal, nullptr, nullptr, &window);
    if (nChild == 0) {
        execl(NBI_CLIENT, NBI_CLIENT, "--server", address.c_str(), "--timeout", "2", "top", nullptr);
        _exit(127);
    }
    char bytes[4096];
    for (ssize_t nRead; (nRead = read(nTerminal, bytes, sizeof(bytes))) > 0;) {
        screens.m_Text.append(bytes, static_cast<std::size_t>(nRead));
        if (meanwhile && screens.m_Text.find("pool 0  [") != std::string::npos) {
            std::exchange(meanwhile, {})();
        }
        if (screens.m_Text.find(ending) == std::string::npos) continue;
        EXPECT_EQ(write(nTerminal, "q", 1), 1);
    }
    close(nTerminal);
    waitpid(nChild, &screens.m_nStatus, 0);
    return screens;
}

TEST_F(PoolsTest, TopDrawsAScreenUntilTheUserLeaves)
{
    setenv("TERM", "xterm", 1);
    const Server server;
    ASSERT_EQ(Ask({"inventory"}, server).m_nExitCode, 0);
    const Screens screens = WatchUntil(server.Address(), "pool 0  [");
    EXPECT_EQ(screens.m_nStatus, 0) << screens.m_Text;
    EXPECT_NE(screens.m_Text.find(server.Address() + "; q ends"), std::string::npos) << screens.m_Text;
}

TEST_F(PoolsTest, TopSaysWhatItCannotReachAndGoesOn)
{
    setenv("TERM", "xterm", 1);
    Server server;
    ASSERT_EQ(Ask({"inventory"}, server).m_nExitCode, 0);
    const Screens screens = WatchUntil(server.Address(), server.Address() + " does not answer: ", [&server] {
        server.Process().Signal(SIGKILL);
    });
    EXPECT_EQ(screens.m_nStatus, 0) << screens.m_Text;
}

TEST_F(PoolsTest, ServerThatIsNotThereIsNamed)
{
    const Outcome outcome = RunClient({"--server", "127.0.0.1:1", "doctor"});
    EXPECT_EQ(outcome.m_nExitCode, 3);
    EXPECT_NE(outcome.m_Error.find("127.0.0.1:1"), std::string::npos) << outcome.m_Error;
}

}  // namespace
}  // namespace northbound
