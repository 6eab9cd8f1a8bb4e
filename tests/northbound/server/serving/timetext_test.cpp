#include "server/serving/timetext.h"

#include <gtest/gtest.h>

namespace northbound {
namespace {

TEST(TimeTextTest, TimeIsUtcWithMilliseconds)
{
    std::string shape = TimeText();
    for (char& c : shape) {
        if (c >= '0' && c <= '9') c = '9';
    }
    EXPECT_EQ(shape, "9999-99-99T99:99:99.999Z");
}

}  // namespace
}  // namespace northbound
