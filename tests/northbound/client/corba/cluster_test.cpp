#include "client/corba/cluster.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "client/corba/orders.h"

namespace northbound {
namespace {

Northbound::ServerList Servers(unsigned int nServers)
{
    Northbound::ServerList servers;
    servers.length(nServers);
    for (CORBA::ULong i = 0; i < nServers; ++i) {
        servers[i].name = std::to_string(i).c_str();
        servers[i].address = ("127.0.0.1:" + std::to_string(i)).c_str();
        servers[i].load = 0;
        servers[i].lease = 6000;
    }
    return servers;
}

TEST(ByLoadTest, ServerWithTheLeastToDoComesFirstAndOneThatIsGoneLast)
{
    Northbound::ServerList servers = Servers(3);
    servers[0].lease = -1;
    servers[1].load = 7;
    servers[2].load = 2;
    const std::vector<Neighbour> order = ByLoad(servers);
    ASSERT_EQ(order.size(), 3u);
    EXPECT_EQ(order[0].m_Name + order[1].m_Name + order[2].m_Name, "210");
    EXPECT_EQ(order[0].m_Address, "127.0.0.1:2");
}

TEST(ByLoadTest, AmongEqualsChanceDecides)
{
    const Northbound::ServerList servers = Servers(4);
    std::set<std::string> firsts;
    for (int i = 0; i < 1000 && firsts.size() < 4; ++i) firsts.insert(ByLoad(servers)[0].m_Name);
    EXPECT_EQ(firsts.size(), 4u);
}

TEST(ByLoadTest, ListOfAHostileServerIsBounded)
{
    EXPECT_EQ(ByLoad(Servers(5000)).size(), 100u);
    EXPECT_TRUE(ByLoad(Servers(0)).empty());
}

TEST(NewOperationTest, IsAUuidOfItsOwn)
{
    std::set<std::string> operations;
    for (int i = 0; i < 100; ++i) {
        const std::string operation = NewOperation();
        operations.insert(operation);
        ASSERT_EQ(operation.size(), 36u);
        EXPECT_EQ(operation.find_first_not_of("0123456789abcdef-"), std::string::npos);
        EXPECT_EQ(operation[8], '-');
        EXPECT_EQ(operation[14], '4');
        EXPECT_NE(std::string("89ab").find(operation[19]), std::string::npos);
    }
    EXPECT_EQ(operations.size(), 100u);
}

}  // namespace
}  // namespace northbound
