/// \file
/// Strict integers: decimal, octal behind a 0, hexadecimal behind "0x", with a "-" or without.
#pragma once

#include <cstddef>
#include <string_view>

#include "util/digits.h"

namespace NS_UTIL {

/// Reads what most texts are: a decimal without blanks and leading zeros that fits 64 bits.
/// \return false for any other text; \p value is then as it was.
inline bool ReadPlainDecimal(std::string_view text, int& value)
{
    constexpr std::size_t SAFE_DECIMALS = 19;  // so many never pass 64 bits
    if (text.empty() || text.size() > SAFE_DECIMALS) return false;
    const bool bNegative = text.front() == '-';
    if (bNegative) text.remove_prefix(1);
    if (text.empty()) return false;
    if (text.size() > 1 && text.front() == '0') return false;
    unsigned long nRead = 0;
    for (const char character : text) {
        if (!IsDecimal(character)) return false;
        nRead = nRead * 10 + DigitValue(character);
    }
    value = static_cast<int>(bNegative ? 0 - nRead : nRead);
    return true;
}

/// Reads any text, trimmed. Out of line: what it needs would otherwise be set up for every plain decimal.
bool ReadAnyInteger(std::string_view text, int& value);

/// Str2Int() for a part of a text.
inline bool ReadInteger(std::string_view text, int& value)
{
    return ReadPlainDecimal(text, value) || ReadAnyInteger(text, value);
}

}  // namespace NS_UTIL
