// Collections at servers that share a book, of which some end, hang or refuse.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "northbound/programs/fakeserver.h"
#include "northbound/programs/programs.h"
#include "shared/names.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Words = std::vector<std::string>;

class SharedCollectTest : public ::testing::Test {
protected:
    SharedCollectTest()
    {
        setenv("XDG_RUNTIME_DIR", m_Runtime.Path().c_str(), 1);
        m_Living.m_Servers = m_Dying.m_Servers = BookOf(m_Directory, {"a", "b"});
        m_Dying.m_Await = m_Living.m_Await = [](const std::string& operation, int /*nAsked*/) {
            return EndedState(operation);
        };
    }

    std::string At(const std::string& name) const { return FakeServer::AddressOf(m_Directory, name); }

    Words Line(const std::string& server, Words options = {}) const
    {
        Words line{"--server", server, "--timeout", "8", "collect", "eth0"};
        line.insert(line.end(), options.begin(), options.end());
        return line;
    }

    /// The operation of the one order in what a server was asked for.
    static std::string Ordered(const FakeServer& server)
    {
        const std::string calls = server.Calls();
        const std::size_t nAt = calls.find("order ");
        return nAt == std::string::npos ? "none" : calls.substr(nAt + 6, 36);
    }

    const TestDirectory m_Runtime;
    const TestDirectory m_Directory;
    FakeAnswers m_Dying;
    FakeAnswers m_Living;
};

TEST_F(SharedCollectTest, OrderGoesToTheServerWithTheLeastToDo)
{
    const FakeServer a(m_Directory, "a", m_Living);
    const FakeServer b(m_Directory, "b", m_Living);
    const Outcome outcome = RunClient(Line(At("b"), {"-q"}));
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(outcome.m_Output,
              "ne=here,port=eth0: 3 samples; nothing counted\n  file      /there/perf.csv\n"
              "  operation " +
                  Ordered(a) + "\n");
    EXPECT_THAT(b.Calls(), Not(HasSubstr("order")));
}

TEST_F(SharedCollectTest, OrderWhoseAnswerWasLostIsSentToTheNextServerUnderItsUuid)
{
    m_Dying.m_Order = []() -> bool { Die(); };
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    const Outcome outcome = RunClient(Line(At("a"), {"-q"}));
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_EQ(Ordered(a).size(), 36u);
    EXPECT_EQ(Ordered(a), Ordered(b));
    EXPECT_THAT(outcome.m_Output, HasSubstr(Ordered(a)));
}

TEST_F(SharedCollectTest, NextServerTellsTheEndWhereTheFirstHasDied)
{
    m_Dying.m_Await = [](const std::string& /*operation*/, int /*nAsked*/) -> Northbound::OrderState {
        Die();
    };
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    const Outcome outcome = RunClient(Line(At("a")));
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(b.Calls(), HasSubstr("await " + Ordered(a)));
    EXPECT_THAT(b.Calls(), Not(HasSubstr("order")));
}

TEST_F(SharedCollectTest, ServerThatHangsIsLeftWithinTheTimeout)
{
    m_Dying.m_Await = [](const std::string& /*operation*/, int /*nAsked*/) -> Northbound::OrderState {
        Hang();
    };
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    const Outcome outcome = RunClient(Line(At("a"), {"-q"}));
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(b.Calls(), HasSubstr("await " + Ordered(a)));
}

/// What was accepted goes on, so its user has to know what it is called.
TEST_F(SharedCollectTest, WhereNobodyAnswersTheOrdersNameIsTold)
{
    m_Dying.m_Await = [](const std::string& /*operation*/, int /*nAsked*/) -> Northbound::OrderState {
        Die();
    };
    m_Dying.m_Servers = BookOf(m_Directory, {"a", "b", "c"});
    m_Dying.m_Servers[2].address = "127.0.0.1:1";
    const FakeServer a(m_Directory, "a", m_Dying);
    const Outcome outcome = RunClient(Line(At("a")));
    EXPECT_EQ(outcome.m_nExitCode, 3);
    EXPECT_THAT(outcome.m_Error, HasSubstr("nbi-client: eth0: no answer from any server: "));
    EXPECT_THAT(outcome.m_Error, HasSubstr(At("b") + " ("));
    EXPECT_THAT(outcome.m_Error, HasSubstr("; what is ordered goes on as " + Ordered(a)));
    EXPECT_THAT(outcome.m_Error, Not(HasSubstr("127.0.0.1")))
        << "it is reached another way than was asked for";
}

TEST_F(SharedCollectTest, ServerOfTheListThatSharesNoBookGetsNoOrder)
{
    m_Dying.m_Order = []() -> bool { Die(); };
    m_Dying.m_Servers.length(1);
    m_Living.m_Servers.length(0);
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer alone(m_Directory, "alone", m_Living);
    const Outcome outcome = RunClient(Line(At("a") + "," + At("alone"), {"-q"}));
    EXPECT_EQ(outcome.m_nExitCode, 3);
    EXPECT_THAT(outcome.m_Error, HasSubstr(At("alone") + " (it shares no book with the others)"));
    EXPECT_THAT(alone.Calls(), Not(HasSubstr("order")));
}

TEST_F(SharedCollectTest, OrderThatIsRefusedIsNotSentAgain)
{
    m_Dying.m_Order = []() -> bool { throw Northbound::OperationFailed(ErrCode::BOOK_AWAY, "no book"); };
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    const Outcome outcome = RunClient(Line(At("a"), {"-q"}));
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("failed with code 0x4E420010: no book; it may be accepted as " +
                                           Ordered(a) + "\n  reason: "));
    EXPECT_THAT(b.Calls(), Not(HasSubstr("order")));
}

