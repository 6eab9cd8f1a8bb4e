#include "server/serving/randombytes.h"

#include <gtest/gtest.h>

#include <array>
#include <set>

#include "nbiutil/processexception.h"

namespace northbound {
namespace {

using Bytes = std::array<unsigned char, 16>;

TEST(RandomBytesTest, NoTwoAreTheSame)
{
    std::set<Bytes> seen;
    for (int i = 0; i < 1000; ++i) {
        Bytes bytes{};
        FillRandomly(bytes.data(), bytes.size(), "test");
        EXPECT_TRUE(seen.insert(bytes).second);
    }
}

TEST(RandomBytesTest, MoreThanTheSystemGivesAtOnceIsAFailure)
{
    std::array<unsigned char, 257> bytes{};
    EXPECT_THROW(FillRandomly(bytes.data(), bytes.size(), "test"), NS_UTIL::ProcessException);
}

}  // namespace
}  // namespace northbound
