#include "shared/utf8.h"

#include <cstddef>
#include <cstdio>

namespace northbound {
namespace {

/// A lead byte's range, how many bytes follow it, and what the first of these may be.
struct Form {
    unsigned char m_nFirst;
    unsigned char m_nLast;
    std::size_t m_nFollowing;
    unsigned char m_nNextFirst;
    unsigned char m_nNextLast;
};

/// Without overlong forms, surrogates, and what is beyond U+10FFFF.
constexpr Form FORMS[] = {
    {0x00, 0x7F, 0, 0x00, 0x00}, {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F},
};

bool IsBetween(char c, unsigned char nFirst, unsigned char nLast)
{
    const auto nByte = static_cast<unsigned char>(c);
    return nByte >= nFirst && nByte <= nLast;
}

/// Bytes of the character that begins at \p nAt; 0 when none does.
std::size_t LengthAt(const std::string& text, std::size_t nAt)
{
    for (const Form& form : FORMS) {
        if (!IsBetween(text[nAt], form.m_nFirst, form.m_nLast)) continue;
        if (text.size() - nAt <= form.m_nFollowing) return 0;
        for (std::size_t i = 1; i <= form.m_nFollowing; ++i) {
            const bool bNext = i == 1;
            if (!IsBetween(text[nAt + i], bNext ? form.m_nNextFirst : 0x80,
                           bNext ? form.m_nNextLast : 0xBF)) {
                return 0;
            }
        }
        return form.m_nFollowing + 1;
    }
    return 0;
}

}  // namespace

std::string WellFormed(const std::string& text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t nLength = LengthAt(text, i);
        if (nLength > 0) {
            result.append(text, i, nLength);
            i += nLength;
            continue;
        }
        char code[8];
        std::snprintf(code, sizeof(code), "\\x%02X", static_cast<unsigned int>(text[i]) & 0xFFU);
        result += code;
        ++i;
    }
    return result;
}

}  // namespace northbound
