// The limits of collections with clients that come through the ORB.
#include <gtest/gtest.h>

#include <atomic>
#include <list>
#include <string>

#include "client/corba/collections.h"
#include "nbiutil/errcode.h"
#include "northbound/elementtree.h"
#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr unsigned int CLIENTS = 16;
constexpr unsigned int LIMIT = 3;

unsigned int Refused(const std::list<Collection>& collections, unsigned int nCode)
{
    unsigned int nCount = 0;
    for (const Collection& one : collections) {
        if (one.IsOver() && one.Refusal() != nullptr && one.Refusal()->code == nCode) ++nCount;
    }
    return nCount;
}

TEST(LimitsTest, OverallLimitIsExactInEachRound)
{
    const ElementTree tree;
    Server server("HugeTaskLimit = 3\nCollectionsPerPort = 0\nElementRoot = " + tree.Root() + "\n");
    const Session session(server.Address(), "alice");
    for (int nRound = 0; nRound < 10; ++nRound) {
        tree.Show({"p0"});
        std::list<Collection> collections;
        for (unsigned int i = 0; i < CLIENTS; ++i) {
            collections.emplace_back(session, Order(10, 10 * MINUTE, ElementTree::DnOf("p0")), MINUTE);
        }
        EXPECT_TRUE(Eventually([&] {
            return Refused(collections, NS_UTIL::ErrCode::HUGE_TASK_LIMIT) + TasksListed(session) == CLIENTS;
        }));
        tree.Show({});
        for (const Collection& one : collections) ASSERT_TRUE(Eventually([&one] { return one.IsOver(); }));
        ASSERT_EQ(Refused(collections, ErrCode::UNKNOWN_OBJECT), LIMIT) << "round " << nRound;
        ASSERT_EQ(Refused(collections, NS_UTIL::ErrCode::HUGE_TASK_LIMIT), CLIENTS - LIMIT);
    }
    StopInOrder(server);
}

}  // namespace
}  // namespace northbound
