// The inventory of a network element with many ports.
#include "server/operations/inventory.h"

#include <gtest/gtest.h>

#include <variant>

#include "northbound/elementtree.h"
#include "northbound/server/operations/inprocess.h"

namespace northbound {
namespace {

class InventoryPagesTest : public ::testing::Test {
protected:
    Inventory::Result Ask(const std::string& after, unsigned int nLimit)
    {
        return std::get<Inventory::Result>(m_Server.Ask<Inventory>({after, nLimit}));
    }

    ElementTree m_Tree;
    InProcessServer m_Server{"ElementRoot = " + m_Tree.Root() + "\n"};
};

TEST_F(InventoryPagesTest, TenThousandPortsComeInPagesEachOnce)
{
    const std::vector<std::string> names = ElementTree::Names(10000);
    m_Tree.Show(names);
    std::vector<std::string> seen;
    std::string after;
    do {
        const Inventory::Result page = Ask(after, 0);
        EXPECT_LE(page.m_Items.size(), Inventory::MAX_PORTS);
        for (const Inventory::Port& port : page.m_Items) {
            EXPECT_EQ(port.m_Dn, ElementTree::DnOf(port.m_Facts.m_Name));
            EXPECT_EQ(port.m_Figures.at(0).m_Value, 1u);
            seen.push_back(port.m_Facts.m_Name);
        }
        after = page.m_Next;
    } while (!after.empty());
    EXPECT_EQ(seen, names);
}

TEST_F(InventoryPagesTest, PageHasNoMorePortsThanAskedForAndSaysWhereTheNextBegins)
{
    m_Tree.Show(ElementTree::Names(5));
    const Inventory::Result first = Ask("", 2);
    ASSERT_EQ(first.m_Items.size(), 2u);
    EXPECT_EQ(first.m_Next, "p100001");
    m_Tree.Show(ElementTree::Names(3));
    const Inventory::Result last = Ask(first.m_Next, 2);
    ASSERT_EQ(last.m_Items.size(), 1u);
    EXPECT_EQ(last.m_Items[0].m_Facts.m_Name, "p100002");
    EXPECT_EQ(last.m_Next, "");
}

TEST_F(InventoryPagesTest, ElementWithoutPortsIsOneEmptyPage)
{
    const Inventory::Result page = Ask("", 0);
    EXPECT_TRUE(page.m_Items.empty());
    EXPECT_EQ(page.m_Next, "");
}

}  // namespace
}  // namespace northbound
