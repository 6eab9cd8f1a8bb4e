#include "server/figures/machine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "nbiutil/processexception.h"
#include "shared/names.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

constexpr const char* DEVICES =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs drop fifo "
    "colls\n"
    "    lo: 1 2 3 4 5 6 7 8 11 12 13 14 15 16 17 18\n"
    "port9:18446744073709551615 2 0 0 0 0 0 0 1 2 0 0 0 0 0 0\n";

class MachineTest : public ::testing::Test {
protected:
    void SetUp() override { Write("dev", DEVICES); }

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
                                            "lo:",
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
        machine.Ports("", 1);
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
    const PortFacts port = m_Machine.Facts("port9", {});
    EXPECT_EQ(port.m_Name, "port9");
    EXPECT_EQ(port.m_State, "lowerlayerdown");
    EXPECT_EQ(port.m_nMtu, 1500u);
    EXPECT_EQ(port.m_HardwareAddress, "02:00:00:00:00:01");
    EXPECT_EQ(port.m_nSpeed, 10000);
}

TEST_F(MachineTest, PortsComeInTheirOrderBehindTheOneThatIsNamed)
{
    using PortNames = std::vector<std::string>;
    EXPECT_EQ(m_Machine.Ports("", 9), (PortNames{"lo", "port9"}));
    EXPECT_EQ(m_Machine.Ports("", 1), (PortNames{"lo"}));
    EXPECT_EQ(m_Machine.Ports("lo", 9), (PortNames{"port9"}));
    EXPECT_EQ(m_Machine.Ports("gone", 9), (PortNames{"lo", "port9"}));
    EXPECT_EQ(m_Machine.Ports("port9", 9), PortNames());
}

TEST_F(MachineTest, PortGoesByItsNameAloneToo)
{
    EXPECT_EQ(m_Machine.PortOf("port9"), "port9");
}

/// Whatever stands in the table: the distinguished name is fit for CSV, shells and itself, and leads back.
TEST_F(MachineTest, NamesThatWouldBeMisreadAreEscapedInDistinguishedNames)
{
    const std::vector<std::string> names = {"a,port=b", "-x",    "q\"uote",  "a b",
                                            "100%",     "$(id)", "\xC3\xBC", "e:1"};
    std::string table;
    for (const std::string& name : names) table += name + ": 1\n";
    Write("dev", table);
    for (const std::string& name : names) {
        const std::string dn = m_Machine.DistinguishedName(name);
        EXPECT_EQ(m_Machine.PortOf(dn), name) << dn;
        EXPECT_EQ(dn.find_first_of("\"' ,$():\xC3", m_Machine.DistinguishedName("").size()),
                  std::string::npos)
            << dn;
    }
    EXPECT_EQ(m_Machine.DistinguishedName("a,b=c"), m_Machine.DistinguishedName("") + "a%2Cb%3Dc");
    EXPECT_EQ(CodeOf([&] { m_Machine.PortOf(m_Machine.DistinguishedName("") + "%2Dx"); }),
              ErrCode::UNKNOWN_OBJECT)
        << "each port has one name";
}

TEST_F(MachineTest, PortOfWhichTheKernelTellsNothingIsDownWithoutSpeed)
{
    const PortFacts port = m_Machine.Facts("port9", {});
    EXPECT_EQ(port.m_State, "down");
    EXPECT_EQ(port.m_nMtu, 0u);
    EXPECT_EQ(port.m_nSpeed, -1);
    EXPECT_TRUE(port.m_HardwareAddress.empty());
    EXPECT_TRUE(port.m_Addresses.empty());
}

TEST(MachineOnThisHost, LoopbackIsUpAndHasItsAddress)
{
    const PortFacts port = Machine().Facts("lo", Machine::ReadLinks());
    EXPECT_EQ(port.m_State, "up");
    ASSERT_FALSE(port.m_Addresses.empty());
    EXPECT_EQ(port.m_Addresses[0], "127.0.0.1/8");
}

TEST_F(MachineTest, ElementGoesByEachOfItsNames)
{
    const Machine machine(m_Directory / "dev", m_Directory / "net", {"one", "t.w o"});
    EXPECT_EQ(machine.DistinguishedName("lo"), "ne=one,port=lo");
    EXPECT_EQ(machine.PortOf("ne=one,port=lo"), "lo");
    EXPECT_EQ(machine.PortOf("ne=t.w%20o,port=lo"), "lo");
    EXPECT_TRUE(machine.IsOwn("ne=t.w%20o,port=none"));
    EXPECT_FALSE(machine.IsOwn("ne=three,port=lo"));
    EXPECT_EQ(CodeOf([&] { machine.PortOf(m_Machine.DistinguishedName("lo")); }), ErrCode::UNKNOWN_OBJECT);
}

}  // namespace
}  // namespace northbound
