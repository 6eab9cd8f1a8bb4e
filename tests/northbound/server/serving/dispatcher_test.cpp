#include "server/serving/dispatcher.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

#include "nbihost/recordinghost.h"
#include "server/serving/usersessions.h"
#include "shared/names.h"
#include "support/heapwatch.h"

namespace northbound {
namespace {

/// An operation that takes \p LEAST.
template <Role LEAST>
struct Probe {
    static constexpr Profile PROFILE{1, "probe", Place::REQUEST_THREAD, LEAST};
    struct Request {};
    struct Result {};
    static Result Run(const Request& /*request*/, const Caller& /*caller*/) { return {}; }
};

struct ProbeInPool {
    static constexpr Profile PROFILE{1, "probe", Place::POOL_1, Role::NONE};
    struct Request {};
    struct Result {};
    Result Run(const Request& /*request*/, const Caller& /*caller*/)
    {
        ++m_nRuns;
        return {};
    }
    int m_nRuns = 0;
};

struct SendingAway {
    static constexpr Profile PROFILE{1, "probe", Place::REQUEST_THREAD, Role::NONE};
    struct Request {};
    struct Result {};
    static Result Run(const Request& /*request*/, const Caller& /*caller*/)
    {
        ThrowFailure(ErrCode::TRY_LATER, "probe", "try again in 1 s");
    }
};

struct Failing {
    static constexpr Profile PROFILE{1, "probe", Place::REQUEST_THREAD, Role::NONE};
    struct Request {};
    struct Result {};
    static Result Run(const Request& /*request*/, const Caller& /*caller*/)
    {
        ThrowFailure(ErrCode::UNKNOWN_OBJECT, "probe", "a detail that is too long to lie inside its object");
    }
};

class DispatcherTest : public ::testing::Test {
protected:
    /// What \p caller gets from a server that gives those from the network \p anonymous: 0 for an answer.
    template <Role LEAST>
    static unsigned int CodeFor(Role anonymous, const Caller& caller)
    {
        UserSessions sessions(anonymous);
        Dispatcher dispatcher(sessions, 1);
        Probe<LEAST> probe;
        const auto outcome = dispatcher.Ask(probe, caller, {});
        const auto* const pFailure = std::get_if<Failure>(&outcome);
        return pFailure == nullptr ? 0 : pFailure->m_nCode;
    }

    /// Asks for an operation, which without a fault ends with \p nUsual, and lets each allocation fail in turn.
    template <class Operation>
    void AnswersWithoutMemory(unsigned int nUsual)
    {
        UserSessions sessions(Role::NONE);
        Dispatcher dispatcher(sessions, 1);
        Operation operation;
        int nAsked = 0;
        int nAnswered = 0;
        unsigned int nCode = 0;
        nbitest::FailEachAllocation(
            [&] {
                ++nAsked;
                const auto outcome = dispatcher.Ask(operation, m_Local, {});
                const auto* const pFailure = std::get_if<Failure>(&outcome);
                nCode = pFailure == nullptr ? 0 : pFailure->m_nCode;
                ++nAnswered;
            },
            [&] { EXPECT_TRUE(nCode == nUsual || nCode == ErrCode::INTERNAL) << nCode; });
        EXPECT_EQ(nCode, nUsual);
        EXPECT_EQ(nAnswered, nAsked);
        EXPECT_GT(nAsked, 2);
    }

