#include "server/serving/logingate.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <set>
#include <string>

#include "nbihost/recordinghost.h"
#include "nbiutil/processexception.h"
#include "shared/ciphertext.h"
#include "shared/names.h"

namespace northbound {
namespace {

using Passage = LoginGate::Passage;
using std::chrono::minutes;
using std::chrono::seconds;

class LoginGateTest : public ::testing::Test {
protected:
    /// The detail of what \p step fails with; "" when it does not. Its code must be \p nCode.
    static std::string FailureOf(const std::function<void()>& step, unsigned int nCode = ErrCode::TRY_LATER)
    {
        try {
            step();
        } catch (const NS_UTIL::ProcessException& e) {
            EXPECT_EQ(e.GetErrorCode(), nCode) << e.GetDetail();
            return e.GetDetail();
        }
        return "";
    }

    std::string Try(const std::string& host)
    {
        return FailureOf([&] { const Passage passage(m_Gate, host); });
    }

    std::string Redeem(const std::string& challenge)
    {
        return FailureOf(
            [&] {
                Passage passage(m_Gate, "home");
                passage.Redeem(challenge);
                passage.Succeed();
            },
            ErrCode::NOT_LOGGED_IN);
    }

    nbitest::RecordingHost m_Host;
    LoginGate::Clock::time_point m_Now = LoginGate::Clock::now();
    std::chrono::milliseconds m_Paused{0};
    LoginGate m_Gate{[this] { return m_Now; }, [this](std::chrono::milliseconds time) { m_Paused += time; }};
};

TEST_F(LoginGateTest, ChallengesAreAllDifferent)
{
    std::set<std::string> challenges;
    for (int i = 0; i < 100; ++i) challenges.insert(m_Gate.Challenge());
    EXPECT_EQ(challenges.size(), 100u);
    for (const std::string& one : challenges) EXPECT_EQ(one.size(), LOGIN_CHALLENGE);
}

TEST_F(LoginGateTest, ChallengeIsGoodForOneLogin)
{
    const std::string challenge = m_Gate.Challenge();
    EXPECT_EQ(Redeem(challenge), "");
    EXPECT_EQ(Redeem(challenge), "the login was sent before");
    m_Now += seconds(60);
    EXPECT_EQ(Redeem(challenge), "the login was sent before") << "for as long as it would be fresh";
}

TEST_F(LoginGateTest, ChallengeThatIsOldForgedOrForeignIsRefused)
{
    const std::string refusal = "the login has no challenge of this server's, or an old one";
    const std::string old = m_Gate.Challenge();
    m_Now += seconds(62);
    EXPECT_EQ(Redeem(old), refusal);
    std::string forged = m_Gate.Challenge();
    forged[0] = forged[0] == '0' ? '1' : '0';
    EXPECT_EQ(Redeem(forged), refusal);
    EXPECT_EQ(Redeem(LoginGate().Challenge()), refusal);
    m_Now += minutes(1);
    EXPECT_EQ(Redeem(""), refusal);
}

TEST_F(LoginGateTest, ChallengeOfALoginThatFailedMayBeUsedAgain)
{
    const std::string challenge = m_Gate.Challenge();
    {
        Passage wrong(m_Gate, "home");
        wrong.Redeem(challenge);
    }
    EXPECT_EQ(Redeem(challenge), "");
}

TEST_F(LoginGateTest, TwoAreInsideAtOnce)
{
    Passage first(m_Gate, "a");
    first.Succeed();
    {
        Passage second(m_Gate, "b");
        second.Succeed();
        EXPECT_EQ(Try("c"), "try again in 1 s");
    }
    EXPECT_EQ(Try("c"), "");
}

TEST_F(LoginGateTest, WaitGrowsWithEachFailureOfAnAddressAlone)
{
    EXPECT_EQ(Try("a"), "");
    EXPECT_EQ(Try("a"), "");
    EXPECT_EQ(Try("a"), "") << "slips of the finger are free";
    for (const int nWait : {1, 2, 4, 8, 16, 32, 60, 60}) {
        EXPECT_EQ(Try("a"), "try again in " + std::to_string(nWait) + " s");
        EXPECT_EQ(Try("a"), "try again in " + std::to_string(nWait) + " s") << "asking costs nothing";
        EXPECT_EQ(Try("b" + std::to_string(nWait)), "");
        m_Now += seconds(nWait);
        EXPECT_EQ(Try("a"), "");
    }
}

/// A hundred of them at once would have the processors to themselves.
TEST_F(LoginGateTest, WhoComesAgainBeforeItsTimeIsHeldUpAMoment)
{
    for (int i = 0; i < 3; ++i) Try("a");
    EXPECT_NE(Try("a"), "");
    EXPECT_EQ(m_Paused.count(), 0) << "it is told at once";
    EXPECT_NE(Try("a"), "");
    EXPECT_EQ(m_Paused, LoginGate::PACE);
    EXPECT_NE(Try("a"), "");
    EXPECT_EQ(m_Paused, 2 * LoginGate::PACE);
    EXPECT_EQ(Try("b"), "");
    m_Now += seconds(1);
    EXPECT_EQ(Try("a"), "");
    EXPECT_NE(Try("a"), "");
    EXPECT_EQ(m_Paused, 2 * LoginGate::PACE) << "its new time is told at once, too";
}

TEST_F(LoginGateTest, SuccessAndTimeForgetTheFailures)
{
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Try("a"), "");
    m_Now += seconds(1);
    {
        Passage right(m_Gate, "a");
        right.Succeed();
    }
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Try("a"), "");
    EXPECT_NE(Try("a"), "");
    m_Now += minutes(15) + seconds(1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Try("a"), "");
    EXPECT_NE(Try("a"), "");
}

TEST_F(LoginGateTest, TableOfAddressesIsBounded)
{
    for (int i = 0; i < 3; ++i) Try("first");
    EXPECT_NE(Try("first"), "");
    for (std::size_t i = 0; i < LoginGate::MAX_ADDRESSES; ++i) {
        m_Now += std::chrono::microseconds(1);
        Try(std::to_string(i));
    }
    EXPECT_EQ(Try("first"), "") << "the oldest gave way";
}

}  // namespace
}  // namespace northbound
