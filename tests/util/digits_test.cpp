#include "util/digits.h"

#include <gtest/gtest.h>

#include <string>

namespace NS_UTIL {
namespace {

TEST(DigitValueTest, OnlyHexadecimalDigitsHaveOne)
{
    const std::string digits = "0123456789abcdef";
    for (int nByte = 0; nByte < 256; ++nByte) {
        const auto character = static_cast<char>(nByte);
        const bool bUpper = character >= 'A' && character <= 'Z';
        const std::size_t nPlace = digits.find(bUpper ? static_cast<char>(character + 'a' - 'A') : character);
        EXPECT_EQ(DigitValue(character), nPlace == std::string::npos ? NO_DIGIT : nPlace) << nByte;
    }
}

}  // namespace
}  // namespace NS_UTIL
