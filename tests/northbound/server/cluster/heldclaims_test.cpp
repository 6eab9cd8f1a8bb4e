#include "server/cluster/heldclaims.h"

#include <gtest/gtest.h>

#include <chrono>

namespace northbound {
namespace {

using namespace std::chrono_literals;

class HeldClaimsTest : public ::testing::Test {
protected:
    void Hold(const std::string& operation, std::uint64_t nToken = 1)
    {
        m_Held.Add({{operation, nToken}, 0}, false, m_Now);
    }
    /// The book has renewed all of them, and was asked at \p when.
    void RenewAll(BootTime when)
    {
        std::vector<HeldClaims::Renewed> renewed;
        const std::vector<HeldClaims::Holding> all = m_Held.All();
        renewed.reserve(all.size());
        for (const HeldClaims::Holding& holding : all) renewed.push_back({holding.m_Claim});
        m_Held.Renew(all, renewed, when);
    }

    BootTime m_Now = 1h;
    HeldClaims m_Held{5s, [this] { return m_Now; }};
};

TEST_F(HeldClaimsTest, ClaimIsHeldUnderItsTokenAlone)
{
    Hold("a", 7);
    EXPECT_EQ(m_Held.StandingOf({"a", 7}), Standing::HELD);
    EXPECT_EQ(m_Held.StandingOf({"a", 6}), Standing::LOST);
    EXPECT_EQ(m_Held.StandingOf({"b", 7}), Standing::LOST);
    Hold("a", 8);
    EXPECT_EQ(m_Held.StandingOf({"a", 7}), Standing::LOST);
    m_Held.Remove({"a", 7});
    EXPECT_EQ(m_Held.StandingOf({"a", 8}), Standing::HELD);
    m_Held.Remove({"a", 8});
    EXPECT_EQ(m_Held.StandingOf({"a", 8}), Standing::LOST);
}

TEST_F(HeldClaimsTest, ClaimThatIsNotRenewedIsLostAtTheFence)
{
    Hold("a");
    m_Now += 4999ms;
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::HELD);
    m_Now += 1ms;
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::LOST);
}

/// A renewal that was long under way is worth only what is left of it.
TEST_F(HeldClaimsTest, TimeBeginsWhenTheBookWasAsked)
{
    Hold("a");
    const BootTime asked = m_Now + 2s;
    m_Now += 4s;
    RenewAll(asked);
    m_Now = asked + 4999ms;
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::HELD);
    m_Now = asked + 5s;
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::LOST);
}

TEST_F(HeldClaimsTest, LostIsForGoodThoughTheBookHasRenewedIt)
{
    Hold("a");
    const std::vector<HeldClaims::Holding> all = m_Held.All();
    m_Now += 5s;
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::LOST);
    m_Held.Renew(all, {{{"a", 1}}}, m_Now);
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::LOST);
    EXPECT_TRUE(m_Held.All().empty()) << "nobody renews it again";
}

TEST_F(HeldClaimsTest, WhatTheBookDoesNotRenewIsLostAtOnce)
{
    Hold("a");
    Hold("b");
    const std::vector<HeldClaims::Holding> asked = m_Held.All();
    Hold("c");  // claimed while the renewal was under way
    m_Held.Renew(asked, {{{"a", 2}}, {{"b", 1}, true}}, m_Now);
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::LOST);
    EXPECT_EQ(m_Held.StandingOf({"b", 1}), Standing::CANCELLED);
    EXPECT_EQ(m_Held.StandingOf({"c", 1}), Standing::HELD);
}

TEST_F(HeldClaimsTest, ReportsAreThoseOfTheHolder)
{
    Hold("a", 2);
    m_Held.Report({"a", 2}, 5);
    m_Held.Report({"a", 1}, 9);
    EXPECT_EQ(m_Held.Taken({"a", 2}), 5u);
    EXPECT_EQ(m_Held.All().at(0).m_nTaken, 5u);
}

TEST_F(HeldClaimsTest, TimeOfTheMachineGoesOn)
{
    const BootTime before = BootTimeNow();
    EXPECT_GE(BootTimeNow(), before);
    EXPECT_GT(before.count(), 0);
}

TEST_F(HeldClaimsTest, WhatIsHeldIsKnownWithoutTheEngine)
{
    m_Held.Add({{"a", 1}, 3, {"a", "ne=x,port=lo", "alice", 10, 90}}, false, m_Now);
    m_Held.Report({"a", 1}, 4);
    const auto state = m_Held.Find("a");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->m_Order.m_User, "alice");
    EXPECT_EQ(state->m_nTaken, 4u);
    EXPECT_EQ(state->m_Phase, CollectionPhase::RUNNING);
    EXPECT_FALSE(m_Held.Find("b"));
}

/// A renewal that was under way meanwhile knows nothing of it.
TEST_F(HeldClaimsTest, CancellationIsForGood)
{
    Hold("a");
    m_Held.Cancel("a");
    m_Held.Cancel("none");
    RenewAll(m_Now);
    EXPECT_EQ(m_Held.StandingOf({"a", 1}), Standing::CANCELLED);
}

}  // namespace
}  // namespace northbound
