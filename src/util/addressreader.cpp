#include "util/addressreader.h"

#include <cstddef>

#include "util/digits.h"
#include "util/integerreader.h"
#include "util/splitting.h"

namespace NS_UTIL {
namespace {

constexpr std::size_t PARTS = 4;
constexpr int NO_NUMBER = -1;

/// The number that the parts of an address form when their hexadecimal digits, at least two of each, are
/// written one after the other; the largest one when it has more than 64 bits.
class JoinedParts {
public:
    void Add(unsigned int nPart)
    {
        int nBits = 8;
        while (nBits < 32 && (nPart >> nBits) != 0) nBits += 4;
        m_bTooLarge = m_bTooLarge || (m_nJoined >> (64 - nBits)) != 0;
        m_nJoined = m_nJoined << nBits | nPart;
        ++m_nCount;
    }
    std::size_t Count() const { return m_nCount; }
    int Low32Bits() const { return m_bTooLarge ? -1 : static_cast<int>(m_nJoined); }

private:
    unsigned long m_nJoined = 0;
    std::size_t m_nCount = 0;
    bool m_bTooLarge = false;
};

/// Reads an address in its usual form: four decimal bytes without leading zeros.
bool ReadPlainAddress(std::string_view text, long& nAddress)
{
    const char* p = text.begin();
    const char* const pEnd = text.end();
    unsigned int nJoined = 0;
    for (std::size_t i = 0; i < PARTS; ++i) {
        if (i > 0 && (p == pEnd || *p++ != '.')) return false;
        if (p == pEnd || !IsDecimal(*p)) return false;
        unsigned int nPart = DigitValue(*p++);
        while (nPart >= 1 && nPart <= 25 && p != pEnd && IsDecimal(*p)) nPart = nPart * 10 + DigitValue(*p++);
        if (nPart > 255) return false;
        nJoined = nJoined << 8 | nPart;
    }
    if (p != pEnd) return false;
    nAddress = static_cast<int>(nJoined);
    return true;
}

}  // namespace

bool ReadAddress(std::string_view text, long& nAddress)
{
    if (ReadPlainAddress(text, nAddress)) return true;
    JoinedParts parts;
    const auto addPart = [&parts](std::string_view piece) {
        int nPart = NO_NUMBER;
        ReadInteger(piece, nPart);
        parts.Add(static_cast<unsigned int>(nPart));
    };
    if (!ForEachPiece(text, '.', 0, addPart) || parts.Count() < PARTS) return false;
    nAddress = parts.Low32Bits();
    return true;
}

}  // namespace NS_UTIL