/// The servers carry on, and so does whoever waits.
TEST_F(SharedCollectTest, BookThatIsAwayForAWhileEndsNoWait)
{
    m_Dying.m_Await = m_Living.m_Await = [](const std::string& operation, int nAsked) {
        if (nAsked < 3) throw Northbound::OperationFailed(ErrCode::BOOK_AWAY, "no book");
        return EndedState(operation);
    };
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    EXPECT_EQ(RunClient(Line(At("a"), {"-q"})).m_nExitCode, 0);
}

TEST_F(SharedCollectTest, BookThatStaysAwayEndsTheWait)
{
    m_Dying.m_Await = [](const std::string& /*operation*/, int /*nAsked*/) -> Northbound::OrderState {
        throw Northbound::OperationFailed(ErrCode::BOOK_AWAY, "no book");
    };
    const FakeServer a(m_Directory, "a", m_Dying);
    Words line = Line(At("a"), {"-q"});
    line[3] = "3";
    const Outcome outcome = RunClient(line);
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("0x4E420010"));
}

TEST_F(SharedCollectTest, FailureOfTheCollectionIsTheAnswer)
{
    m_Living.m_Await = [](const std::string& operation, int /*nAsked*/) {
        Northbound::OrderState state = EndedState(operation);
        state.code = ErrCode::CANCELLED;
        state.detail = "cancelled by somebody";
        return state;
    };
    const FakeServer a(m_Directory, "a", m_Living);
    const Outcome outcome = RunClient(Line(At("a"), {"-q", "--json"}));
    EXPECT_EQ(outcome.m_nExitCode, 1);
    const auto answer = nlohmann::json::parse(outcome.m_Output);
    EXPECT_EQ(answer["collections"][0]["error"]["detail"], "cancelled by somebody");
    EXPECT_EQ(answer["collections"][0]["error"]["code"], ErrCode::CANCELLED);
}

TEST_F(SharedCollectTest, PartsAreTold)
{
    m_Living.m_Await = [](const std::string& operation, int /*nAsked*/) {
        Northbound::OrderState state = EndedState(operation);
        AddPart(state, "a", 0, 2);
        AddPart(state, "b", 2, 1);
        return state;
    };
    const FakeServer a(m_Directory, "a", m_Living);
    EXPECT_THAT(RunClient(Line(At("a"), {"-q"})).m_Output,
                HasSubstr("\n  part      a: 2 samples from number 0 on, /there/a/perf.csv\n"
                          "  part      b: 1 samples from number 2 on, /there/b/perf.csv\n"));
    const auto answer = nlohmann::json::parse(RunClient(Line(At("a"), {"--json"})).m_Output);
    const auto part =
        nlohmann::json::parse(R"({"server":"b","file":"/there/b/perf.csv","first":2,"samples":1})");
    EXPECT_EQ(answer["collections"][0]["parts"][1], part);
}

TEST_F(SharedCollectTest, OrderThatNobodyCanTakeSaysSo)
{
    m_Living.m_Await = [](const std::string& operation, int nAsked) {
        if (nAsked > 1) return EndedState(operation);
        Northbound::OrderState state = RunningState();
        state.phase = "waiting";
        state.note = "no server reaches it";
        return state;
    };
    const FakeServer a(m_Directory, "a", m_Living);
    const Outcome outcome = RunClient(Line(At("a")));
    EXPECT_EQ(outcome.m_nExitCode, 0);
    EXPECT_EQ(outcome.m_Error, "nbi-client: eth0 waits: no server reaches it\n");
}

TEST_F(SharedCollectTest, InterruptCancelsWhatIsUnderWay)
{
    m_Living.m_Await = [](const std::string& /*operation*/, int /*nAsked*/) { return RunningState(); };
    const FakeServer a(m_Directory, "a", m_Living);
    Words line = Line(At("a"), {"-q"});
    line.insert(line.begin(), NBI_CLIENT);
    Program client(m_Directory.Path(), "client", line);
    ASSERT_TRUE(Eventually([&a] { return a.Calls().find("await") != std::string::npos; }));
    client.Signal(SIGINT);
    EXPECT_EQ(client.Wait(), 1000 + SIGINT);
    EXPECT_THAT(a.Calls(), HasSubstr("cancel " + Ordered(a)));
}

TEST_F(SharedCollectTest, ClientLogsInAtTheNextServerWithThePasswordFile)
{
    m_Dying.m_Order = []() -> bool { Die(); };
    m_Dying.m_Key = "the key of a";
    m_Living.m_Key = "the key of b";
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    const std::string file = m_Directory.Add("password", "open sesame");
    const Outcome outcome = RunClient(Line(At("a"), {"-q", "--password-file", file}));
    EXPECT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    EXPECT_THAT(b.Calls(), HasSubstr("login"));
    EXPECT_EQ(RunClient(Line(At("b"), {"-q"})).m_nExitCode, 0) << "the key is not kept";
}

TEST_F(SharedCollectTest, ClientSaysThatItHasToLogInAtTheNextServer)
{
    m_Dying.m_Order = []() -> bool { Die(); };
    m_Living.m_Key = "the key of b";
    const FakeServer a(m_Directory, "a", m_Dying);
    const FakeServer b(m_Directory, "b", m_Living);
    const Outcome outcome = RunClient(Line(At("a"), {"-q"}));
    EXPECT_EQ(outcome.m_nExitCode, 1);
    EXPECT_THAT(outcome.m_Error, HasSubstr("0x4E42000C"));
    EXPECT_THAT(outcome.m_Error,
                HasSubstr("\n  server: " + At("b") +
                          "\n  a session is good at one server: log in there, or give --password-file\n"));
}

}  // namespace
}  // namespace northbound
