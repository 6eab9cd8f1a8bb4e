#include "nbiutil/conversions.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <functional>
#include <string_view>
#include <utility>

#include "nbihost/trim.h"
#include "nbiutil/securebuffer.h"

namespace NS_UTIL {
namespace {

constexpr int REJECTED = -1;
constexpr unsigned int NO_DIGIT = UINT_MAX;
constexpr std::size_t SAFE_DECIMALS = 19;  // so many never pass 64 bits
constexpr std::size_t MAX_DECIMALS = 10;   // of 32 bits

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
constexpr auto DECIMAL_PAIRS = DigitPairs<10>();
constexpr auto HEX_PAIRS = DigitPairs<16>();

template <std::size_t SIZE>
void CopyPair(char* pDigits, const std::array<char, SIZE>& pairs, std::size_t nNumber)
{
    std::memcpy(pDigits, &pairs[2 * nNumber], 2);
}

constexpr unsigned int ByteOf(char character)
{
    return static_cast<unsigned char>(character);
}

char LowerOf(char character)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

char UpperOf(char character)
{
    return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
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

/// Letters, digits and "-": what no host trims.
constexpr std::array<bool, 256> NeverTrimmed()
{
    std::array<bool, 256> bytes{};
    for (const char character : std::string_view("-0123456789"
                                                 "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                                 "abcdefghijklmnopqrstuvwxyz")) {
        bytes[ByteOf(character)] = true;
    }
    return bytes;
}
constexpr std::array<bool, 256> NEVER_TRIMMED = NeverTrimmed();

/// Whether the host's Trim() would give \p text back. Most texts tell by their ends, which spares the copy.
constexpr bool IsTrimmed(std::string_view text)
{
    return text.empty() || (NEVER_TRIMMED[ByteOf(text.front())] && NEVER_TRIMMED[ByteOf(text.back())]);
}

/// The low 32 bits of the number that \p digits form, which strtoul negates after a "-". A number of more
/// than 64 bits becomes the largest one, which strtoul does not negate.
///
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

/// Reads what most texts are: a decimal without blanks and leading zeros that fits 64 bits.
inline bool ReadPlainDecimal(std::string_view text, int& value)
{
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

/// Reads any text, without copying it if it needs no trimming. Out of line: what it needs would otherwise be
/// set up for every plain decimal.
[[gnu::noinline]] bool ReadAnyInteger(std::string_view text, int& value)
{
    if (IsTrimmed(text)) return ReadTrimmed(text, value);
    return ReadTrimmed(NS_BUNDLEMGR1::Trim(std::string(text)), value);
}

inline bool ReadInteger(std::string_view text, int& value)
{
    return ReadPlainDecimal(text, value) || ReadAnyInteger(text, value);
}

/// Writes the decimals of \p nValue in front of \p pEnd.
/// \return where they begin.
char* WriteDecimals(char* pEnd, unsigned int nValue)
{
    for (; nValue >= 100; nValue /= 100) CopyPair(pEnd -= 2, DECIMAL_PAIRS, nValue % 100);
    if (nValue >= 10) {
        CopyPair(pEnd -= 2, DECIMAL_PAIRS, nValue);
    } else {
        *--pEnd = static_cast<char>('0' + nValue);
    }
    return pEnd;
}

/// Hands \p piece, trimmed, to \p take as a view or, when trimming has made a copy, as a text it may keep.
/// \return false for an empty piece that is not to be kept.
template <class Take>
bool TakeTrimmed(std::string_view piece, bool bKeepEmpty, Take& take)
{
    if (IsTrimmed(piece)) {
        if (piece.empty() && !bKeepEmpty) return false;
        take(piece);
        return true;
    }
    std::string trimmed = NS_BUNDLEMGR1::Trim(std::string(piece));
    if (trimmed.empty() && !bKeepEmpty) return false;
    take(std::move(trimmed));
    return true;
}

/// SplitStringByTag() with any taker of the pieces.
template <class Take>
bool ForEachPiece(std::string_view text, char separator, unsigned int nFlags, Take take)
{
    if (text.empty()) return false;
    const bool bKeepEmpty = (nFlags & SPLIT_KEEP_EMPTY) != 0;
    const bool bLeading = bKeepEmpty && (nFlags & SPLIT_LEADING_TAG) != 0;
    const bool bTrailing = bKeepEmpty && (nFlags & SPLIT_TRAILING_TAG) != 0;
    if (bLeading && text.front() != separator) return false;
    if (bTrailing && text.back() != separator) return false;

    const bool bSkipFirst = text.front() == separator && (bLeading || !bKeepEmpty);
    std::size_t nStart = bSkipFirst ? 1 : 0;
    while (nStart < text.size()) {
        const std::size_t nEnd = std::min(text.find(separator, nStart), text.size());
        if (!TakeTrimmed(text.substr(nStart, nEnd - nStart), bKeepEmpty, take)) return false;
        nStart = nEnd + 1;
    }
    const bool bEndsInSeparator = nStart == text.size();
    if (bEndsInSeparator && bKeepEmpty && !bTrailing) take(std::string_view());
    return true;
}

bool IsElementOf(const std::vector<std::string>& texts, const std::string& text)
{
    const std::less<const std::string*> before;
    return !before(&text, texts.data()) && before(&text, texts.data() + texts.size());
}

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
    for (int i = 0; i < 4; ++i) {
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

/// Broken-down time back to seconds, read as local time that may or may not be daylight saving.
std::time_t AsLocalTime(std::tm brokenDown)
{
    brokenDown.tm_isdst = -1;
    return std::mktime(&brokenDown);
}

}  // namespace

void PathFormat(std::string& path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
}

std::string RTrim(const std::string& text)
{
    return NS_BUNDLEMGR1::RTrim(text);
}

std::string LTrim(const std::string& text)
{
    return NS_BUNDLEMGR1::LTrim(text);
}

std::string Trim(const std::string& text)
{
    return NS_BUNDLEMGR1::Trim(text);
}

bool Str2Int(const std::string& text, int& value)
{
    return ReadInteger(text, value);
}

bool Str2Int(const char* pText, int& value)
{
    return pText != nullptr && ReadInteger(pText, value);
}

int Str2Int(const std::string& text)
{
    int value = REJECTED;
    ReadInteger(text, value);
    return value;
}

std::string StrLower(const std::string& text)
{
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), LowerOf);
    return lower;
}

std::string StrUpper(const std::string& text)
{
    std::string upper = text;
    std::transform(upper.begin(), upper.end(), upper.begin(), UpperOf);
    return upper;
}

std::string Int2Str(int nValue)
{
    std::array<char, MAX_DECIMALS + 1> digits;
    char* const pEnd = digits.data() + digits.size();
    const auto nBits = static_cast<unsigned int>(nValue);
    char* pBegin = WriteDecimals(pEnd, nValue < 0 ? 0 - nBits : nBits);
    if (nValue < 0) *--pBegin = '-';
    return std::string(pBegin, pEnd);
}

std::string Uint2Str(unsigned int nValue)
{
    std::array<char, MAX_DECIMALS> digits;
    char* const pEnd = digits.data() + digits.size();
    return std::string(WriteDecimals(pEnd, nValue), pEnd);
}

long DiffLocalUtcTime(long nTime)
{
    tzset();  // localtime_r() alone may go by the zone of an earlier TZ
    const std::time_t time = nTime;
    std::tm utc{};
    std::tm local{};
    if (gmtime_r(&time, &utc) == nullptr || localtime_r(&time, &local) == nullptr) return 0;
    return AsLocalTime(utc) - AsLocalTime(local);
}

bool IsDigit(const std::string& text)
{
    const int nCount = static_cast<int>(text.size());
    return nCount <= 0 || std::all_of(text.data(), text.data() + nCount, IsDecimal);
}

void CheckAndEscapeTranform(std::string& text)
{
    const auto nQuotes = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\''));
    std::size_t nFrom = text.size();
    std::size_t nTo = nFrom + nQuotes;
    text.resize(nTo);
    while (nFrom < nTo) {  // from the end, so that nothing is overwritten before it has moved
        const char character = text[--nFrom];
        text[--nTo] = character;
        if (character == '\'') text[--nTo] = character;
    }
}

bool SplitStringByXMLTag(const std::string& source, const std::string& openTag, const std::string& closeTag,
                         std::string& value)
{
    const std::size_t nOpen = source.find(openTag);
    if (nOpen == std::string::npos) return false;
    const std::size_t nClose = source.find(closeTag);
    if (nClose == std::string::npos || nClose < nOpen) return false;
    const std::size_t nBegin = nOpen + openTag.size();
    value.assign(source, nBegin, std::max(nBegin, nClose) - nBegin);
    return true;
}

bool SplitStringByXMLTag(const std::string& source, const std::string& tagName, std::string& value)
{
    return SplitStringByXMLTag(source, "<" + tagName + ">", "</" + tagName + ">", value);
}

void ClearDBPara(std::map<std::string, std::string>& parameters)
{
    for (auto& parameter : parameters) PwdCtrlString::ClearStr(parameter.second);
}

std::string ByteToHex(const void* pBytes, const int& nLength)
{
    if (pBytes == nullptr || nLength <= 0) return std::string();
    const auto* pByte = static_cast<const unsigned char*>(pBytes);
    std::string hex(static_cast<std::size_t>(nLength) * 2, '0');
    char* pDigits = hex.data();
    for (const auto* const pEnd = pByte + nLength; pByte != pEnd; ++pByte, pDigits += 2) {
        CopyPair(pDigits, HEX_PAIRS, *pByte);
    }
    return hex;
}

std::string IpLong2Str(const long& nAddress)
{
    std::array<char, 16> dotted;
    char* const pEnd = dotted.data() + dotted.size();
    char* pBegin = pEnd;
    for (int nShift = 0; nShift < 32; nShift += 8) {
        pBegin = WriteDecimals(pBegin, static_cast<unsigned int>(nAddress >> nShift) & 255);
        *--pBegin = '.';
    }
    return std::string(pBegin + 1, pEnd);
}

bool IpStr2Long(const std::string& text, long& nAddress)
{
    if (ReadPlainAddress(text, nAddress)) return true;
    JoinedParts parts;
    const auto addPart = [&parts](std::string_view piece) {
        int nPart = REJECTED;
        ReadInteger(piece, nPart);
        parts.Add(static_cast<unsigned int>(nPart));
    };
    if (!ForEachPiece(text, '.', 0, addPart) || parts.Count() < 4) return false;
    nAddress = parts.Low32Bits();
    return true;
}

bool SplitStringByTag(const std::string& text, std::vector<std::string>& pieces, char separator,
                      unsigned short nFlags)
{
    // An element would go away when the vector grows.
    if (IsElementOf(pieces, text)) return SplitStringByTag(std::string(text), pieces, separator, nFlags);
    return ForEachPiece(text, separator, nFlags, [&pieces](auto&& piece) {
        pieces.emplace_back(std::forward<decltype(piece)>(piece));
    });
}

void VecInt2Str(std::string& text, std::vector<int>& values)
{
    if (values.empty()) return;
    std::sort(values.begin(), values.end());
    std::string ranges;
    bool bInRun = false;
    for (std::size_t i = 1; i < values.size(); ++i) {
        const bool bFollows = long{values[i]} - values[i - 1] == 1;
        if (!(bFollows && bInRun)) ranges += Int2Str(values[i - 1]) + (bFollows ? '-' : ',');
        bInRun = bFollows;
    }
    text = ranges + Int2Str(values.back());
}

}  // namespace NS_UTIL
