#include "nbihost/trim.h"

#include <gtest/gtest.h>

namespace {

using NS_BUNDLEMGR1::LTrim;
using NS_BUNDLEMGR1::RTrim;
using NS_BUNDLEMGR1::Trim;

TEST(TrimTest, BlanksGoFromTheSidesAsked)
{
    const std::string text = " \t\r\n\v\f a b\n\t ";
    EXPECT_EQ(LTrim(text), "a b\n\t ");
    EXPECT_EQ(RTrim(text), " \t\r\n\v\f a b");
    EXPECT_EQ(Trim(text), "a b");
}

TEST(TrimTest, TextOfBlanksBecomesEmpty)
{
    for (const char* pText : {"", " ", "\t\r\n "}) {
        EXPECT_EQ(LTrim(pText), "");
        EXPECT_EQ(RTrim(pText), "");
        EXPECT_EQ(Trim(pText), "");
    }
}

TEST(TrimTest, NothingElseGoes)
{
    for (const char* pText : {"a", "-1", "\xC2\xA0x\xC2\xA0", "\xE3\x80\x80", "0"}) {
        EXPECT_EQ(Trim(pText), pText);
    }
}

}  // namespace
