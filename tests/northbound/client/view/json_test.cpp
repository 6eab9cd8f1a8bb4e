#include "client/view/json.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

TEST(JsonTest, TextIsQuotedAndEscaped)
{
    EXPECT_EQ(JsonText("a\"b\\c\nd\te"), R"("a\"b\\c\nd\te")");
    EXPECT_EQ(JsonText(std::string("\x01\x1F\x7F\0", 4)), R"("\u0001\u001f\u007f\u0000")");
    EXPECT_EQ(JsonText("\xC3\xA4"), "\"\xC3\xA4\"");
    EXPECT_EQ(JsonText("a\xFF"), R"("a\\xFF")");
}

TEST(JsonTest, ArrayJoinsItsItems)
{
    EXPECT_EQ(JsonArray({}), "[]");
    EXPECT_EQ(JsonArray({"1"}), "[1]");
    EXPECT_EQ(JsonArray({"1", "{}"}), "[1,{}]");
}

TEST(JsonTest, ObjectKeepsTheOrderOfItsMembers)
{
    EXPECT_EQ(JsonObject().Done(), "{}");
    EXPECT_EQ(JsonObject()
                  .Number("n", 18446744073709551615ull)
                  .Number("m", -1)
                  .Text("t", "x\"")
                  .Raw("r", "[1]")
                  .Done(),
              R"({"n":18446744073709551615,"m":-1,"t":"x\"","r":[1]})");
}

}  // namespace
}  // namespace northbound
