#include "util/integerreader.h"

#include <climits>

#include "util/trimming.h"

namespace NS_UTIL {
namespace {

/// The low 32 bits of the number that \p digits form, which strtoul negates after a "-". A number of more
/// than 64 bits becomes the largest one, which strtoul does not negate.
/// \return false for no digits or a character that is none; \p value is then as it was.
template <unsigned int BASE>
bool ReadDigits(std::string_view digits, bool bNegative, int& value)
{
    unsigned long nRead = 0;
    bool bTooLarge = false;
    for (const char character : digits) {
        const unsigned int nDigit = DigitValue(character);
        if (nDigit >= BASE) return false;
        bTooLarge |= __builtin_mul_overflow(nRead, BASE, &nRead);
        bTooLarge |= __builtin_add_overflow(nRead, nDigit, &nRead);
    }
    if (digits.empty()) return false;
    value = static_cast<int>(bTooLarge ? ULONG_MAX : bNegative ? 0 - nRead : nRead);
    return true;
}

bool ReadTrimmed(std::string_view text, int& value)
{
    const bool bNegative = !text.empty() && text.front() == '-';
    if (bNegative) text.remove_prefix(1);
    if (text.empty() || text.front() != '0') return ReadDigits<10>(text, bNegative, value);
    if (text.substr(0, 2) == "0x") return ReadDigits<16>(text.substr(2), bNegative, value);
    return ReadDigits<8>(text, bNegative, value);
}

}  // namespace

bool ReadAnyInteger(std::string_view text, int& value)
{
    const auto read = [&value](std::string_view trimmed) { return ReadTrimmed(trimmed, value); };
    return WhiteSpace::OfHost().Trim(text, read);
}

}  // namespace NS_UTIL
