#include "nbihost/corbaconfigitems.h"

#include <memory>

#include "host/hostfixture.h"
#include "nbihost/standalone.h"

namespace {

using NS_BUNDLEMGR1::CorbaConfigItems;

class CorbaConfigItemsTest : public nbitest::HostFixture {
protected:
    void Serve(const std::string& lines)
    {
        m_pHost = std::make_unique<nbihost::Host>(WriteConfig("[items]\n" + lines));
        m_pHost->Start();
    }

    std::unique_ptr<nbihost::Host> m_pHost;
};

TEST_F(CorbaConfigItemsTest, ItemsComeFromTheConfigurationFile)
{
    Serve("TaskMgrMaxThreadNum = 7\nName = a b = c;d\nNegative=-2147483648\n");
    int nValue = 0;
    EXPECT_TRUE(CorbaConfigItems::Instance()->GetIntItemInfo("TaskMgrMaxThreadNum", nValue));
    EXPECT_EQ(nValue, 7);
    EXPECT_TRUE(CorbaConfigItems::Instance()->GetIntItemInfo("Negative", nValue));
    EXPECT_EQ(nValue, -2147483647 - 1);
    std::string text;
    EXPECT_TRUE(CorbaConfigItems::Instance()->GetStrItemInfo("Name", text));
    EXPECT_EQ(text, "a b = c;d");
    EXPECT_TRUE(CorbaConfigItems::Instance()->GetStrItemInfo("TaskMgrMaxThreadNum", text));
    EXPECT_EQ(text, "7");
}

TEST_F(CorbaConfigItemsTest, MissingItemLeavesTheValueAsItWas)
{
    Serve("");
    int nValue = 5;
    std::string text = "old";
    EXPECT_FALSE(CorbaConfigItems::Instance()->GetIntItemInfo("TaskMgrMaxThreadNum", nValue));
    EXPECT_FALSE(CorbaConfigItems::Instance()->GetStrItemInfo("Name", text));
    EXPECT_EQ(nValue, 5);
    EXPECT_EQ(text, "old");
}

TEST_F(CorbaConfigItemsTest, TextThatIsNoIntegerLeavesTheValueAsItWas)
{
    Serve("a=seven\nb=7x\nc=\nd=2147483648\ne=7.0\nf=7 8\ng=0x10\n");
    for (const char* pName : {"a", "b", "c", "d", "e", "f", "g"}) {
        int nValue = 5;
        EXPECT_FALSE(CorbaConfigItems::Instance()->GetIntItemInfo(pName, nValue)) << pName;
        EXPECT_EQ(nValue, 5) << pName;
    }
}

TEST_F(CorbaConfigItemsTest, EverySectionButTheHostsOwnHoldsItems)
{
    Serve("a=1\n[server]\nb=2\n");
    int nValue = 0;
    EXPECT_TRUE(CorbaConfigItems::Instance()->GetIntItemInfo("b", nValue));
    EXPECT_EQ(nValue, 2);
    std::string text;
    EXPECT_FALSE(CorbaConfigItems::Instance()->GetStrItemInfo("log_file", text));
}

TEST_F(CorbaConfigItemsTest, BeforeTheFirstStartThereAreNone)
{
    std::string text;
    EXPECT_FALSE(CorbaConfigItems::Instance()->GetStrItemInfo("a", text));
    const nbihost::Host host(WriteConfig("[items]\na=1\n"));
    EXPECT_FALSE(CorbaConfigItems::Instance()->GetStrItemInfo("a", text));
}

TEST_F(CorbaConfigItemsTest, AfterTheStopTheyAreStillThere)
{
    Serve("a=1\n");
    m_pHost.reset();
    std::string text;
    EXPECT_TRUE(CorbaConfigItems::Instance()->GetStrItemInfo("a", text));
}

}  // namespace
