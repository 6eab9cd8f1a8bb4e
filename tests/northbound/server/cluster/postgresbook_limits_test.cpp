// The limits hold over all servers, to the number.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "northbound/server/cluster/booktesting.h"

namespace northbound {
namespace {

class PostgresBookLimitsTest : public SharedBookTest {
protected:
    static constexpr int CLIENTS = 64;
    static constexpr int ROUNDS = 10;

    void SetUp() override
    {
        SharedBookTest::SetUp();
        if (IsSkipped()) return;
        for (const char* const pServer : {"one", "two", "three"}) m_Books.push_back(BookOf(pServer));
    }

    void SetLimits(const CollectionLimits& limits)
    {
        for (const auto& pBook : m_Books) pBook->SetLimits(limits);
    }

    /// \return how many of 64 clients at one instant were let in, in each round. Every round's places are free again.
    std::vector<int> AcceptedInRounds()
    {
        std::vector<int> accepted;
        for (int nRound = 0; nRound < ROUNDS; ++nRound) {
            accepted.push_back(AcceptedAtOnce(nRound));
            while (const auto claimed = m_Books[0]->Claim("")) m_Books[0]->Finish(claimed->m_Claim, {0});
        }
        return accepted;
    }

    std::vector<std::unique_ptr<PostgresBook>> m_Books;

private:
    int AcceptedAtOnce(int nRound)
    {
        std::promise<void> start;
        const std::shared_future<void> started = start.get_future().share();
        std::atomic<int> nAccepted{0};
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (int i = 0; i < CLIENTS; ++i) {
            clients.emplace_back([&, i] {
                started.wait();
                const std::string operation = std::to_string(nRound) + "-" + std::to_string(i);
                PostgresBook& book = *m_Books[static_cast<std::size_t>(i) % m_Books.size()];
                if (book.Order(OrderOf(operation)) == OrderAnswer::ACCEPTED) ++nAccepted;
            });
        }
        start.set_value();
        for (std::thread& client : clients) client.join();
        return nAccepted;
    }
};

TEST_F(PostgresBookLimitsTest, OverallLimitIsExactInEveryRound)
{
    SetLimits({4, 0});
    EXPECT_EQ(AcceptedInRounds(), std::vector<int>(ROUNDS, 4));
}

TEST_F(PostgresBookLimitsTest, PortTakesOneMoreThanItsLimitInEveryRound)
{
    SetLimits({100, 3});
    EXPECT_EQ(AcceptedInRounds(), std::vector<int>(ROUNDS, 4));
}

TEST_F(PostgresBookLimitsTest, ZeroIsNoneAtAllOverallAndOtherPortsHaveTheirOwnPlaces)
{
    SetLimits({0, 0});
    EXPECT_EQ(m_Books[0]->Order(OrderOf("a")), OrderAnswer::FULL);
    SetLimits({3, 1});
    EXPECT_EQ(m_Books[0]->Order(OrderOf("a")), OrderAnswer::ACCEPTED);
    EXPECT_EQ(m_Books[1]->Order(OrderOf("b")), OrderAnswer::ACCEPTED);
    EXPECT_EQ(m_Books[2]->Order(OrderOf("c")), OrderAnswer::FULL) << "at this port";
    EXPECT_EQ(m_Books[2]->Order(OrderOf("c", "ne=one,port=eth0")), OrderAnswer::ACCEPTED);
    EXPECT_EQ(m_Books[2]->Order(OrderOf("d", "ne=one,port=eth1")), OrderAnswer::FULL) << "on the whole";
    EXPECT_EQ(m_Books[1]->Order(OrderOf("a")), OrderAnswer::KNOWN) << "also when the book is full";
    m_Books[0]->Cancel("a");
    EXPECT_EQ(m_Books[2]->Order(OrderOf("e")), OrderAnswer::ACCEPTED);
}

/// Many free workers of several servers: each collection is one server's.
TEST_F(PostgresBookLimitsTest, CollectionsAreClaimedOnceEachHoweverManyServersAsk)
{
    constexpr int COLLECTIONS = 60;
    for (int i = 0; i < COLLECTIONS; ++i) m_Books[0]->Order(OrderOf("operation " + std::to_string(i)));
    std::vector<std::vector<std::string>> claimed(12);
    std::vector<std::thread> workers;
    workers.reserve(claimed.size());
    for (std::size_t i = 0; i < claimed.size(); ++i) {
        workers.emplace_back([&, i] {
            // A worker that finds every row locked looks again, as one that has nothing to do does.
            while (!m_Books[0]->Collections().empty()) {
                const auto one = m_Books[i % m_Books.size()]->Claim("");
                if (!one) continue;
                claimed[i].push_back(one->m_Claim.m_Operation + (one->m_Claim.m_nToken == 1 ? "" : " again"));
                m_Books[i % m_Books.size()]->Finish(one->m_Claim, {0});
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    std::vector<std::string> all;
    for (const auto& some : claimed) all.insert(all.end(), some.begin(), some.end());
    EXPECT_EQ(all.size(), static_cast<std::size_t>(COLLECTIONS));
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end());
    for (const std::string& one : all) EXPECT_EQ(one.find("again"), std::string::npos);
}

}  // namespace
}  // namespace northbound