    nbitest::RecordingHost m_Host;
    const Caller m_Remote{"anna", "192.0.2.1:7", false};
    const Caller m_Local{"anna", "local", true};
};

TEST_F(DispatcherTest, CallerFromTheNetworkReachesAsFarAsItsRole)
{
    EXPECT_EQ(CodeFor<Role::NONE>(Role::NONE, m_Remote), 0u);
    EXPECT_EQ(CodeFor<Role::READER>(Role::NONE, m_Remote), ErrCode::NOT_LOGGED_IN);
    EXPECT_EQ(CodeFor<Role::ADMIN>(Role::NONE, m_Remote), ErrCode::NOT_LOGGED_IN);
    EXPECT_EQ(CodeFor<Role::READER>(Role::READER, m_Remote), 0u);
    EXPECT_EQ(CodeFor<Role::COLLECTOR>(Role::READER, m_Remote), ErrCode::NOT_ALLOWED);
    EXPECT_EQ(CodeFor<Role::READER>(Role::COLLECTOR, m_Remote), 0u);
    EXPECT_EQ(CodeFor<Role::COLLECTOR>(Role::COLLECTOR, m_Remote), 0u);
    EXPECT_EQ(CodeFor<Role::ADMIN>(Role::COLLECTOR, m_Remote), ErrCode::NOT_ALLOWED);
    EXPECT_EQ(CodeFor<Role::ADMIN>(Role::ADMIN, m_Remote), 0u);
}

/// Its work waited in a pool's queue until nobody wanted it any more.
TEST_F(DispatcherTest, WorkOfACallerThatHasGoneIsNotBegun)
{
    ProbeInPool operation;
    UserSessions sessions(Role::NONE);
    Dispatcher dispatcher(sessions, 1);
    Caller caller = m_Local;
    caller.m_HasGone = [] { return true; };
    const auto outcome = dispatcher.Ask(operation, caller, {});
    ASSERT_NE(std::get_if<Failure>(&outcome), nullptr);
    EXPECT_EQ(std::get<Failure>(outcome).m_nCode, ErrCode::NOT_CARRIED_OUT);
    EXPECT_EQ(std::get<Failure>(outcome).m_Detail, "its caller no longer waits");
    EXPECT_EQ(operation.m_nRuns, 0);
    caller.m_HasGone = [] { return false; };
    const auto served = dispatcher.Ask(operation, caller, {});
    EXPECT_EQ(std::get_if<Failure>(&served), nullptr);
    EXPECT_EQ(operation.m_nRuns, 1);
}

TEST_F(DispatcherTest, StrangersDoNotFillTheLog)
{
    UserSessions sessions(Role::NONE);
    Dispatcher dispatcher(sessions, 1);
    SendingAway operation;
    for (int i = 0; i < 100; ++i) {
        const auto outcome = dispatcher.Ask(operation, m_Remote, {});
        ASSERT_NE(std::get_if<Failure>(&outcome), nullptr);
        EXPECT_EQ(std::get<Failure>(outcome).m_nCode, ErrCode::TRY_LATER);
    }
    ASSERT_EQ(m_Host.Logs().size(), 1u);
    EXPECT_EQ(m_Host.Logs()[0].m_Text,
              "the request fails with code 0x4E42000E: try again in 1 s; 1 logins sent away since "
              "the last such line");
}

TEST_F(DispatcherTest, MissingMemoryIsAnAnswerToo)
{
    AnswersWithoutMemory<Probe<Role::READER>>(0);
    AnswersWithoutMemory<Failing>(ErrCode::UNKNOWN_OBJECT);
}

TEST_F(DispatcherTest, AnswersWhereNoMemoryIsLeftAtAll)
{
    UserSessions sessions(Role::NONE);
    Dispatcher dispatcher(sessions, 1);
    Failing operation;
    const auto ask = [&] {
        const nbitest::AllocationLimit none(0);
        return dispatcher.Ask(operation, Caller{}, {});
    };
    const auto outcome = ask();
    ASSERT_NE(std::get_if<Failure>(&outcome), nullptr);
    EXPECT_EQ(std::get<Failure>(outcome).m_nCode, ErrCode::INTERNAL);
    EXPECT_EQ(std::get<Failure>(outcome).m_Detail, "std::bad_alloc");
}

TEST_F(DispatcherTest, LocalCallerIsAdmin)
{
    EXPECT_EQ(CodeFor<Role::ADMIN>(Role::NONE, m_Local), 0u);
}

}  // namespace
}  // namespace northbound
