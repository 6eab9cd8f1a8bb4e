// Collections that nobody wants any more.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <list>
#include <string>

#include "client/corba/collections.h"
#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

/// A collection whose second sample is an hour away.
constexpr unsigned int HOUR = 60 * MINUTE;

class CancelTest : public ::testing::Test {
protected:
    /// The operation of the one collection that runs, once its first sample is taken.
    std::string Running() const
    {
        std::string operation;
        EXPECT_TRUE(Eventually([&] {
            const Northbound::HugeTaskList_var tasks = AllTasks(m_Session);
            if (tasks->length() != 1 || tasks.in()[0].samplesTaken != 1) return false;
            operation = tasks.in()[0].operation.in();
            return true;
        }));
        return operation;
    }

    bool NoneIsLeft() const
    {
        return Eventually([this] { return TasksListed(m_Session) == 0; });
    }

    Server m_Server;
    const Session m_Session{m_Server.Address(), "alice"};
};

TEST_F(CancelTest, CancelledCollectionEndsLongBeforeItsNextSample)
{
    std::list<Collection> running;
    running.emplace_back(m_Session, Order(HOUR, 2 * HOUR), MINUTE);
    const std::string operation = Running();
    const Outcome cancelled = RunClient({"--server", m_Server.Address(), "cancel", operation});
    EXPECT_EQ(cancelled.m_nExitCode, 0) << cancelled.m_Error;
    EXPECT_EQ(cancelled.m_Output, operation + " is cancelled\n");
    ASSERT_TRUE(Eventually([&running] { return running.front().IsOver(); }));
    ASSERT_NE(running.front().Refusal(), nullptr);
    EXPECT_EQ(running.front().Refusal()->code, ErrCode::CANCELLED);
    EXPECT_THAT(running.front().Refusal()->detail.in(),
                HasSubstr("the collection was cancelled after 1 of 3 samples; they are in " +
                          m_Server.Directory() + "/collections/perf-lo-" + operation + ".csv.part"));
    EXPECT_TRUE(NoneIsLeft());
    const Outcome again = RunClient({"--server", m_Server.Address(), "cancel", operation});
    EXPECT_EQ(again.m_nExitCode, 1);
    EXPECT_THAT(again.m_Error, HasSubstr("no collection \"" + operation + "\" is under way"));
    StopInOrder(m_Server);
}

TEST_F(CancelTest, CollectionOfAClientThatIsKilledEndsAndItsPlaceIsFree)
{
    Program client(m_Server.Directory(), "client",
                   {NBI_CLIENT, "--server", m_Server.Address(), "collect", Loopback(), "--interval", "3600",
                    "--duration", "7200", "--quiet"});
    const std::string operation = Running();
    client.Signal(SIGKILL);
    client.Wait();
    EXPECT_TRUE(NoneIsLeft());
    EXPECT_THAT(ReadFile(m_Server.Directory() + "/log"),
                HasSubstr("the caller has gone after 1 of 3 samples"));
    StopInOrder(m_Server);
}

/// Work that has waited for a worker for longer than its caller does is nobody's.
TEST_F(CancelTest, CollectionWhosePatienceIsOverEnds)
{
    Northbound::Caller who = CallerOf("alice");
    who.patience = 1;
    const auto failure = FailureOf([&] {
        const Northbound::CollectionResult_var result =
            m_Session.Server()->Collect(who, Order(HOUR, 2 * HOUR));
    });
    EXPECT_EQ(failure.code, ErrCode::CANCELLED);
    StopInOrder(m_Server);
}

}  // namespace
}  // namespace northbound
