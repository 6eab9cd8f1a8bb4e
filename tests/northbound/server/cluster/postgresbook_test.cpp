// Orders, claims and leases of several servers.
#include "server/cluster/postgresbook.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "northbound/server/cluster/booktesting.h"
#include "support/eventually.h"

namespace northbound {
namespace {

using namespace std::chrono_literals;

class PostgresBookTest : public SharedBookTest {
protected:
    void SetUp() override
    {
        SharedBookTest::SetUp();
        if (IsSkipped()) return;
        m_pOne = BookOf("one");
        m_pTwo = BookOf("two");
    }

    std::unique_ptr<PostgresBook> m_pOne;
    std::unique_ptr<PostgresBook> m_pTwo;
};

TEST_F(PostgresBookTest, OrderIsAcceptedOnceAndKnownOnEveryServer)
{
    EXPECT_EQ(m_pOne->Order(OrderOf("a")), OrderAnswer::ACCEPTED);
    EXPECT_EQ(m_pOne->Order(OrderOf("a")), OrderAnswer::KNOWN);
    EXPECT_EQ(m_pTwo->Order(OrderOf("a")), OrderAnswer::KNOWN);
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection"), "1");
    const auto state = m_pTwo->Find("a");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->m_Order.m_Dn, "ne=one,port=lo");
    EXPECT_EQ(state->m_Order.m_User, "alice");
    EXPECT_EQ(state->m_Order.Samples(), 10u);
    EXPECT_EQ(state->m_Phase, CollectionPhase::WAITING);
    EXPECT_FALSE(m_pTwo->Find("none"));
}

TEST_F(PostgresBookTest, OldestIsClaimedFirstAndByOneServerAlone)
{
    m_pOne->Order(OrderOf("z"));
    m_pTwo->Order(OrderOf("a"));
    const auto first = m_pTwo->Claim("");
    ASSERT_TRUE(first);
    EXPECT_EQ(first->m_Claim.m_Operation, "z");
    EXPECT_EQ(first->m_Order.m_nInterval, 1000u);
    EXPECT_FALSE(m_pOne->Claim("z"));
    EXPECT_EQ(m_pOne->Claim("a")->m_Claim.m_Operation, "a");
    EXPECT_FALSE(m_pOne->Claim(""));
    EXPECT_EQ(m_pTwo->StandingOf(first->m_Claim), Standing::HELD);
    EXPECT_EQ(m_pOne->StandingOf(first->m_Claim), Standing::LOST) << "it is the other's";
    EXPECT_EQ(m_pOne->Collections().size(), 2u);
    EXPECT_EQ(m_pOne->Collections()[0].m_Parts.at(0).m_Server, "two");
}

TEST_F(PostgresBookTest, ServerClaimsOnlyWhatItReaches)
{
    PostgresBookSettings settings = SettingsOf("three");
    settings.m_Elements = {"ne=odd \"name\\", "ne=three"};
    const auto pThree = BookWith(settings);
    m_pOne->Order(OrderOf("a", "ne=one,port=lo"));
    EXPECT_FALSE(pThree->Claim(""));
    EXPECT_FALSE(pThree->Claim("a"));
    m_pOne->Order(OrderOf("b", "ne=odd \"name\\,port=lo"));
    EXPECT_TRUE(pThree->Claim("b"));
    EXPECT_TRUE(m_pOne->Claim(""));
}

/// The server that held it is gone, or paused and back: what it writes then is refused.
TEST_F(PostgresBookTest, CollectionWhoseLeaseIsOverGoesOnElsewhereUnderAHigherToken)
{
    m_pOne->Order(OrderOf("a"));
    const auto old = m_pOne->Claim("");
    ASSERT_TRUE(old);
    m_pOne->Report(old->m_Claim, 4);
    m_pOne->Renew();
    m_pOne->Report(old->m_Claim, 5);
    EXPECT_FALSE(m_pTwo->Claim("")) << "its lease is not over";
    EndLeases();
    const auto taken = m_pTwo->Claim("");
    ASSERT_TRUE(taken);
    EXPECT_GT(taken->m_Claim.m_nToken, old->m_Claim.m_nToken);
    EXPECT_EQ(taken->m_nTaken, 4u) << "what was reported with the last renewal";
    EXPECT_FALSE(m_pOne->Finish(old->m_Claim, {0, "", "stale"}));
    m_pOne->Renew();
    EXPECT_EQ(m_pOne->StandingOf(old->m_Claim), Standing::LOST);
    EXPECT_EQ(m_pTwo->Find("a")->m_nTaken, 4u);
    m_pTwo->Report(taken->m_Claim, 10);
    EXPECT_TRUE(
        m_pTwo->Finish(taken->m_Claim, {0, "", "file", 1, {7u, std::nullopt, 18446744073709551615u}}));
    const auto state = m_pOne->Find("a");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->m_Phase, CollectionPhase::ENDED);
    EXPECT_EQ(state->m_End.m_nCode, 0u);
    EXPECT_EQ(state->m_End.m_File, "file");
    EXPECT_EQ(state->m_End.m_nLate, 1u);
    EXPECT_EQ(state->m_End.m_Increase, (Figures{7u, std::nullopt, 18446744073709551615u}));
    ASSERT_EQ(state->m_Parts.size(), 2u);
    EXPECT_EQ(state->m_Parts[0].m_Server, "one");
    EXPECT_EQ(state->m_Parts[0].m_nTaken, 4u);
    EXPECT_EQ(state->m_Parts[1].m_Server, "two");
    EXPECT_EQ(state->m_Parts[1].m_nFirst, 4u);
    EXPECT_EQ(state->m_Parts[1].m_nTaken, 6u);
}

