#include "base/zeroedarray.h"

#include <gtest/gtest.h>

#include <string>

#include "nbihost/recordinghost.h"
#include "support/heapwatch.h"

namespace NS_UTIL {
namespace {

// The heap of this program hands out blocks that hold something.

TEST(ZeroedArrayTest, HoldsZeros)
{
    const nbitest::RecordingHost host;
    EXPECT_EQ(std::string(ZeroedArray(100).get(), 100), std::string(100, '\0'));
}

TEST(ZeroedArrayTest, HoldsZerosWhereTheBoundsCheckedFillFails)
{
    nbitest::RecordingHost host;
    host.FailMemset(1);
    EXPECT_EQ(std::string(ZeroedArray(100).get(), 100), std::string(100, '\0'));
}

}  // namespace
}  // namespace NS_UTIL
