// What a server with a shared book says at its start, and what one without a book does not even load.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "northbound/cluster/cluster.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class SharedStartTest : public ClusterTest {
protected:
    std::string Said(const std::string& name) { return ServerOf(name).Process().StandardError(); }
    std::string Maps(Server& server)
    {
        return ReadFile("/proc/" + std::to_string(server.Process().Id()) + "/maps");
    }
};

TEST_F(SharedStartTest, ServerWithoutABookLoadsNothingOfTheEngine)
{
    Server alone;
    EXPECT_THAT(Maps(alone), Not(HasSubstr("libpq")));
    EXPECT_THAT(Maps(alone), Not(HasSubstr("nbi-book")));
    EXPECT_THAT(Maps(Start("a")), HasSubstr("libpq"));
}

TEST_F(SharedStartTest, ServerSaysWhatIsWrongWithTheSchema)
{
    Start("a");
    EXPECT_THAT(Said("a"), Not(HasSubstr("schema")));
    Asked("UPDATE nbi.schema SET version = 0");
    Start("b");
    EXPECT_THAT(Said("b"), HasSubstr("Book: the database has an older schema"));
    Asked("UPDATE nbi.schema SET version = 7");
    Start("c");
    EXPECT_THAT(Said("c"), HasSubstr("Book: the database has a newer schema"));
    Asked("DROP SCHEMA nbi CASCADE");
    Start("d");
    EXPECT_THAT(Said("d"), HasSubstr("Book: the database has no schema; nbi-server --migrate makes it"));
    EXPECT_EQ(Order("d", 1, 10, 10), ErrCode::INTERNAL);
    StopInOrder(ServerOf("d"));
}

/// Reads go on without the engine, orders are refused, and all is well once it is there.
TEST_F(SharedStartTest, ServerStartsWithoutTheEngineAndTakesOrdersOnceItIsThere)
{
    m_pEngine->Kill();
    Start("a");
    EXPECT_THAT(Said("a"), HasSubstr("Book: "));
    EXPECT_THAT(Said("a"), HasSubstr("no collection is accepted meanwhile"));
    const Northbound::Reading_var reading = At("a")->ReadCounters(Who("a"), "ne=one,port=p0");
    EXPECT_STREQ(reading->dn.in(), "ne=one,port=p0");
    EXPECT_TRUE(IsRefusedAsAway("a", 1));
    EXPECT_EQ(TasksListed(*m_Sessions["a"]), 0u);
    m_pEngine->Start();
    EXPECT_EQ(Order("a", 1, 10, 10), 0u);
    ExpectWhole(EndOf("a", 1), 2);
    EXPECT_TRUE(Eventually([&] {
        return ReadFile(ServerOf("a").Directory() + "/log").find("the shared book is back") !=
               std::string::npos;
    }));
    m_pEngine->Kill();
    StopInOrder(ServerOf("a"));
}

TEST_F(SharedStartTest, SecondServerOfTheSameNameIsKeptAway)
{
    Start("a");
    try {
        const Server second(ItemsOf(m_pEngine->Text(), "a", Wish()));
        ADD_FAILURE() << "it started";
    } catch (const std::exception& e) {
        EXPECT_THAT(e.what(), HasSubstr("/a is another server's: a process holds it"));
    }
}

TEST_F(SharedStartTest, TextThatIsNoneOrHasAPasswordIsRefused)
{
    const std::string config = m_Files / "server.ini";
    for (const std::string text : {"password=needle host=x", "no text"}) {
        WriteFile(config,
                  "[host]\nroot = .\nlog_file = log\nlog_stderr = no\n[server]\nBook = " + text + "\n");
        const Outcome outcome = RunServer({"--config", config});
        EXPECT_EQ(outcome.m_nExitCode, 2);
        EXPECT_THAT(outcome.m_Error, HasSubstr("Book: "));
        EXPECT_THAT(outcome.m_Error + ReadFile(m_Files / "log"), Not(HasSubstr("needle")));
    }
}

}  // namespace
}  // namespace northbound
