// Inventory and counters of a server in a process of its own.
#include <gtest/gtest.h>

#include <string>

#include "northbound/programs/requests.h"
#include "shared/names.h"

namespace northbound {
namespace {

TEST(InventoryTest, InventoryNamesTheMachinesPortsWithStateAddressesAndCounters)
{
    const Server server;
    const Session session(server.Address(), "alice");
    const Northbound::PortList_var ports = AllPorts(session);
    bool bFound = false;
    for (CORBA::ULong i = 0; i < ports->length(); ++i) {
        const Northbound::Port& port = ports.in()[i];
        if (std::string(port.name.in()) != "lo") continue;
        bFound = true;
        EXPECT_EQ(port.dn.in(), Loopback());
        EXPECT_STREQ(port.state.in(), "up");
        ASSERT_GT(port.addresses.length(), 0u);
        EXPECT_STREQ(port.addresses[0].in(), "127.0.0.1/8");
        EXPECT_GT(port.mtu, 0u);
        EXPECT_GT(FigureOf(port.counting, "rxPackets"), 0u);  // this very conversation
    }
    EXPECT_TRUE(bFound);
}

TEST(InventoryTest, CountersOfOnePortGrowWithItsTraffic)
{
    const Server server;
    const Session session(server.Address(), "alice");
    const std::string dn = Loopback();
    const Northbound::Reading_var first = session.Server()->ReadCounters(session.Who(), dn.c_str());
    const Northbound::Reading_var second = session.Server()->ReadCounters(session.Who(), dn.c_str());
    EXPECT_EQ(first.in().dn.in(), dn);
    EXPECT_GT(FigureOf(second.in().counting, "rxBytes"), FigureOf(first.in().counting, "rxBytes"));
    EXPECT_LE(std::string(first.in().takenAt.in()), second.in().takenAt.in());
}

TEST(InventoryTest, RequestsThatCannotBeCarriedOutFailWithCodeAndDetail)
{
    Server server;
    const Session session(server.Address(), "alice");
    const auto unknown = FailureOf([&] { ReadCounters(session, session.Who(), "ne=x,port=y"); });
    EXPECT_EQ(unknown.code, ErrCode::UNKNOWN_OBJECT);
    EXPECT_STREQ(unknown.detail.in(), "there is no managed object \"ne=x,port=y\"");

    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 100, "ne=x,port=y")); }).code,
              ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(0, 100)); }).code, ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(9, 100)); }).code, ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 99)); }).code, ErrCode::BAD_ARGUMENT);
    EXPECT_EQ(FailureOf([&] { Collect(session, Order(100, 24 * 60 * MINUTE + 1)); }).code,
              ErrCode::BAD_ARGUMENT);

    const Northbound::Caller longName = CallerOf(std::string(65, 'x'));
    EXPECT_EQ(FailureOf([&] { session.Server()->Stop(longName); }).code, ErrCode::BAD_ARGUMENT);
    StopInOrder(server);
}

}  // namespace
}  // namespace northbound
