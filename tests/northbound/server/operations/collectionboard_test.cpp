#include "server/operations/collectionboard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace northbound {
namespace {

class CollectionBoardTest : public ::testing::Test {
protected:
    bool Enter(const std::string& operation, const std::string& dn = "port")
    {
        return m_Board.Enter(operation, {dn, "alice", 0, 5});
    }

    CollectionBoard m_Board;
};

TEST_F(CollectionBoardTest, OverallLimitIsKeptAndAPlaceIsFreeAgain)
{
    m_Board.SetLimits({2, 0});
    EXPECT_TRUE(Enter("a"));
    EXPECT_TRUE(Enter("b"));
    EXPECT_FALSE(Enter("c"));
    m_Board.Leave("a");
    EXPECT_TRUE(Enter("c"));
}

TEST_F(CollectionBoardTest, PortTakesOneMoreThanItsLimit)
{
    m_Board.SetLimits({100, 1});
    EXPECT_TRUE(Enter("a", "one"));
    EXPECT_TRUE(Enter("b", "one"));
    EXPECT_FALSE(Enter("c", "one"));
    EXPECT_TRUE(Enter("d", "other"));
    m_Board.Leave("a");
    EXPECT_TRUE(Enter("c", "one"));
}

TEST_F(CollectionBoardTest, ZeroIsNoneAtAllOverallAndNoLimitAtAPort)
{
    m_Board.SetLimits({0, 0});
    EXPECT_FALSE(Enter("a"));
    m_Board.SetLimits({50, 0});
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(Enter(std::to_string(i)));
    EXPECT_FALSE(Enter("one more"));
}

TEST_F(CollectionBoardTest, LimitThatIsLoweredLeavesWhatHasBegun)
{
    m_Board.SetLimits({3, 0});
    EXPECT_TRUE(Enter("a"));
    EXPECT_TRUE(Enter("b"));
    m_Board.SetLimits({1, 0});
    EXPECT_EQ(m_Board.Find("b").m_nPlanned, 5u);
    m_Board.Leave("a");
    EXPECT_FALSE(Enter("c"));
    m_Board.Leave("b");
    EXPECT_TRUE(Enter("c"));
}

TEST_F(CollectionBoardTest, ProgressIsThatOfTheOperation)
{
    m_Board.SetLimits({3, 0});
    Enter("a", "one");
    Enter("b", "two");
    m_Board.Step("b");
    m_Board.Step("none");
    EXPECT_EQ(m_Board.Find("a").m_nTaken, 0u);
    EXPECT_EQ(m_Board.Find("b").m_nTaken, 1u);
    EXPECT_EQ(m_Board.Find("b").m_Dn, "two");
    EXPECT_EQ(m_Board.Find("none").m_nPlanned, 0u);
}

TEST_F(CollectionBoardTest, CancellationIsThatOfTheOperation)
{
    m_Board.SetLimits({3, 0});
    Enter("a");
    Enter("b");
    m_Board.Cancel("b");
    m_Board.Cancel("none");
    EXPECT_FALSE(m_Board.Find("a").m_bCancelled);
    EXPECT_TRUE(m_Board.Find("b").m_bCancelled);
    EXPECT_FALSE(m_Board.Find("none").m_bCancelled);
}

TEST_F(CollectionBoardTest, WaitEndsWhenTheOperationLeaves)
{
    m_Board.SetLimits({3, 0});
    Enter("a");
    std::thread leaver([this] { m_Board.Leave("a"); });
    m_Board.AwaitLeave("a");
    EXPECT_EQ(m_Board.Find("a").m_nPlanned, 0u);
    leaver.join();
    m_Board.AwaitLeave("never entered");
}

/// Counting and entering are one step: of 64 that come at one instant exactly the limit gets in.
TEST_F(CollectionBoardTest, LimitIsExactHoweverManyComeAtOnce)
{
    constexpr int CLIENTS = 64;
    constexpr int LIMIT = 4;
    constexpr int ROUNDS = 100;
    m_Board.SetLimits({LIMIT, 0});
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
        for (int i = 0; i < CLIENTS; ++i) m_Board.Leave(std::to_string(i));
    }
}

}  // namespace
}  // namespace northbound
