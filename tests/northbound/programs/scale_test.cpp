// A network element with ten thousand interfaces, through the programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "northbound/elementtree.h"
#include "northbound/programs/requests.h"

namespace northbound {
namespace {

using ::testing::HasSubstr;

constexpr int PORTS = 10000;

class ScaleTest : public ::testing::Test {
protected:
    void SetUp() override { m_Tree.Show(ElementTree::Names(PORTS)); }

    Outcome Ask(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"--server", m_Server.Address()});
        return RunClient(arguments);
    }

    bool HasAskedFor(const std::string& interface) const
    {
        const std::vector<LoggedLine> log = m_Server.Log();
        return std::any_of(log.begin(), log.end(),
                           [&](const LoggedLine& line) { return line.m_Interface == interface; });
    }

    ElementTree m_Tree;
    Server m_Server{"ElementRoot = " + m_Tree.Root() + "\n"};
};

TEST_F(ScaleTest, InventoryHasThemAll)
{
    const Outcome outcome = Ask({"inventory", "--json"});
    ASSERT_EQ(outcome.m_nExitCode, 0) << outcome.m_Error;
    std::size_t nPorts = 0;
    const std::string mark = "{\"dn\":";
    for (std::size_t nAt = 0; (nAt = outcome.m_Output.find(mark, nAt)) != std::string::npos; ++nAt) ++nPorts;
    EXPECT_EQ(nPorts, static_cast<std::size_t>(PORTS));
}

TEST_F(ScaleTest, PortGoesByItsNameWithoutTheInventory)
{
    const Outcome counters = Ask({"counters", "p109999"});
    EXPECT_EQ(counters.m_nExitCode, 0) << counters.m_Error;
    EXPECT_THAT(counters.m_Output, HasSubstr(ElementTree::DnOf("p109999") + " at "));
    const Outcome collected = Ask({"collect", "p100000", "p109999", "-q", "-i", "0.1", "-d", "0.2"});
    EXPECT_EQ(collected.m_nExitCode, 0) << collected.m_Error;
    EXPECT_THAT(collected.m_Output, HasSubstr(ElementTree::DnOf("p109999") + ": 3 samples"));
    EXPECT_TRUE(HasAskedFor("2 counters"));
    EXPECT_FALSE(HasAskedFor("1 inventory"));
}

}  // namespace
}  // namespace northbound
