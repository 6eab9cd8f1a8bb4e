#include "shared/utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace northbound {
namespace {

TEST(Utf8Test, WellFormedTextStaysAsItIs)
{
    for (const char* pText : {"", "plain", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                              "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(WellFormed(pText), pText);
    }
    EXPECT_EQ(WellFormed(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(Utf8Test, EachByteThatIsNoPartOfACharacterIsEscaped)
{
    EXPECT_EQ(WellFormed("\x80"), "\\x80");
    EXPECT_EQ(WellFormed("\xC0\xAF"), "\\xC0\\xAF") << "overlong";
    EXPECT_EQ(WellFormed("\xE0\x9F\xBF"), "\\xE0\\x9F\\xBF") << "overlong";
    EXPECT_EQ(WellFormed("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "a surrogate";
    EXPECT_EQ(WellFormed("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond the last character";
    EXPECT_EQ(WellFormed("\xF5z\xFF"), "\\xF5z\\xFF");
}

TEST(Utf8Test, CharacterThatIsCutOffIsEscaped)
{
    EXPECT_EQ(WellFormed("a\xC3"), "a\\xC3");
    EXPECT_EQ(WellFormed("\xE4\xB8z"), "\\xE4\\xB8z");
    EXPECT_EQ(WellFormed("\xF0\x9F\x98"), "\\xF0\\x9F\\x98");
}

}  // namespace
}  // namespace northbound
