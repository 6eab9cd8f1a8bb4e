#include "server/serving/safename.h"

#include <gtest/gtest.h>

#include "support/pairs.h"

namespace northbound {
namespace {

TEST(SafeNameTest, OnlyWhatNothingMisreadsStaysAsItIs)
{
    nbitest::ExpectEach<std::string>({{"eth0.100_b-1", "eth0.100_b-1"},
                                      {"a b,c=\"d\"", "a%20b%2Cc%3D%22d%22"},
                                      {"../x:y%\n\xFF", "..%2Fx%3Ay%25%0A%FF"},
                                      {"", ""}},
                                     SafeName);
}

TEST(SafeNameTest, EveryByteComesBack)
{
    std::string all;
    for (int i = 1; i < 256; ++i) all += static_cast<char>(i);
    EXPECT_EQ(PlainName(SafeName(all)), all);
}

TEST(SafeNameTest, AnotherSpellingIsNoName)
{
    for (const char* pText : {"a%2cb", "%41", "%", "%2", "%GG", "a b", "50%x"}) {
        EXPECT_EQ(PlainName(pText), "") << pText;
    }
}

}  // namespace
}  // namespace northbound
