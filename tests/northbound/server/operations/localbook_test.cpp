#include "server/operations/localbook.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace northbound {
namespace {

class LocalBookTest : public ::testing::Test {
protected:
    bool Enter(const std::string& operation, const std::string& dn = "port")
    {
        return m_Book.Order({operation, dn, "alice", 1000, 4000}) == OrderAnswer::ACCEPTED &&
               m_Book.Claim(operation).has_value();
    }
    void Leave(const std::string& operation) { EXPECT_TRUE(m_Book.Finish({operation, 1}, {})); }
    unsigned int Taken(const std::string& operation) { return m_Book.Find(operation)->m_nTaken; }

    LocalBook m_Book;
};

TEST_F(LocalBookTest, OverallLimitIsKeptAndAPlaceIsFreeAgain)
{
    m_Book.SetLimits({2, 0});
    EXPECT_TRUE(Enter("a"));
    EXPECT_TRUE(Enter("b"));
    EXPECT_FALSE(Enter("c"));
    Leave("a");
    EXPECT_TRUE(Enter("c"));
}

TEST_F(LocalBookTest, PortTakesOneMoreThanItsLimit)
{
    m_Book.SetLimits({100, 1});
    EXPECT_TRUE(Enter("a", "one"));
    EXPECT_TRUE(Enter("b", "one"));
    EXPECT_FALSE(Enter("c", "one"));
    EXPECT_TRUE(Enter("d", "other"));
    Leave("a");
    EXPECT_TRUE(Enter("c", "one"));
}

TEST_F(LocalBookTest, ZeroIsNoneAtAllOverallAndNoLimitAtAPort)
{
    m_Book.SetLimits({0, 0});
    EXPECT_FALSE(Enter("a"));
    m_Book.SetLimits({50, 0});
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(Enter(std::to_string(i)));
    EXPECT_FALSE(Enter("one more"));
}

TEST_F(LocalBookTest, LimitThatIsLoweredLeavesWhatHasBegun)
{
    m_Book.SetLimits({3, 0});
    EXPECT_TRUE(Enter("a"));
    EXPECT_TRUE(Enter("b"));
    m_Book.SetLimits({1, 0});
    EXPECT_EQ(m_Book.Find("b")->m_Order.Samples(), 5u);
    Leave("a");
    EXPECT_FALSE(Enter("c"));
    Leave("b");
    EXPECT_TRUE(Enter("c"));
}

TEST_F(LocalBookTest, ProgressIsThatOfTheOperation)
{
    m_Book.SetLimits({3, 0});
    Enter("a", "one");
    Enter("b", "two");
    m_Book.Report({"b", 1}, 1);
    m_Book.Report({"none", 1}, 1);
    EXPECT_EQ(Taken("a"), 0u);
    EXPECT_EQ(Taken("b"), 1u);
    EXPECT_EQ(m_Book.Find("b")->m_Order.m_Dn, "two");
    EXPECT_FALSE(m_Book.Find("none"));
}

TEST_F(LocalBookTest, CancellationIsThatOfTheOperation)
{
    m_Book.SetLimits({3, 0});
    Enter("a");
    Enter("b");
    m_Book.Cancel("b");
    m_Book.Cancel("none");
    EXPECT_EQ(m_Book.StandingOf({"a", 1}), Standing::HELD);
    EXPECT_EQ(m_Book.StandingOf({"b", 1}), Standing::CANCELLED);
    EXPECT_EQ(m_Book.StandingOf({"none", 1}), Standing::LOST);
}

TEST_F(LocalBookTest, OrderThatIsSentTwiceIsKnownAndCountsOnce)
{
    m_Book.SetLimits({2, 0});
    EXPECT_EQ(m_Book.Order({"a", "port", "alice"}), OrderAnswer::ACCEPTED);
    EXPECT_EQ(m_Book.Order({"a", "port", "alice"}), OrderAnswer::KNOWN);
    EXPECT_EQ(m_Book.Order({"b", "port", "alice"}), OrderAnswer::ACCEPTED);
    EXPECT_EQ(m_Book.Order({"a", "port", "alice"}), OrderAnswer::KNOWN) << "also when the book is full";
    EXPECT_EQ(m_Book.Order({"c", "port", "alice"}), OrderAnswer::FULL);
}

TEST_F(LocalBookTest, OldestThatWaitsIsClaimedFirstAndOnlyOnce)
{
    m_Book.SetLimits({3, 0});
    m_Book.Order({"z", "port", "alice", 10, 20});
    m_Book.Order({"a", "port", "alice"});
    const auto claimed = m_Book.Claim("");
    ASSERT_TRUE(claimed);
    EXPECT_EQ(claimed->m_Claim.m_Operation, "z");
    EXPECT_EQ(claimed->m_Order.Samples(), 3u);
    EXPECT_FALSE(m_Book.Claim("z"));
    EXPECT_EQ(m_Book.Claim("")->m_Claim.m_Operation, "a");
    EXPECT_FALSE(m_Book.Claim(""));
    EXPECT_EQ(m_Book.Collections().front().m_Order.m_Operation, "z");
    EXPECT_EQ(m_Book.Collections().size(), 2u);
}

TEST_F(LocalBookTest, OnlyTheHoldersTokenWrites)
{
    m_Book.SetLimits({3, 0});
    m_Book.Order({"a", "port", "alice"});
    EXPECT_FALSE(m_Book.Finish({"a", 1}, {})) << "nobody holds it yet";
    m_Book.Claim("a");
    m_Book.Report({"a", 2}, 7);
    EXPECT_EQ(Taken("a"), 0u);
    EXPECT_EQ(m_Book.StandingOf({"a", 2}), Standing::LOST);
    EXPECT_FALSE(m_Book.Finish({"a", 2}, {}));
    EXPECT_TRUE(m_Book.Finish({"a", 1}, {}));
}

TEST_F(LocalBookTest, CancelledOrderThatNobodyHoldsEndsAtOnce)
{
    m_Book.SetLimits({1, 0});
    m_Book.Order({"a", "port", "alice"});
    m_Book.Cancel("a");
    EXPECT_FALSE(m_Book.Find("a"));
    EXPECT_TRUE(Enter("b"));
}

TEST_F(LocalBookTest, TrueEndIsKeptAndTheOldestMakesRoom)
{
    m_Book.SetLimits({1, 0});
    const auto finish = [this](const std::string& operation) {
        EXPECT_TRUE(Enter(operation));
        EXPECT_TRUE(m_Book.Finish({operation, 1}, {0, "", "file of " + operation}));
    };
    finish("a");
    const auto state = m_Book.Find("a");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->m_Phase, CollectionPhase::ENDED);
    EXPECT_EQ(state->m_End.m_File, "file of a");
    EXPECT_EQ(m_Book.Order({"a", "port", "alice"}), OrderAnswer::KNOWN);
    EXPECT_TRUE(m_Book.AwaitEnd("a", std::chrono::hours(1)));
    EXPECT_TRUE(m_Book.Collections().empty());
    for (std::size_t i = 1; i < LocalBook::MOST_ENDED; ++i) finish(std::to_string(i));
    EXPECT_TRUE(m_Book.Find("a"));
    finish("z");
    EXPECT_FALSE(m_Book.Find("a"));
    EXPECT_TRUE(m_Book.Find("1"));
}