TEST_F(PostgresBookTest, RenewalKeepsTheLeaseAndTellsOfTheServer)
{
    PostgresBookSettings settings = SettingsOf("brief");
    settings.m_Lease = 1h;
    settings.m_Fence = 59min;
    const auto pBrief = BookWith(settings);
    m_pOne->Order(OrderOf("a"));
    const auto claimed = pBrief->Claim("a");
    ASSERT_TRUE(claimed);
    EndLeases();
    pBrief->Renew();
    EXPECT_FALSE(m_pTwo->Claim("a"));
    EXPECT_EQ(pBrief->StandingOf(claimed->m_Claim), Standing::HELD);
    m_pOne->Renew();
    const std::vector<ServerState> servers = m_pTwo->Servers();
    ASSERT_EQ(servers.size(), 2u);
    EXPECT_EQ(servers[0].m_Name, "brief");
    EXPECT_EQ(servers[0].m_Address, "brief.example.org:12809");
    EXPECT_EQ(servers[0].m_nLoad, 1u);
    EXPECT_GT(servers[0].m_Left, 0ms);
    EXPECT_LE(servers[0].m_Left, 1h);
    EXPECT_EQ(servers[1].m_nLoad, 0u);
}

TEST_F(PostgresBookTest, ClaimIsLostAtTheFenceThoughNobodyHasTakenIt)
{
    PostgresBookSettings settings = SettingsOf("brief");
    settings.m_Fence = 1ms;
    const auto pBrief = BookWith(settings);
    m_pOne->Order(OrderOf("a"));
    const auto claimed = pBrief->Claim("");
    ASSERT_TRUE(claimed);
    EXPECT_TRUE(nbitest::Eventually([&] { return pBrief->StandingOf(claimed->m_Claim) == Standing::LOST; }));
    pBrief->Renew();
    EXPECT_EQ(pBrief->StandingOf(claimed->m_Claim), Standing::LOST);
}

TEST_F(PostgresBookTest, CancelledCollectionEndsAtOnceOrWithItsHolder)
{
    m_pOne->Order(OrderOf("waits"));
    m_pTwo->Cancel("waits");
    m_pTwo->Cancel("none");
    EXPECT_EQ(m_pOne->Find("waits")->m_Phase, CollectionPhase::ENDED);
    EXPECT_EQ(m_pOne->Find("waits")->m_End.m_nCode, ErrCode::CANCELLED);
    EXPECT_FALSE(m_pOne->Claim("waits"));
    m_pOne->Order(OrderOf("runs"));
    const auto claimed = m_pOne->Claim("runs");
    ASSERT_TRUE(claimed);
    m_pTwo->Cancel("runs");
    m_pOne->Renew();
    EXPECT_EQ(m_pOne->StandingOf(claimed->m_Claim), Standing::CANCELLED);
    EXPECT_TRUE(m_pOne->Finish(claimed->m_Claim, {ErrCode::CANCELLED, "by \xff somebody"}));
    EXPECT_TRUE(m_pTwo->Find("runs")->m_bCancelled);
    EXPECT_EQ(m_pTwo->Find("runs")->m_End.m_nCode, ErrCode::CANCELLED);
}

TEST_F(PostgresBookTest, CancelledCollectionWhoseHolderDiedIsTakenOnlyToBeEnded)
{
    m_pOne->Order(OrderOf("a"));
    m_pOne->Claim("a");
    m_pOne->Cancel("a");
    EndLeases();
    const auto taken = m_pTwo->Claim("a");
    ASSERT_TRUE(taken);
    EXPECT_EQ(m_pTwo->StandingOf(taken->m_Claim), Standing::CANCELLED);
}

