#include "server/figures/machine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "nbiutil/processexception.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

constexpr const char* TABLE =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo "
    "colls\n"
    "    lo: 1 2 3 4 5 6 7 8 11 12 13 14 15 16 17 18\n"
    "port9:18446744073709551615 2 0 0 0 0 0 0 1 2 0 0 0 0 0 0\n";

class MachineTest : public ::testing::Test {
protected:
    void SetUp() override { Write("dev", TABLE); }

    void Write(const std::string& name, const std::string& text) const { m_Directory.Add(name, text); }

    unsigned int CodeOf(const std::function<void()>& body) const
    {
        try {
            body();
        } catch (NS_UTIL::ProcessException& e) {
            return e.GetErrorCode();
        }
        return 0;
    }

    const nbitest::TestDirectory m_Directory;
    const Machine m_Machine{m_Directory / "dev", m_Directory / "net"};
};

TEST_F(MachineTest, DistinguishedNameNamesHostAndPort)
{
    char host[256] = {};
    ASSERT_EQ(gethostname(host, sizeof(host) - 1), 0);
    EXPECT_EQ(m_Machine.DistinguishedName("lo"), "ne=" + std::string(host) + ",port=lo");
    EXPECT_EQ(m_Machine.PortOf(m_Machine.DistinguishedName("lo")), "lo");
}

TEST_F(MachineTest, NameOfNoPortIsUnknown)
{
    const std::vector<std::string> names = {"",
                                            "lo",
                                            "ne=elsewhere.invalid,port=lo",
                                            m_Machine.DistinguishedName(""),
                                            m_Machine.DistinguishedName("lo "),
                                            m_Machine.DistinguishedName("../lo")};
    for (const std::string& name : names) {
        EXPECT_EQ(CodeOf([&] { m_Machine.PortOf(name); }), ErrCode::UNKNOWN_OBJECT) << name;
    }
    EXPECT_EQ(CodeOf([&] { m_Machine.Require("gone"); }), ErrCode::UNKNOWN_OBJECT);
    EXPECT_EQ(CodeOf([&] { m_Machine.Require("lo"); }), 0u);
}

TEST_F(MachineTest, TableThatCannotBeReadIsAFailureThatNamesIt)
{
    const Machine machine("/nowhere/dev", "/nowhere/net");
    try {
        machine.Inventory();
        FAIL();
    } catch (NS_UTIL::ProcessException& e) {
        EXPECT_EQ(e.GetErrorCode(), ErrCode::NO_FIGURES);
        EXPECT_NE(e.ErrorInfoStream().str().find("/nowhere/dev"), std::string::npos);
    }
}

TEST_F(MachineTest, InventoryAddsWhatTheKernelTellsBesideTheCounters)
{
    Write("net/port9/operstate", "lowerlayerdown\n");
    Write("net/port9/mtu", "1500\n");
    Write("net/port9/address", "02:00:00:00:00:01\n");
    Write("net/port9/speed", "10000\n");
    const std::vector<PortFacts> ports = m_Machine.Inventory();
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0].m_Name, "lo");
    EXPECT_EQ(ports[1].m_Name, "port9");
    EXPECT_EQ(ports[1].m_State, "lowerlayerdown");
    EXPECT_EQ(ports[1].m_nMtu, 1500u);
    EXPECT_EQ(ports[1].m_HardwareAddress, "02:00:00:00:00:01");
    EXPECT_EQ(ports[1].m_nSpeed, 10000);
}

TEST_F(MachineTest, PortOfWhichTheKernelTellsNothingIsDownWithoutSpeed)
{
    const PortFacts port = m_Machine.Inventory()[1];
    EXPECT_EQ(port.m_State, "down");
    EXPECT_EQ(port.m_nMtu, 0u);
    EXPECT_EQ(port.m_nSpeed, -1);
    EXPECT_TRUE(port.m_HardwareAddress.empty());
    EXPECT_TRUE(port.m_Addresses.empty());
}

TEST(MachineOnThisHost, LoopbackIsUpAndHasItsAddress)
{
    for (const PortFacts& port : Machine().Inventory()) {
        if (port.m_Name != "lo") continue;
        EXPECT_EQ(port.m_State, "up");
        ASSERT_FALSE(port.m_Addresses.empty());
        EXPECT_EQ(port.m_Addresses[0], "127.0.0.1/8");
        return;
    }
    FAIL() << "no loopback interface";
}

}  // namespace
}  // namespace northbound