TEST_F(LocalBookTest, WaitEndsWithTheCollection)
{
    using std::chrono::hours;
    m_Book.SetLimits({3, 0});
    Enter("a");
    EXPECT_FALSE(m_Book.AwaitEnd("a", std::chrono::milliseconds(1)));
    std::thread leaver([this] { Leave("a"); });
    EXPECT_TRUE(m_Book.AwaitEnd("a", hours(1)));
    EXPECT_FALSE(m_Book.Find("a"));
    leaver.join();
    EXPECT_TRUE(m_Book.AwaitEnd("never ordered", hours(1)));
}

/// Counting and entering are one step: of 64 that come at one instant exactly the limit gets in.
TEST_F(LocalBookTest, LimitIsExactHoweverManyComeAtOnce)
{
    constexpr int CLIENTS = 64;
    constexpr int LIMIT = 4;
    constexpr int ROUNDS = 100;
    m_Book.SetLimits({LIMIT, 0});
    for (int nRound = 0; nRound < ROUNDS; ++nRound) {
        std::atomic<bool> bGo{false};
        std::atomic<int> nEntered{0};
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (int i = 0; i < CLIENTS; ++i) {
            clients.emplace_back([&, i] {
                while (!bGo) std::this_thread::yield();
                if (Enter(std::to_string(i))) ++nEntered;
            });
        }
        bGo = true;
        for (std::thread& client : clients) client.join();
        ASSERT_EQ(nEntered, LIMIT) << "round " << nRound;
        for (int i = 0; i < CLIENTS; ++i) m_Book.Finish({std::to_string(i), 1}, {});
    }
}

}  // namespace
}  // namespace northbound
