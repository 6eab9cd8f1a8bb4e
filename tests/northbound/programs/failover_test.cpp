// Several servers of which some are stopped by a signal, as on a machine that hangs, or gone.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "northbound/programs/requests.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;
using Words = std::vector<std::string>;

class FailoverTest : public ::testing::Test {
protected:
    FailoverTest() { m_Dead.Process().Signal(SIGKILL); }

    ~FailoverTest() override
    {
        m_Hanging.Process().Signal(SIGKILL);  // a stopped one takes no other signal
    }

    void Hang() { m_Hanging.Process().Signal(SIGSTOP); }

    static Outcome Ask(const std::string& servers, Words words)
    {
        words.insert(words.begin(), {"--server", servers, "--timeout", "6"});
        return RunClient(words);
    }

    /// Whether the server's log has a request of this operation, "3 collect".
    static bool HasSeen(const Server& server, const std::string& operation)
    {
        const std::vector<LoggedLine> log = server.Log();
        return std::any_of(log.begin(), log.end(),
                           [&](const LoggedLine& line) { return line.m_Interface == operation; });
    }

    Server m_Dead;
    Server m_Hanging;
    Server m_Living{"HugeTaskLimit = 4\n"};
    const std::string m_All = m_Hanging.Address() + "," + m_Dead.Address() + "," + m_Living.Address();
};

TEST_F(FailoverTest, NextServerAnswersWhereTheFirstHangsOrIsGone)
{
    Hang();
    for (const Words& words :
         {Words{"inventory"}, Words{"counters", "lo"}, Words{"tasks"}, Words{"sessions"}, Words{"pubkey"}}) {
        const Outcome outcome = Ask(m_All, words);
        EXPECT_EQ(outcome.m_nExitCode, 0) << words[0] << ": " << outcome.m_Error;
    }
}

