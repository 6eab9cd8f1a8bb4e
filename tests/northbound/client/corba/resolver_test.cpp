#include "client/corba/resolver.h"

#include <gtest/gtest.h>

#include "northbound/fakenames.h"

namespace northbound {
namespace {

using Places = std::vector<std::string>;

constexpr std::chrono::milliseconds LONG(60'000);

std::string FaultOf(const std::string& hostAndPort, std::chrono::milliseconds limit)
{
    try {
        PlacesBehind(hostAndPort, limit);
    } catch (const UnknownName& e) {
        return e.what();
    }
    return "";
}

TEST(ResolverTest, AddressAndWhatIsNoNameStayAsTheyAre)
{
    for (const char* pText : {"192.0.2.7:12809", "192.0.2.7", "[2001:db8::7]:12809", "[2001:db8::7]", "::1",
                              "a:b:c", ":12809", ""}) {
        EXPECT_TRUE(IsAddress(pText)) << pText;
        EXPECT_EQ(PlacesBehind(pText, LONG), Places{pText});
    }
}

TEST(ResolverTest, NameStandsForAllItsAddressesInTheirOrder)
{
    EXPECT_FALSE(IsAddress("two.example:12809"));
    EXPECT_EQ(PlacesBehind("two.example:12809", LONG), (Places{"127.0.0.2:12809", "127.0.0.1:12809"}));
    EXPECT_EQ(PlacesBehind("two.example", LONG), (Places{"127.0.0.2", "127.0.0.1"}));
    EXPECT_EQ(PlacesBehind("six.example:12809", LONG), Places{"[2001:db8::7]:12809"});
}

TEST(ResolverTest, NameThatStandsForNothingIsTold)
{
    EXPECT_EQ(FaultOf("unknown.example:1", LONG),
              "the name unknown.example was not found: Name or service not known");
}

/// Without a limit it would not come back at all.
TEST(ResolverTest, SearchThatHangsIsLeftWhenTheTimeIsOver)
{
    const HangingName name;
    EXPECT_EQ(FaultOf("hangs.example:1", std::chrono::milliseconds(50)),
              "the name hangs.example was not found: no answer in time");
}

}  // namespace
}  // namespace northbound
