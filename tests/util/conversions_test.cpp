#include "nbiutil/conversions.h"

#include <gtest/gtest.h>

namespace NS_UTIL {
namespace {

TEST(PathFormatTest, TurnsEveryBackslashAndNothingElse)
{
    std::string path = "C:\\a\\\\b//c\\";
    PathFormat(path);
    EXPECT_EQ(path, "C:/a//b//c/");
}

}  // namespace
}  // namespace NS_UTIL
