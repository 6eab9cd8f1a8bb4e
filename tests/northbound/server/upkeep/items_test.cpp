#include "server/upkeep/items.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nbiutil/processexception.h"
#include "shared/passworddigest.h"
#include "support/testdirectory.h"

namespace northbound {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> Warnings(const std::string& name, const std::string& value)
{
    return ItemWarnings({{name, value, "f.ini"}});
}

TEST(ItemsTest, UnknownItemIsNamedWithItsFile)
{
    EXPECT_THAT(Warnings("HugTaskLimit", "4"),
                ElementsAre("f.ini: HugTaskLimit: this server has no such item; it is ignored"));
    EXPECT_THAT(Warnings("hugetasklimit", "4"), ::testing::SizeIs(1));
    EXPECT_THAT(Warnings("Password_", "4"), ::testing::SizeIs(1));
    EXPECT_THAT(Warnings("HugeTaskLimit2", "4"), ::testing::SizeIs(1));
}

TEST(ItemsTest, WorkerCountThatIsNoneIsToldWithWhatHoldsInstead)
{
    EXPECT_THAT(Warnings("TaskMgrMaxThreadNum", "5000"),
                ElementsAre("f.ini: TaskMgrMaxThreadNum: \"5000\" is not a whole number from 1 to 999; each "
                            "pool has 20 workers"));
    EXPECT_THAT(Warnings("TaskMgrMaxThreadNum", "abc"), ::testing::SizeIs(1));
    EXPECT_THAT(Warnings("TaskMgrMaxThreadNum", "0"), ::testing::SizeIs(1));
    EXPECT_THAT(Warnings("TaskMgrMaxThreadNum", "7 "), ::testing::SizeIs(1));
    EXPECT_THAT(Warnings("TaskMgrMaxThreadNum", "1"), IsEmpty());
    EXPECT_THAT(Warnings("TaskMgrMaxThreadNum", "999"), IsEmpty());
}

TEST(ItemsTest, RoleThatIsNoneOfTheFourCountsAsNone)
{
    EXPECT_THAT(
        Warnings("Anonymous", "Admin"),
        ElementsAre("f.ini: Anonymous: \"Admin\" is not none, reader, collector or admin; it counts as "
                    "none"));
    for (const char* pRole : {"none", "reader", "collector", "admin"}) {
        EXPECT_THAT(Warnings("Anonymous", pRole), IsEmpty()) << pRole;
    }
}

TEST(ItemsTest, PasswordThatIsNoDigestIsToldWithoutItsValue)
{
    EXPECT_THAT(Warnings("Password_anna", "open sesame"),
                ElementsAre("f.ini: Password_anna: the value is not what \"nbi-client password-item\" "
                            "prints; this user cannot log in"));
    const std::string digest = PasswordDigest("anna", "open sesame", 11);
    EXPECT_THAT(Warnings("Password_anna", digest), IsEmpty());
}

TEST(ItemsTest, ValueThatKeepsTheServerFromStartingIsNoWarning)
{
    EXPECT_THAT(Warnings("HugeTaskLimit", "many"), IsEmpty());
}

TEST(ItemsTest, EachMistakeHasALineOfItsOwn)
{
    EXPECT_THAT(ItemWarnings({{"A", "1", "f"}, {"HugeTaskLimit", "4", "f"}, {"B", "2", "g"}}),
                ElementsAre("f: A: this server has no such item; it is ignored",
                            "g: B: this server has no such item; it is ignored"));
}

TEST(ItemsTest, SettableItemIsOneOfTheListByItsWholeNameWithAValueThatItTakes)
{
    EXPECT_EQ(SettableItem("HugeTaskLimit", "5").m_Setting, Setting::AT_ONCE);
    EXPECT_EQ(SettableItem("ListenPort", "5").m_Setting, Setting::AFTER_RESTART);
    for (const char* pName : {"HugeTask", "HugeTaskLimit1", "log_file", "OutputFile", "Password_anna"}) {
        EXPECT_THROW(SettableItem(pName, "5"), NS_UTIL::ProcessException) << pName;
    }
    EXPECT_THROW(SettableItem("HugeTaskLimit", "-1"), NS_UTIL::ProcessException);
    EXPECT_THROW(SettableItem("ListenAddress", ""), NS_UTIL::ProcessException);
}

/// The configuration that the build makes.
TEST(ItemsTest, ConfigurationOfTheExampleHasKnownItemsAlone)
{
    const nbihost::Host host(NBI_SERVER_CONFIG);
    EXPECT_THAT(host.Items(), Not(IsEmpty()));
    EXPECT_THAT(ItemWarnings(host.Items()), IsEmpty());
}

}  // namespace
}  // namespace northbound
