#include "nbihost/annexk.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(AnnexKTest, CopyIntoALargeEnoughBufferAnswersZero)
{
    char buffer[4] = {};
    EXPECT_EQ(memcpy_s(buffer, sizeof buffer, "abc", 4), 0);
    EXPECT_STREQ(buffer, "abc");
}

TEST(AnnexKTest, CopyThatDoesNotFitWritesNothingBeyondTheBuffer)
{
    char buffer[4] = {'x', 'x', 'x', '!'};
    EXPECT_NE(memcpy_s(buffer, 3, "abcd", 4), 0);
    EXPECT_EQ(buffer[3], '!');
}

TEST(AnnexKTest, FillSetsTheCountedBytes)
{
    char buffer[4] = {'a', 'b', 'c', '\0'};
    EXPECT_EQ(memset_s(buffer, sizeof buffer, '*', 2), 0);
    EXPECT_STREQ(buffer, "**c");
}

TEST(AnnexKTest, TextCopyEndsInAZero)
{
    char buffer[8];
    EXPECT_EQ(strncpy_s(buffer, sizeof buffer, "abcdef", 3), 0);
    EXPECT_STREQ(buffer, "abc");
}

TEST(AnnexKTest, TextCopyThatDoesNotFitFails)
{
    char buffer[3] = {};
    EXPECT_NE(strncpy_s(buffer, sizeof buffer, "abcdef", 6), 0);
}

TEST(AnnexKTest, FormatAnswersTheNumberOfCharacters)
{
    char buffer[16];
    EXPECT_EQ(snprintf_s(buffer, sizeof buffer, "%d-%s", 42, "x"), 4);
    EXPECT_STREQ(buffer, "42-x");
}

}  // namespace
