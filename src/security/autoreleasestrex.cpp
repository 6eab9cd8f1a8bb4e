#include "security/autoreleasestrex.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "base/zeroedarray.h"
#include "log/log.h"
#include "nbihost/annexk.h"

namespace NS_UTIL {
namespace {

constexpr const char* MODULE = "nbirsa";
constexpr SourceMark COPY_FAILED{MODULE, 89};
constexpr SourceMark FORMAT_FAILED{MODULE, 144};
constexpr SourceMark NOTHING_TO_DECODE{MODULE, 166};
constexpr SourceMark ODD_LENGTH{MODULE, 175};

constexpr long DIGITS_PER_BYTE = 2;
constexpr std::size_t DIGITS_POSITION = 4;  // of the array that toHex() makes
constexpr std::size_t DIGITS_FIELD = 4;     // two digits, a zero byte and one byte to spare

constexpr int NO_DIGIT = -1;

int DigitValue(char character)
{
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return NO_DIGIT;
}

/// Decodes pairs of digits until one is not a pair of digits. \p pBytes may be \p pDigits: a byte is written
/// where its digits, or earlier ones, have been read.
/// \return the number of bytes decoded.
long DecodePairs(char* pBytes, const char* pDigits, long nPairs)
{
    for (long i = 0; i < nPairs; ++i) {
        const int nHigh = DigitValue(pDigits[DIGITS_PER_BYTE * i]);
        const int nLow = DigitValue(pDigits[DIGITS_PER_BYTE * i + 1]);
        if (nHigh == NO_DIGIT || nLow == NO_DIGIT) return i;
        pBytes[i] = static_cast<char>(nHigh * 16 + nLow);
    }
    return nPairs;
}

}  // namespace

void AutoReleaseStrEx::Clear()
{
    m_pBuffer.reset();
    m_nLength = 0;
}

void AutoReleaseStrEx::Adopt(char* pArray, long len)
{
    m_pBuffer.reset(pArray);
    m_nLength = pArray == nullptr ? 0 : len;
}

/// Makes room for \p nLength bytes and the zero byte behind them.
/// \return the old array, for callers whose source may lie in it.
std::unique_ptr<char[]> AutoReleaseStrEx::Reset(long nLength)
{
    std::unique_ptr<char[]> pOld = std::move(m_pBuffer);
    m_nLength = 0;
    if (nLength > 0) {
        m_pBuffer = ZeroedArray(static_cast<std::size_t>(nLength) + 1);
        m_nLength = nLength;
    }
    return pOld;
}

void AutoReleaseStrEx::setBuffer(const char* pData, long nLen)
{
    if (pData == nullptr) return;
    const std::unique_ptr<char[]> pOld = Reset(nLen);
    if (m_pBuffer == nullptr) return;
    const auto nCount = static_cast<std::size_t>(nLen);
    if (memcpy_s(m_pBuffer.get(), nCount + 1, pData, nCount) != 0) WriteLog(COPY_FAILED, "memcpy_s failed.");
}

void AutoReleaseStrEx::toHex()
{
    if (m_pBuffer == nullptr) return;
    const long nHexLength = DIGITS_PER_BYTE * m_nLength;
    const std::size_t nSize =
        std::max(static_cast<std::size_t>(nHexLength) + 1, DIGITS_POSITION + DIGITS_FIELD);
    std::unique_ptr<char[]> pHex = ZeroedArray(nSize);
    // Deliberate: the target does not advance. Receivers of RsaEncryptByPublicKey() find the digits of the
    // last byte at this position and nothing else.
    char* const pTarget = pHex.get() + DIGITS_POSITION;
    for (long i = 0; i < m_nLength; ++i) {
        const unsigned int nByte = static_cast<unsigned char>(m_pBuffer[static_cast<std::size_t>(i)]);
        if (snprintf_s(pTarget, DIGITS_FIELD, "%02x", nByte) < 0) {
            WriteLog(FORMAT_FAILED, "snprintf_s failed.");
        }
    }
    m_pBuffer = std::move(pHex);
    m_nLength = nHexLength;
}

void AutoReleaseStrEx::fromHex(const char* hexText, long len)
{
    if (hexText == nullptr) {
        hexText = m_pBuffer.get();
        len = m_nLength;
        if (hexText == nullptr) {
            WriteLog(NOTHING_TO_DECODE, "[AutoReleaseStrEx::fromHex] NULL == szHexStr");
            return;
        }
    }
    if (len == 0) len = static_cast<long>(std::strlen(hexText));
    if (len % DIGITS_PER_BYTE != 0) {
        WriteLog(ODD_LENGTH, "[AutoReleaseStrEx::fromHex] 0 != len %% 2, len = %d", static_cast<int>(len));
    }

    const long nPairs = std::max(len / DIGITS_PER_BYTE, 0L);
    std::unique_ptr<char[]> pOld;  // until the end: hexText may lie in it
    if (m_nLength < nPairs) pOld = Reset(nPairs);
    if (DecodePairs(m_pBuffer.get(), hexText, nPairs) < nPairs) {
        // Deliberate: RsaAlgorithm::Decrypt() relies on the verbatim copy for raw cipher text of several
        // blocks.
        if (hexText != m_pBuffer.get()) setBuffer(hexText, len);
        return;
    }
    std::fill(m_pBuffer.get() + nPairs, m_pBuffer.get() + m_nLength, '\0');
}

}  // namespace NS_UTIL