TEST_F(FailoverTest, OrderDoesNotMatter)
{
    Hang();
    const std::vector<std::string> servers{m_Hanging.Address(), m_Dead.Address(), m_Living.Address()};
    std::vector<std::size_t> order{0, 1, 2};
    do {
        std::string all;
        for (const std::size_t n : order) all += servers[n] + ",";
        EXPECT_EQ(Ask(all, {"tasks"}).m_nExitCode, 0) << all;
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(FailoverTest, ChanceMayDecideWhichServerIsAskedFirst)
{
    const std::string servers = m_Hanging.Address() + "," + m_Living.Address();
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Ask(servers, {"counters", "lo"}).m_nExitCode, 0);
    const std::string request = "2 counters";
    EXPECT_FALSE(HasSeen(m_Living, request)) << "the list's order holds where nothing else is asked for";
    ASSERT_TRUE(HasSeen(m_Hanging, request));
    for (int i = 0; i < 60 && !HasSeen(m_Living, request); ++i) {
        EXPECT_EQ(Ask(servers, {"--shuffle", "counters", "lo"}).m_nExitCode, 0);
    }
    EXPECT_TRUE(HasSeen(m_Living, request));
}

TEST_F(FailoverTest, OptionMayStandThereMoreThanOnce)
{
    EXPECT_EQ(RunClient({"-s", m_Dead.Address(), "tasks", "--server", m_Living.Address()}).m_nExitCode, 0);
}

/// What may not be sent twice goes to the server that has answered a question before.
TEST_F(FailoverTest, OrdersGoToTheFirstServerThatAnswers)
{
    Hang();
    EXPECT_EQ(Ask(m_All, {"config", "set", "HugeTaskLimit", "5"}).m_nExitCode, 0);
    EXPECT_EQ(Ask(m_All, {"collect", "lo", "-q", "-i", "0.01", "-d", "0.01"}).m_nExitCode, 0);
    WriteFile(m_Living.Directory() + "/secret", "secret");
    EXPECT_EQ(Ask(m_All, {"send-secret", "-e", m_Living.Directory() + "/secret"}).m_nExitCode, 0);
    EXPECT_EQ(Ask(m_All, {"stop"}).m_nExitCode, 0);
    EXPECT_EQ(m_Living.Process().Wait(), 0);
}

TEST_F(FailoverTest, FailureTellsWhichServerItIsFrom)
{
    const Outcome text = Ask(m_All.substr(m_All.find(',') + 1), {"counters", "nothing"});
    EXPECT_EQ(text.m_nExitCode, 1);
    EXPECT_THAT(text.m_Error, HasSubstr("\n  server: " + m_Living.Address() + "\n"));
    const Outcome json = Ask(m_All.substr(m_All.find(',') + 1), {"--json", "cancel", "x"});
    EXPECT_THAT(json.m_Output, HasSubstr("\"server\":\"" + m_Living.Address() + "\""));
    const Outcome late = RunClient({"--server", m_Living.Address() + "," + m_Dead.Address(), "--timeout", "2",
                                    "tasks", "--at-least", "1"});
    EXPECT_EQ(late.m_nExitCode, 1);
    EXPECT_THAT(late.m_Error, HasSubstr("\n  server: " + m_Living.Address() + "\n"));
}

TEST_F(FailoverTest, ClientGivesUpWhenTheTimeIsOverAndNamesThemAll)
{
    Hang();
    const std::chrono::milliseconds timeout(900);
    for (const Words& words :
         {Words{"inventory"}, Words{"cancel", "x"}, Words{"collect", "lo"}, Words{"stop"}}) {
        Words line{NBI_CLIENT, "--timeout",     "0.9", "-s", m_Hanging.Address() + "," + m_Hanging.Address(),
                   "-s",       m_Dead.Address()};
        line.insert(line.end(), words.begin(), words.end());
        const auto start = std::chrono::steady_clock::now();
        Program client(m_Living.Directory(), "client", line);
        ASSERT_TRUE(Eventually([&client] { return !client.IsRunning(); })) << "it waits for ever";
        const auto lasted = std::chrono::steady_clock::now() - start;
        EXPECT_EQ(client.Wait(), 3) << words[0];
        EXPECT_GE(lasted, timeout / 2) << "it did not wait";
        EXPECT_TRUE(StartsWith(client.StandardError(),
                               "nbi-client: no answer from any server: " + m_Hanging.Address() + " ("))
            << client.StandardError();
        EXPECT_THAT(client.StandardError(), HasSubstr("), " + m_Dead.Address() + " ("));
        // A figure to look at: no test depends on how fast a machine is.
        using Milliseconds = std::chrono::milliseconds;
        RecordProperty("late_ms_" + words[0],
                       static_cast<int>(std::chrono::duration_cast<Milliseconds>(lasted - timeout).count()));
    }
}

TEST_F(FailoverTest, CollectionIsNotOrderedTwice)
{
    Program client(m_Living.Directory(), "client",
                   {NBI_CLIENT, "--server", m_Hanging.Address() + "," + m_Living.Address(), "--timeout", "10",
                    "collect", "lo", "-q", "--duration", "3600"});
    {
        const Session session(m_Hanging.Address(), "bob");
        ASSERT_TRUE(Eventually([&session] { return TasksListed(session) == 1; }));
    }
    m_Hanging.Process().Signal(SIGKILL);
    ASSERT_TRUE(Eventually([&client] { return !client.IsRunning(); }));
    EXPECT_EQ(client.Wait(), 3) << client.StandardError();
    EXPECT_THAT(client.StandardError(), HasSubstr(m_Hanging.Address())) << "nobody knows where it ran";
    EXPECT_FALSE(HasSeen(m_Living, "3 collect"));
}

/// The request may have arrived where the answer is missing.
TEST_F(FailoverTest, OrderThatIsNotAnsweredIsNotSentAgain)
{
    const Session session({Endpoint{m_Hanging.Address(), ""}, Endpoint{m_Living.Address(), ""}}, "bob",
                          std::chrono::seconds(30));
    session.Settle();
    Hang();
    Session::LimitAnswerTime(500);
    EXPECT_THROW(session.Server()->Cancel(session.Who(), "x"), CORBA::TIMEOUT);
    EXPECT_THROW(session.Read([](Northbound::Manager_ptr server, const Northbound::Caller& who) {
        return Northbound::HugeTaskPage_var(server->HugeTasks(who, ""))->tasks.length();
    }),
                 CORBA::TIMEOUT)
        << "the other server knows nothing of what was ordered here";
    EXPECT_EQ(session.Address(), m_Hanging.Address());
    EXPECT_FALSE(HasSeen(m_Living, "15 cancel"));
}

TEST_F(FailoverTest, ReadsStayWithTheServerThatAnswered)
{
    Hang();
    const Session session({Endpoint{m_Hanging.Address(), ""}, Endpoint{m_Living.Address(), ""}}, "bob",
                          std::chrono::seconds(6));
    const auto count = [](Northbound::Manager_ptr server, const Northbound::Caller& who) {
        return Northbound::HugeTaskPage_var(server->HugeTasks(who, ""))->tasks.length();
    };
    EXPECT_EQ(session.Read(count), 0u);
    EXPECT_EQ(session.Address(), m_Living.Address());
    EXPECT_EQ(session.Read(count), 0u);
    EXPECT_EQ(session.Address(), m_Living.Address());
}

TEST_F(FailoverTest, SessionIsKeptForTheServerThatOpenedIt)
{
    const TestDirectory runtime;
    setenv("XDG_RUNTIME_DIR", runtime.Path().c_str(), 1);
    const std::string file = runtime.Path() + "/password";
    WriteFile(file, PASSWORD);
    const Server guarded("Anonymous = none\nPassword_anna = " +
                         PasswordDigest("anna", PASSWORD.data(), PASSWORD.size()) + "\nRole_anna = admin\n");
    const std::string servers = m_Dead.Address() + "," + guarded.Address();
    EXPECT_EQ(Ask(servers, {"--user", "anna", "login", file}).m_nExitCode, 0);
    EXPECT_EQ(Ask(servers, {"--user", "anna", "inventory"}).m_nExitCode, 0);
    EXPECT_EQ(Ask(guarded.Address(), {"--user", "anna", "logout"}).m_nExitCode, 0);
}

}  // namespace
}  // namespace northbound
