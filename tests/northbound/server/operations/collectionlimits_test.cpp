// The limits of collections, to the number, with many clients at once.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "nbiutil/errcode.h"
#include "northbound/elementtree.h"
#include "northbound/server/operations/inprocess.h"
#include "shared/names.h"
#include "support/eventually.h"

namespace northbound {
namespace {

constexpr unsigned int CLIENTS = 64;
constexpr unsigned int INTERVAL = 10;     // milliseconds
constexpr unsigned int DURATION = 60000;  // milliseconds; each is ended before

class CollectionLimitsTest : public ::testing::Test {
protected:
    void Start(const std::string& limits)
    {
        m_pServer = std::make_unique<InProcessServer>("ElementRoot = " + m_Tree.Root() + "\n" + limits);
    }

    unsigned int Running()
    {
        const auto outcome = m_pServer->Ask<HugeTasks>({});
        return static_cast<unsigned int>(std::get<HugeTasks::Result>(outcome).m_Items.size());
    }

    /// Orders a collection from each client at once, spread over \p ports; those that run end when their ports go.
    void ExpectRunning(unsigned int nWanted, const std::vector<std::string>& ports)
    {
        m_Tree.Show(ports);
        std::atomic<unsigned int> nRefused{0};
        std::atomic<unsigned int> nRan{0};
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (unsigned int i = 0; i < CLIENTS; ++i) {
            clients.emplace_back([&, dn = ElementTree::DnOf(ports[i % ports.size()])] {
                const unsigned int nCode = CodeOf(m_pServer->Ask<Collect>({dn, INTERVAL, DURATION}));
                if (nCode == NS_UTIL::ErrCode::HUGE_TASK_LIMIT) ++nRefused;
                if (nCode == ErrCode::UNKNOWN_OBJECT) ++nRan;
            });
        }
        EXPECT_TRUE(nbitest::Eventually([&] { return nRefused + Running() == CLIENTS; }));
        EXPECT_EQ(Running(), nWanted);
        m_Tree.Show({});
        for (std::thread& client : clients) client.join();
        EXPECT_EQ(nRan, nWanted);
        EXPECT_EQ(nRefused, CLIENTS - nWanted);
    }

    void ExpectRunningInEachRound(unsigned int nWanted, const std::vector<std::string>& ports)
    {
        for (int nRound = 0; nRound < 100 && !HasFailure(); ++nRound) {
            SCOPED_TRACE("round " + std::to_string(nRound));
            ExpectRunning(nWanted, ports);
        }
    }

    ElementTree m_Tree;
    std::unique_ptr<InProcessServer> m_pServer;
};

TEST_F(CollectionLimitsTest, AsManyRunAsTheOverallLimitSays)
{
    Start("HugeTaskLimit = 4\nCollectionsPerPort = 0\n");
    ExpectRunningInEachRound(4, {"p0"});
}

TEST_F(CollectionLimitsTest, EachPortRunsOneMoreThanItsLimit)
{
    Start("HugeTaskLimit = 1000\nCollectionsPerPort = 2\n");
    ExpectRunningInEachRound(4 * (2 + 1), {"p0", "p1", "p2", "p3"});
}

TEST_F(CollectionLimitsTest, BothLimitsHoldTogether)
{
    Start("HugeTaskLimit = 5\nCollectionsPerPort = 3\n");
    ExpectRunningInEachRound(5, {"p0", "p1"});
}

TEST_F(CollectionLimitsTest, LimitThatIsSetHoldsForTheNextOrders)
{
    Start("HugeTaskLimit = 2\nCollectionsPerPort = 0\n");
    ExpectRunning(2, {"p0"});
    ASSERT_EQ(CodeOf(m_pServer->Ask<SetItem>({"HugeTaskLimit", "6"})), 0u);
    ExpectRunning(6, {"p0"});
    ASSERT_EQ(CodeOf(m_pServer->Ask<SetItem>({"CollectionsPerPort", "1"})), 0u);
    ExpectRunning(2, {"p0"});
}

TEST_F(CollectionLimitsTest, PlaceIsFreeWhenTheAnswerIsThere)
{
    Start("HugeTaskLimit = 1\n");
    m_Tree.Show({"p0"});
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(CodeOf(m_pServer->Ask<Collect>({ElementTree::DnOf("p0"), INTERVAL, INTERVAL})), 0u) << i;
    }
}

}  // namespace
}  // namespace northbound