TEST_F(PostgresBookTest, AwaitEndsWithTheCollectionWhicheverServerHasIt)
{
    m_pOne->Order(OrderOf("a"));
    const auto claimed = m_pOne->Claim("a");
    ASSERT_TRUE(claimed);
    EXPECT_FALSE(m_pTwo->AwaitEnd("a", 1ms));
    std::thread holder([&] { m_pOne->Finish(claimed->m_Claim, {0}); });
    EXPECT_TRUE(m_pTwo->AwaitEnd("a", 1h));
    holder.join();
    EXPECT_TRUE(m_pTwo->AwaitEnd("never ordered", 1h));
}

TEST_F(PostgresBookTest, WhatHasLongEndedIsForgotten)
{
    m_pOne->Order(OrderOf("a"));
    m_pOne->Finish(m_pOne->Claim("a")->m_Claim, {0});
    m_pOne->Order(OrderOf("b"));
    m_pOne->Renew();
    EXPECT_TRUE(m_pOne->Find("a"));
    Asked("UPDATE nbi.collection SET ended_at = clock_timestamp() - interval '8 days' WHERE phase = 2");
    Asked("UPDATE nbi.server SET lease_until = clock_timestamp() - interval '8 days'");
    m_pTwo->Renew();
    EXPECT_FALSE(m_pOne->Find("a"));
    EXPECT_TRUE(m_pOne->Find("b"));
    EXPECT_EQ(Asked("SELECT count(*) FROM nbi.part"), "0");
    EXPECT_EQ(m_pOne->Servers().size(), 1u);
}

TEST(PostgresBookSettingsTest, SettingsWithoutSenseAreRefused)
{
    PostgresBookSettings settings;
    settings.m_Connection = "host=/nowhere";
    EXPECT_THROW(PostgresBook{settings}, std::invalid_argument) << "no name";
    settings.m_Server = "one";
    EXPECT_NO_THROW(PostgresBook{settings});
    settings.m_Fence = settings.m_Lease;
    EXPECT_THROW(PostgresBook{settings}, std::invalid_argument)
        << "a claim would be good for longer than its lease";
    settings.m_Fence = 1s;
    settings.m_Connection = "password=secret";
    EXPECT_THROW(PostgresBook{settings}, std::invalid_argument);
}

TEST_F(PostgresBookTest, ServerThatLeavesGivesBackWhatItHas)
{
    const auto pOne = BookOf("one");
    const auto pOther = BookOf("other");
    pOne->Order(OrderOf("a"));
    const auto claimed = pOne->Claim("");
    ASSERT_TRUE(claimed);
    pOne->Renew();
    pOne->Report(claimed->m_Claim, 4);
    pOne->Leave();
    EXPECT_EQ(pOne->StandingOf(claimed->m_Claim), Standing::LOST);
    EXPECT_TRUE(pOne->Servers().empty());
    EXPECT_EQ(pOne->Find("a")->m_Phase, CollectionPhase::WAITING);
    EXPECT_FALSE(pOne->Finish(claimed->m_Claim, {0})) << "it is nobody's";
    const auto next = pOther->Claim("");
    ASSERT_TRUE(next);
    EXPECT_EQ(next->m_nTaken, 4u);
    EXPECT_EQ(pOther->Find("a")->m_Parts.at(0).m_nTaken, 4u);
}

TEST_F(PostgresBookTest, ClaimThatIsAbandonedIsRenewedNoLonger)
{
    const auto pOne = BookOf("one");
    const auto pOther = BookOf("other");
    pOne->Order(OrderOf("a"));
    const auto claimed = pOne->Claim("");
    pOne->Abandon(claimed->m_Claim);
    EXPECT_EQ(pOne->StandingOf(claimed->m_Claim), Standing::LOST);
    EXPECT_FALSE(pOne->FindHeld("a"));
    EndLeases();
    pOne->Renew();
    EXPECT_TRUE(pOther->Claim(""));
}

TEST_F(PostgresBookTest, OrderSaysWhenNobodyCanTakeIt)
{
    const auto pOne = BookOf("one");
    pOne->Order(OrderOf("a", "ne=three,port=lo"));
    pOne->Order(OrderOf("b"));
    EXPECT_EQ(pOne->Find("a")->m_Note, "no server that reaches ne=three is there");
    EXPECT_EQ(pOne->Find("b")->m_Note, "no server that reaches ne=one is there") << "it has not renewed yet";
    pOne->SetAddress("192.0.2.1:7");
    pOne->Renew();
    EXPECT_EQ(pOne->Find("b")->m_Note, "");
    EXPECT_EQ(pOne->Servers().at(0).m_Address, "192.0.2.1:7");
    EXPECT_LT(pOne->Find("a")->m_nPlace, pOne->Find("b")->m_nPlace);
}

}  // namespace
}  // namespace northbound
