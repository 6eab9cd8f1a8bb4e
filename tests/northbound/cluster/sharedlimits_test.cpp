// Both limits hold over all servers, to the number.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "nbiutil/errcode.h"
#include "northbound/cluster/cluster.h"

namespace northbound {
namespace {

constexpr unsigned int CLIENTS = 64;
constexpr unsigned int HOUR = 60 * MINUTE;

class SharedLimitsTest : public ClusterTest {
protected:
    /// Orders one collection from each client at once, spread over the servers and \p nPorts ports.
    void ExpectAccepted(unsigned int nWanted, unsigned int nPorts)
    {
        const std::vector<std::string> names = {"a", "b", "c"};
        std::atomic<unsigned int> nAccepted{0};
        std::atomic<unsigned int> nRefused{0};
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (unsigned int i = 0; i < CLIENTS; ++i) {
            clients.emplace_back([&, i] {
                const std::string& name = names[i % names.size()];
                const std::string dn = "ne=one,port=p" + std::to_string(i % nPorts);
                const std::string operation = OperationOf(++m_nOrders);
                // A call that finds no free connection in time is sent again, under its name.
                unsigned int nCode = ErrCode::BOOK_AWAY;
                while (nCode == ErrCode::BOOK_AWAY) {
                    nCode = FailureOf([&] {
                                At(name)->Order(Who(name), operation.c_str(),
                                                northbound::Order(HOUR, 2 * HOUR, dn));
                            }).code;
                }
                if (nCode == 0) ++nAccepted;
                if (nCode == NS_UTIL::ErrCode::HUGE_TASK_LIMIT) ++nRefused;
            });
        }
        for (std::thread& client : clients) client.join();
        EXPECT_EQ(nAccepted, nWanted);
        EXPECT_EQ(nRefused, CLIENTS - nWanted);
        EXPECT_EQ(Asked("SELECT count(*) FROM nbi.collection WHERE phase < 2"), std::to_string(nWanted));
        Asked("DELETE FROM nbi.collection");
    }
    void StartAll(const std::string& limits)
    {
        // They reach nothing of what is ordered, so that only limits count.
        for (const std::string name : {"a", "b", "c"}) Start(name, {"elsewhere", limits});
    }

    std::atomic<int> m_nOrders{0};
};

TEST_F(SharedLimitsTest, OverallLimitHoldsOverAllServers)
{
    StartAll("HugeTaskLimit = 4\nCollectionsPerPort = 0\n");
    for (int i = 0; i < Rounds(10) && !HasFailure(); ++i) ExpectAccepted(4, 3);
}

TEST_F(SharedLimitsTest, EachPortTakesOneMoreThanItsLimitOverAllServers)
{
    StartAll("HugeTaskLimit = 1000\nCollectionsPerPort = 3\n");
    for (int i = 0; i < Rounds(10) && !HasFailure(); ++i) ExpectAccepted(3 * (3 + 1), 3);
}

}  // namespace
}  // namespace northbound
