/// \file
/// Digits: their values, and decimals and hexadecimals two at a time.
#pragma once

#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace NS_UTIL {

constexpr unsigned int NO_DIGIT = UINT_MAX;

constexpr unsigned int ByteOf(char character)
{
    return static_cast<unsigned char>(character);
}

constexpr bool IsDecimal(char character)
{
    return ByteOf(character) - ByteOf('0') < 10;
}

constexpr unsigned int DigitValue(char character)
{
    if (IsDecimal(character)) return ByteOf(character) - ByteOf('0');
    const unsigned int nLetter = (ByteOf(character) | 0x20U) - ByteOf('a');
    return nLetter < 6 ? nLetter + 10 : NO_DIGIT;
}

/// All numbers of two digits, one behind the other.
template <std::size_t BASE>
constexpr std::array<char, 2 * BASE * BASE> DigitPairs()
{
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    std::array<char, 2 * BASE * BASE> pairs{};
    for (std::size_t i = 0; i < BASE * BASE; ++i) {
        pairs[2 * i] = DIGITS[i / BASE];
        pairs[2 * i + 1] = DIGITS[i % BASE];
    }
    return pairs;
}
inline constexpr auto DECIMAL_PAIRS = DigitPairs<10>();
inline constexpr auto HEX_PAIRS = DigitPairs<16>();

template <std::size_t SIZE>
void CopyPair(char* pDigits, const std::array<char, SIZE>& pairs, std::size_t nNumber)
{
    std::memcpy(pDigits, &pairs[2 * nNumber], 2);
}

/// Writes the decimals of \p nValue in front of \p pEnd.
/// \return where they begin
inline char* WriteDecimals(char* pEnd, unsigned int nValue)
{
    for (; nValue >= 100; nValue /= 100) CopyPair(pEnd -= 2, DECIMAL_PAIRS, nValue % 100);
    if (nValue >= 10) {
        CopyPair(pEnd -= 2, DECIMAL_PAIRS, nValue);
    } else {
        *--pEnd = static_cast<char>('0' + nValue);
    }
    return pEnd;
}

}  // namespace NS_UTIL
